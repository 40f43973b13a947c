#include "PlotKit/cSvgRenderer.h"

#include "PlotKit/cCountGraphSerie.h"
#include "PlotKit/cGraphHotPoint.h"
#include "PlotKit/cGraphSquare.h"
#include "PlotKit/cMinNomMaxByStringGraphSerie.h"
#include "PlotKit/cMinNomMaxByValueGraphSerie.h"
#include "PlotKit/cScatterGraph.h"
#include "tests/support/cKitFixture.h"
#include "tests/support/cTestHelpers.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <locale>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace
{
std::string const kGoldenDir = SIMCORE_TEST_DATA_DIR "PlotKit/svg/";

std::string readText(std::string const& path)
{
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

cStorage<float> storageOf(std::initializer_list<float> values)
{
    cStorage<float> storage;
    for (float value : values)
        storage.add(value);
    return storage;
}

// What is wrong with the picture: not well-formed XML, not one SVG element, an element that could run,
// style or reach out of the picture (script, style, an id or a link, which would clash or leak when
// pictures are inlined side by side in one page), or a coordinate that is not a whole pixel; "" when
// nothing is.
std::string xmlFaults(std::string const& svg)
{
    xmlDocPtr const document = xmlReadMemory(svg.data(), int(svg.size()), "graph.svg", nullptr,
                                             XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    if (document == nullptr)
        return "not well-formed XML";
    std::string faults;
    xmlNodePtr const root = xmlDocGetRootElement(document);
    if (root->ns == nullptr ||
        std::string(reinterpret_cast<char const*>(root->ns->href)) != "http://www.w3.org/2000/svg")
        faults += "root is not an SVG element; ";
    static std::set<std::string> const coordinates = {"x",  "y",  "x1", "y1",    "x2",    "y2",
                                                      "cx", "cy", "r",  "width", "height"};
    static std::regex const whole("-?[0-9]+"), points("(-?[0-9]+,-?[0-9]+ ?)*"),
        path("([MHVZ]-?[0-9]*| -?[0-9]+)*");
    std::vector<xmlNodePtr> nodes{root};
    while (!nodes.empty())
    {
        xmlNodePtr const node = nodes.back();
        nodes.pop_back();
        static std::set<std::string> const drawing = {"svg",      "rect",    "line",   "path",
                                                      "polyline", "polygon", "circle", "text"};
        if (!drawing.count(reinterpret_cast<char const*>(node->name)))
            faults += std::string("<") + reinterpret_cast<char const*>(node->name) + ">; ";
        for (xmlNodePtr child = node->children; child != nullptr; child = child->next)
            if (child->type == XML_ELEMENT_NODE)
                nodes.push_back(child);
        for (xmlAttrPtr attribute = node->properties; attribute != nullptr; attribute = attribute->next)
        {
            std::string const name = reinterpret_cast<char const*>(attribute->name);
            xmlChar* const text = xmlNodeListGetString(document, attribute->children, 1);
            std::string const value = text != nullptr ? reinterpret_cast<char const*>(text) : "";
            xmlFree(text);
            bool const wrong = name == "id" || name.find("href") != std::string::npos ||
                               (coordinates.count(name) && !std::regex_match(value, whole)) ||
                               (name == "points" && !std::regex_match(value, points)) ||
                               (name == "d" && !std::regex_match(value, path));
            if (wrong)
                faults += name + "=\"" + value + "\"; ";
        }
    }
    xmlFreeDoc(document);
    return faults;
}

// Compares the picture with its golden file; with SIMCORE_UPDATE_GOLDEN=1 in the environment it
// rewrites the golden file instead (look at the new picture before committing it).
void expectGolden(std::string const& name, std::string const& svg)
{
    EXPECT_EQ("", xmlFaults(svg)) << name;
    std::string const path = kGoldenDir + name + ".svg";
    char const* const update = std::getenv("SIMCORE_UPDATE_GOLDEN");
    if (update != nullptr && std::string(update) == "1")
        std::ofstream(path, std::ios::binary) << svg;
    EXPECT_EQ(readText(path), svg) << name;
}

// A hot point whose condition does not hold: never drawn.
class cIdleHotPoint : public cGraphHotPoint
{
public:
    using cGraphHotPoint::cGraphHotPoint;
    bool isConditionTrue() const override { return false; }
};

// Decimal commas in every stream of the process: pictures must not change.
struct sCommaPoint : std::numpunct<char>
{
    char do_decimal_point() const override { return ','; }
};
} // namespace

class cSvgRendererTest : public cKitFixture
{
protected:
    cSvgRenderer renderer;
    cScatterGraph graph;
};

// The band spans the minimum and maximum curves, the nominal is a polyline, and the graph's scale
// maps the plot area to the axes: the time span edge to edge, the values clear of the frame.
TEST_F(cSvgRendererTest, EnvelopeOverTimeDrawsItsBandAndSetsTheGraphScaleToThePlotArea)
{
    graph.SetGraphTitle("Velocity, 56 km/h frontal");
    graph.SetXAbscissaTitle("time (ms)");
    graph.SetYAbscissaTitle("velocity (km/h)");
    auto* serie = new cEnvelopeGraphSerie(eSerieYT);
    serie->setColor(0x0000ff);
    serie->SetLabel("dV");
    cStorage<float> const times = storageOf({0, 2, 4, 6, 8, 10});
    for (auto const& values : {storageOf({0, 1, 3, 6, 8, 9}), storageOf({0, 0.5, 2, 5, 7, 8.5}),
                               storageOf({0, 1.5, 3.5, 6.5, 9, 9.5})})
        serie->AddDataYT(times, values, eComputeEnvelope);
    graph.AddObject(serie);
    expectGolden("envelope-over-time", renderer.render(graph));
    EXPECT_DOUBLE_EQ(0.0, graph.xFromPixel(0));
    EXPECT_DOUBLE_EQ(10.0, graph.xFromPixel(renderer.plotWidth()));
    EXPECT_DOUBLE_EQ(9.5 * 1.04, graph.yFromPixel(0)) << "values clear of the frame by 4 % of their span";
}

TEST_F(cSvgRendererTest, EnvelopeOfOneCriterionAgainstAnotherWithTheRectangleAtTheFireTime)
{
    graph.DisableLegend();
    auto* serie = new cEnvelopeGraphSerie(eSerieYX);
    serie->setColor(0x9c0000);
    serie->AddDataYX(storageOf({0, 2, 5, 9}), storageOf({0, 3, 4, 4.5}), storageOf({1, 2, 3, 4}),
                     eComputeEnvelope);
    serie->AddDataYX(storageOf({0, 2.5, 6, 10}), storageOf({0, 3.5, 5, 5}), storageOf({1, 2, 3, 4}),
                     eComputeEnvelope);
    graph.AddObject(serie);
    auto* square = new cGraphSquare(eSquareRectangle);
    square->setColor(0x008000);
    square->AddDataSquare(5, 6, 4, 5);
    square->AddDataSquare(5, 6, 4, 5);
    graph.AddObject(square);
    expectGolden("envelope-yx-rectangle", renderer.render(graph));
}

// Fire times as lines over their spread, the expected window as labelled dashed lines, and an expected
// no-fire as a note; a hidden square draws nothing.
TEST_F(cSvgRendererTest, VerticalLinesShowFireTimesAndTheExpectedWindowOrAnExpectedNoFire)
{
    graph.SetXAbscissaTitle("time (ms)");
    auto* fire = new cGraphSquare(eSquareVerticalLine);
    fire->setColor(0x00a5ff);
    fire->SetLabel("Fire 1st stage");
    for (float time : {12.0f, 12.5f, 14.0f, 12.5f})
        fire->AddDataVertical(time);
    fire->setExpectedTime(0, 10.0f);
    fire->setExpectedTime(1, 13.0f);
    fire->setExpectedTime(2, 16.0f);
    graph.AddObject(fire);
    auto* noFire = new cGraphSquare(eSquareVerticalLine);
    noFire->SetLabel("Fire 2nd stage");
    for (unsigned int index = 0; index < 3; ++index)
        noFire->setExpectedTime(index, -1.0f);
    graph.AddObject(noFire);
    auto* hidden = new cGraphSquare(eSquareVerticalLine);
    hidden->AddDataVertical(50.0f);
    hidden->SetLabel("hidden");
    hidden->setToBeDrawn(false);
    graph.AddObject(hidden);
    expectGolden("vertical-lines-expected", renderer.render(graph));
}

TEST_F(cSvgRendererTest, HotPointsAreMarkedWhileTheirConditionHolds)
{
    auto* serie = new cEnvelopeGraphSerie(eSerieYT);
    serie->AddDataYT(storageOf({0, 5, 10}), storageOf({1, 2, 1}), eComputeEnvelope);
    auto* point = new cGraphHotPoint(0x00ff00, "Hot Point");
    point->setAbscissa(5.0f);
    point->setOrdinate(3.0f);
    serie->addHotPoint(point);
    auto* idle = new cIdleHotPoint(0x0000ff, "Hot Point");
    idle->setAbscissa(40.0f);
    serie->addHotPoint(idle);
    graph.AddObject(serie);
    expectGolden("hot-point", renderer.render(graph));
}

TEST_F(cSvgRendererTest, HistogramPutsTheNoFireBinApartAndWritesNumbersTheSameUnderAnyLocale)
{
    graph.SetYAbscissaTitle("iterations (%)");
    auto* serie = new cCountGraphSerie;
    serie->setColor(0x808000);
    for (sCountBin const& bin : {sCountBin{-1.0f, 2}, {10.0f, 3}, {10.5f, 1}, {11.5f, 2}})
        serie->AddData(bin.time, bin.count);
    graph.AddObject(serie);
    std::locale const previous = std::locale::global(std::locale(std::locale::classic(), new sCommaPoint));
    std::string const svg = renderer.render(graph);
    std::locale::global(previous);
    expectGolden("histogram", svg);
}

TEST_F(cSvgRendererTest, TimeAgainstDriftPutsNoFiresOnTheirOwnLineAndRingsTheNominal)
{
    auto* serie = new cMinNomMaxByValueGraphSerie;
    serie->setColor(0xff0000);
    for (sTimeValuePoint const& point :
         {sTimeValuePoint{12.0f, 0.0f}, {11.5f, -0.1f}, {-1.0f, 0.2f}, {13.0f, 0.1f}, {12.0f, 0.0f}})
        serie->AddData(point.time, point.value);
    graph.AddObject(serie);
    expectGolden("time-against-drift", renderer.render(graph));
}

TEST_F(cSvgRendererTest, BarsByNameHaveTheFirstCrashAtTheTopAndMarkNoFires)
{
    auto* serie = new cMinNomMaxByStringGraphSerie;
    serie->setColor(0x00d7ff);
    // Nominal, maximum, minimum per crash, as the time events add them.
    for (auto const& [time, name] : std::vector<std::pair<float, char const*>>{{12, "frontal-56"},
                                                                               {14, "frontal-56"},
                                                                               {11, "frontal-56"},
                                                                               {-1, "pole-29"},
                                                                               {-1, "pole-29"},
                                                                               {-1, "pole-29"},
                                                                               {20, "offset-40-a-long-name"},
                                                                               {-1, "offset-40-a-long-name"},
                                                                               {18, "offset-40-a-long-name"}})
        serie->AddData(time, name);
    serie->reverseVerticalOrder();
    graph.AddObject(serie);
    expectGolden("bars-by-name", renderer.render(graph));
}

TEST_F(cSvgRendererTest, TextIsEscapedAndAGraphWithNothingToDrawSaysSo)
{
    graph.SetGraphTitle("Belt & <Airbag> \"1\" 'a' \x01 caf\xe9");
    auto* hidden = new cCountGraphSerie;
    hidden->AddData(5.0f, 1);
    hidden->setToBeDrawn(false);
    graph.AddObject(hidden);
    std::string const svg = renderer.render(graph);
    EXPECT_EQ("", xmlFaults(svg));
    EXPECT_NE(std::string::npos,
              svg.find(">Belt &amp; &lt;Airbag&gt; &quot;1&quot; &apos;a&apos; ? caf\xc3\xa9</text>"));
    EXPECT_NE(std::string::npos, svg.find(">no data</text>"));
    EXPECT_NE(std::string::npos, svg.find(">0.0</text>")) << "axes over 0..1 even without data";

    EXPECT_EQ("cIncompatibleParametersException|cSvgRenderer::cSvgRenderer|Incompatible parameters: a "
              "picture of 200 x 400 pixels is "
              "smaller than 240 x 160",
              failureOf([] { cSvgRenderer(200, 400); }));
    EXPECT_EQ("-0.5 0.0 3.142 1234568",
              cSvgRenderer::formatNumber(-0.5, 1) + " " + cSvgRenderer::formatNumber(-0.01, 1) + " " +
                  cSvgRenderer::formatNumber(3.14159, 3) + " " + cSvgRenderer::formatNumber(1234567.5, 0));
}

TEST(cSvgRenderer, ThinningKeepsAtMostFourPointsPerColumnWithTheExtremesAndSparseCurvesWhole)
{
    std::vector<float> xs, ys;
    for (int i = 0; i <= 10000; ++i)
    {
        xs.push_back(float(i) / 100.0f);
        ys.push_back(float(std::sin(i * 0.37) * (i == 7777 ? 3.0 : 1.0)));
    }
    std::vector<float> keptXs, keptYs;
    cSvgRenderer::thinCurve(xs, ys, 0.0, 100.0, 50, keptXs, keptYs);
    std::map<int, int> perColumn;
    for (float x : keptXs)
        ++perColumn[std::min(49, int(x / 2.0f))];
    EXPECT_EQ(50u, perColumn.size());
    for (auto const& [column, count] : perColumn)
        EXPECT_LE(count, 4) << "column " << column;
    EXPECT_TRUE(std::is_sorted(keptXs.begin(), keptXs.end()));
    EXPECT_EQ(xs.front(), keptXs.front());
    EXPECT_EQ(xs.back(), keptXs.back());
    EXPECT_EQ(*std::max_element(ys.begin(), ys.end()), *std::max_element(keptYs.begin(), keptYs.end()));
    EXPECT_EQ(*std::min_element(ys.begin(), ys.end()), *std::min_element(keptYs.begin(), keptYs.end()));

    // One point per column or fewer: nothing to drop, also when the outputs are the inputs.
    std::vector<float> sparseXs{0, 3, 7, 50, 99, 100}, sparseYs{1, 2, 3, 4, 5, 6};
    std::vector<float> const expectedXs = sparseXs, expectedYs = sparseYs;
    cSvgRenderer::thinCurve(sparseXs, sparseYs, 0.0, 100.0, 50, sparseXs, sparseYs);
    EXPECT_EQ(expectedXs, sparseXs);
    EXPECT_EQ(expectedYs, sparseYs);

    EXPECT_EQ("cIncompatibleParametersException|cSvgRenderer::thinCurve|Incompatible parameters: 2 x and 1 y",
              failureOf(
                  [&] {
                      cSvgRenderer::thinCurve({1, 2}, {1}, 0.0, 1.0, 10, keptXs, keptYs);
                  }));
}
