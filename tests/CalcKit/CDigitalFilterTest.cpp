#include "CalcKit/CDigitalFilter.h"

#include "BaseKit/cKynException.h"

#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace
{
// The columns of tests/data/CalcKit/digital_filter_reference.csv, which
// digital_filter_reference.py made with scipy.signal.lfilter.
struct sReference
{
    std::vector<double> input, cascade, parallel;
};

sReference readReference()
{
    std::ifstream file(std::string(SIMCORE_TEST_DATA_DIR) + "CalcKit/digital_filter_reference.csv");
    sReference reference;
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line))
    {
        std::istringstream row(line);
        std::string cell;
        for (std::vector<double>* column : {&reference.input, &reference.cascade, &reference.parallel})
        {
            std::getline(row, cell, ',');
            column->push_back(std::stod(cell));
        }
    }
    return reference;
}

cStorage<double> coefficients(std::vector<double> const& values)
{
    cStorage<double> list(10);
    for (double v : values)
        list.add(v);
    return list;
}

// The filter of the reference: a second order low pass whose A0 is 2 (Direct Form I), then a 3-tap FIR
// (by default in Direct Form II Transposed), valid from 5 to 20 kHz.
void configure(CDigitalFilter& filter, std::string const& mode,
               std::string const& fir = "Direct Form II Transposed")
{
    filter.m_filterName = "ECU low pass";
    filter.m_blocksProcessingMode = mode;
    filter.m_minSamplingRate = 5000;
    filter.m_maxSamplingRate = 20000;
    filter.ClearData();
    filter.AddNewBlock(coefficients({2.0, -2.6, 0.98}), coefficients({0.09, 0.18, 0.09}), "Direct Form I",
                       "IIR");
    filter.AddNewBlock(coefficients({1.0}), coefficients({0.25, 0.5, 0.25}), fir, "FIR");
    filter.CheckFilterData();
}

std::vector<float> run(CDigitalFilter& filter, std::vector<double> const& input, float rate)
{
    cSignalStorage<float> in;
    in.setSamplingRate(rate);
    in.setT0(-2000);
    in.add(0.0f);
    for (double x : input)
        in.add(static_cast<float>(x));
    cSignalStorage<float> out;
    cStorage<char> status;
    filter.Calculate(in, out, status, 0);
    EXPECT_EQ(rate, out.getSamplingRate());
    EXPECT_EQ(-2000, out.getT0());
    EXPECT_EQ(in.size(), status.size());
    return std::vector<float>(out.data() + 1, out.data() + out.size());
}
} // namespace

// Both modes against scipy's lfilter, within float precision of the output (the samples are float,
// the arithmetic double): 2e-6 of the largest value. A cascade of Direct Form I biquads runs all blocks
// per sample, any other filter block by block: both ways are checked.
TEST(CDigitalFilter, CascadeAndParallelBlocksFollowTheirDifferenceEquations)
{
    sReference const reference = readReference();
    ASSERT_EQ(400u, reference.input.size());
    for (auto const& [mode, fir, expected] :
         {std::tuple{"Cascade", "Direct Form II Transposed", &reference.cascade},
          std::tuple{"Cascade", "Direct Form I", &reference.cascade},
          std::tuple{"Parallel", "Direct Form I", &reference.parallel}})
    {
        CDigitalFilter filter("Filter", CDigitalFilter::kTypeName);
        configure(filter, mode, fir);
        std::vector<float> const output = run(filter, reference.input, 10000.0f);
        double peak = 0.0;
        for (double v : *expected)
            peak = std::max(peak, std::abs(v));
        ASSERT_EQ(expected->size(), output.size());
        for (std::size_t n = 0; n < output.size(); ++n)
            ASSERT_NEAR((*expected)[n], output[n], 2e-6 * peak) << mode << ", " << fir << ": sample " << n;
    }
}

// What the check refuses, each naming the filter; a rate outside the file's range is refused at
// Calculate.
TEST(CDigitalFilter, TheCheckRefusesWhatCannotRunAndTheRateMustLieInTheFilesRange)
{
    char const* const prefix =
        "cIncompatibleParametersException|CPreProcessor::fail|Incompatible parameters: "
        "preprocessor \"Filter\" of type \"Digital Filter\": digital filter \"ECU low pass\": ";
    auto const refusal = [&](auto change)
    {
        CDigitalFilter filter("Filter", CDigitalFilter::kTypeName);
        configure(filter, "Cascade");
        change(filter);
        std::string const text = failureOf([&] { filter.CheckFilterData(); });
        return text.rfind(prefix, 0) == 0 ? text.substr(std::string(prefix).size()) : text;
    };
    auto const block = [](std::vector<double> a, std::string method, std::string type)
    { return [=](CDigitalFilter& f) { f.AddNewBlock(coefficients(a), coefficients({1.0}), method, type); }; };
    EXPECT_EQ("block 3: it has no A coefficient.", refusal(block({}, "Direct Form I", "IIR")));
    EXPECT_EQ("block 3: A0 is 0.", refusal(block({0.0, 1.0}, "Direct Form I", "IIR")));
    EXPECT_EQ("block 3: an FIR block has A0 only, 2 A coefficients given.",
              refusal(block({1.0, 0.5}, "Direct Form I", "FIR")));
    EXPECT_EQ("block 3: unknown computation method \"Direct Form II\" (\"Direct Form I\" or \"Direct Form II "
              "Transposed\").",
              refusal(block({1.0}, "Direct Form II", "IIR")));
    EXPECT_EQ("it has no block.", refusal([](CDigitalFilter& f) { f.ClearData(); }));
    EXPECT_EQ("unknown blocks processing mode \"Serial\" (\"Cascade\" or \"Parallel\").",
              refusal([](CDigitalFilter& f) { f.m_blocksProcessingMode = "Serial"; }));

    CDigitalFilter filter("Filter", CDigitalFilter::kTypeName);
    configure(filter, "Cascade");
    std::string const text = failureOf([&] { run(filter, {1.0, 2.0}, 25000.0f); });
    EXPECT_EQ(std::string(prefix) + "the sampling rate 25000 Hz lies outside 5000 .. 20000 Hz.", text);
}
