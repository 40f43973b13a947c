#include "CalcKit/CCfcFilter.h"

#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace
{
using tColumns = std::vector<std::vector<double>>;

// A reference file of tests/data/CalcKit made by cfc_reference.py: a header line, then per line the
// input sample and the response of each class.
tColumns readReference(std::string const& name)
{
    std::ifstream file(SIMCORE_TEST_DATA_DIR "CalcKit/" + name);
    std::string line;
    std::getline(file, line);
    tColumns columns(static_cast<std::size_t>(std::count(line.begin(), line.end(), ',') + 1));
    while (std::getline(file, line))
    {
        std::istringstream fields(line);
        for (auto& column : columns)
        {
            std::string field;
            std::getline(fields, field, ',');
            column.push_back(std::stod(field));
        }
    }
    return columns;
}

cSignalStorage<float> signal(float rate, long t0, std::vector<double> const& samples)
{
    cSignalStorage<float> s;
    s.setSamplingRate(rate);
    s.setT0(t0);
    s.add(0.0f);
    for (double x : samples)
        s.add(static_cast<float>(x));
    return s;
}

std::unique_ptr<CPreProcessor> cfc(double cfcClass)
{
    std::unique_ptr<CPreProcessor> p(createPreProcessor("P", "CFC", ""));
    p->addParameter(mpf_class(cfcClass));
    return p;
}
} // namespace

TEST(CCfcFilter, MatchesTheReferenceResponses)
{
    struct
    {
        char const* file;
        float rate;
        std::vector<double> classes;
    } const cases[] = {
        {"cfc_pulse_10khz.csv", 10000, {60, 180}},   // padding of 100 samples
        {"cfc_pulse_20khz.csv", 20000, {600, 1000}}, // padding of 10 ms, 200 samples
        {"cfc_short.csv", 10000, {180}},             // 40 samples: padding of 39
    };
    for (auto const& c : cases)
    {
        tColumns const reference = readReference(c.file);
        ASSERT_EQ(c.classes.size() + 1, reference.size()) << c.file;
        ASSERT_GE(reference[0].size(), 40u) << c.file;
        cSignalStorage<float> const in = signal(c.rate, -20000, reference[0]);
        for (std::size_t k = 0; k < c.classes.size(); ++k)
        {
            SCOPED_TRACE(std::string(c.file) + " CFC " + std::to_string(c.classes[k]));
            std::vector<double> const& expected = reference[k + 1];
            cSignalStorage<float> out;
            cStorage<char> status;
            cfc(c.classes[k])->Calculate(in, out, status, 0);
            EXPECT_EQ(c.rate, out.getSamplingRate());
            EXPECT_EQ(-20000, out.getT0());
            ASSERT_EQ(in.size(), out.size());
            EXPECT_EQ(0.0f, out.at(0));
            EXPECT_EQ(std::vector<char>(out.size(), 0),
                      std::vector<char>(status.data(), status.data() + status.size()));
            // Maximum norm, relative to the peak: the float output is within 6e-8 of each value, the
            // double arithmetic of both sides far below that.
            double peak = 0.0;
            for (double y : expected)
                peak = std::max(peak, std::abs(y));
            for (std::size_t i = 0; i < expected.size(); ++i)
                ASSERT_NEAR(expected[i], out.at(static_cast<unsigned int>(i + 1)), 1e-7 * peak)
                    << "sample " << i;
        }
    }
}

TEST(CCfcFilter, StartsAndEndsInTheSteadyStateOfAConstant)
{
    // Each pass starts from the mean of its first samples, so a constant (a sensor offset) has no
    // start or end transient at all, whatever the length, down to one sample.
    for (unsigned int samples : {1u, 2u, 11u, 500u})
    {
        cSignalStorage<float> out;
        out.add(7.0f); // an earlier signal: the result goes behind it
        cStorage<char> status;
        cfc(60)->Calculate(signal(1000, 5, std::vector<double>(samples, -3.25)), out, status, 0);
        ASSERT_EQ(samples + 2, out.size());
        EXPECT_EQ(7.0f, out.at(0));
        EXPECT_EQ(0.0f, out.at(1));
        for (unsigned int i = 2; i < out.size(); ++i)
            EXPECT_NEAR(-3.25f, out.at(i), 1e-6) << samples << " samples, element " << i;
    }
    cSignalStorage<float> out;
    cStorage<char> status;
    cfc(60)->Calculate(signal(1000, 5, {}), out, status, 0);
    EXPECT_EQ(1u, out.size());
    EXPECT_EQ(0.0f, out.at(0));
    EXPECT_EQ(10u, CCfcFilter::padding(11, 100000));
    EXPECT_EQ(100u, CCfcFilter::padding(1000, 1000));
    EXPECT_EQ(101u, CCfcFilter::padding(1000, 10001)); // 10 ms rounded up
}

TEST(CCfcFilter, RefusesOtherClassesAndRatesWhereTheSectionBreaksDown)
{
    auto const incompatible = [](std::string const& what)
    {
        return "cIncompatibleParametersException|CPreProcessor::fail|Incompatible parameters: preprocessor "
               "\"P\" of type \"CFC\": " +
               what;
    };
    cSignalStorage<float> out;
    cStorage<char> status;
    auto const run = [&](std::unique_ptr<CPreProcessor> p, float rate) {
        return failureOf([&] { p->Calculate(signal(rate, 0, {1, 2}), out, status, 0); });
    };
    for (auto const& [refused, text] : std::vector<std::pair<double, std::string>>{
             {0, "0"}, {-60, "-60"}, {100, "100"}, {60.5, "60.5"}, {2000, "2000"}})
        EXPECT_EQ(run(cfc(refused), 10000),
                  incompatible("class must be 60, 180, 600 or 1000, " + text + " given"));
    std::unique_ptr<CPreProcessor> twoParameters(createPreProcessor("P", "CFC", ""));
    twoParameters->addParameter(60);
    twoParameters->addParameter(180);
    EXPECT_EQ(run(std::move(twoParameters), 10000), incompatible("takes 1 parameter (class), 2 given"));
    EXPECT_EQ(run(cfc(60), 0), incompatible("the input signal has no sampling rate."));
    // The prewarped corner pi k CFC / rate reaches pi / 2 at rate = 2 k CFC = 250 Hz for CFC 60.
    EXPECT_EQ(run(cfc(60), 250), incompatible("CFC 60 needs a sampling rate above 250 Hz, 250 Hz given"));
    EXPECT_EQ(run(cfc(60), 251), "no exception");
    EXPECT_EQ(run(cfc(1000), 4166.66f),
              incompatible("CFC 1000 needs a sampling rate above 4166.67 Hz, 4166.66015625 Hz given"));
    EXPECT_EQ(run(cfc(1000), 4000),
              incompatible("CFC 1000 needs a sampling rate above 4166.67 Hz, 4000 Hz given"));
    EXPECT_EQ(run(cfc(180), 750), incompatible("CFC 180 needs a sampling rate above 750 Hz, 750 Hz given"));
}
