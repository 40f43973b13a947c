#include "CalcKit/CPreProcessor.h"

#include "BaseKit/cKynException.h"
#include "CalcKit/CBasicPreProcessors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <numbers>
#include <vector>

namespace
{
// A pipeline signal: the dummy 0.0 at T0, then the samples.
cSignalStorage<float> signal(float rate, long t0, std::vector<float> const& samples)
{
    cSignalStorage<float> s;
    s.setSamplingRate(rate);
    s.setT0(t0);
    s.add(0.0f);
    for (float x : samples)
        s.add(x);
    return s;
}

std::unique_ptr<CPreProcessor> make(char const* type, std::vector<double> const& parameters)
{
    std::unique_ptr<CPreProcessor> p(createPreProcessor("P", type, ""));
    for (double value : parameters)
        p->addParameter(mpf_class(value));
    return p;
}

// The samples of one run of a fresh preprocessor, after checking what every output shares: the
// dummy at 0.0, T0 kept, and one status byte of 0 per element.
std::vector<float> run(char const* type, std::vector<double> const& parameters,
                       cSignalStorage<float> const& in, float expectedRate)
{
    auto p = make(type, parameters);
    cSignalStorage<float> out;
    cStorage<char> status;
    p->Calculate(in, out, status, 0);
    EXPECT_EQ(expectedRate, out.getSamplingRate()) << type;
    EXPECT_EQ(in.getT0(), out.getT0()) << type;
    EXPECT_EQ(0.0f, out.at(0)) << type;
    EXPECT_EQ(out.size(), status.size()) << type;
    for (unsigned int i = 0; i < status.size(); ++i)
        EXPECT_EQ(0, status[i]) << type << " element " << i;
    return std::vector<float>(out.data() + 1, out.data() + out.size());
}

std::string failureOf(std::function<void()> const& action, char const* expectedClass)
{
    try
    {
        action();
    }
    catch (cKynException const& e)
    {
        EXPECT_STREQ(expectedClass, e.getClassName());
        return e.what();
    }
    return "no failure";
}

std::string calculateFailure(char const* type, std::vector<double> const& parameters, float rate = 1000.0f)
{
    return failureOf(
        [&]
        {
            auto p = make(type, parameters);
            cSignalStorage<float> out;
            cStorage<char> status;
            p->Calculate(signal(rate, 0, {1.0f}), out, status, 0);
        },
        "cIncompatibleParametersException");
}

void expectSamples(std::vector<float> const& expected, std::vector<float> const& actual, char const* what)
{
    ASSERT_EQ(expected.size(), actual.size()) << what;
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_FLOAT_EQ(expected[i], actual[i]) << what << " sample " << i;
}
} // namespace

TEST(CPreProcessor, SampleByTypesMatchTheirClosedForms)
{
    auto const in = signal(1000.0f, -250, {-3.0f, -1.0f, 0.0f, 2.0f, 4.0f});
    expectSamples({-6, -2, 0, 4, 8}, run("Gain", {2}, in, 1000), "Gain");
    expectSamples({-2.5f, -0.5f, 0.5f, 2.5f, 4.5f}, run("Offset", {0.5}, in, 1000), "Offset");
    expectSamples({-5, -1, 1, 5, 9}, run("Linear", {2, 1}, in, 1000), "Linear");
    // The limits themselves pass unchanged.
    expectSamples({-1, -1, 0, 2, 2}, run("Saturation", {-1, 2}, in, 1000), "Saturation");
    expectSamples({1, 3, 6, 9}, run("Moving Average", {3}, signal(1000, -250, {3, 6, 9, 12}), 1000),
                  "Moving Average");

    // Trapezoids are exact on a ramp x = k: y[k] = gain k^2 / (2 fs).
    expectSamples({0, 0.01f, 0.04f, 0.09f, 0.16f},
                  run("Integrator", {20}, signal(1000, -250, {0, 1, 2, 3, 4}), 1000), "Integrator");

    // Step response of the bilinear low pass: y[n] = 1 - p^n / (1 + K), p = (1 - K) / (1 + K).
    auto const step = signal(600.0f, 7, std::vector<float>(6, 1.0f));
    double const k = std::tan(std::numbers::pi / 6.0);
    std::vector<float> expected;
    for (int n = 0; n < 6; ++n)
        expected.push_back(static_cast<float>(1.0 - std::pow((1.0 - k) / (1.0 + k), n) / (1.0 + k)));
    expectSamples(expected, run("First Order Low Pass", {100}, step, 600), "low pass fs / 6");
    expectSamples({0.5f, 1, 1, 1, 1, 1}, run("First Order Low Pass", {150}, step, 600), "low pass fs / 4");
}

TEST(CPreProcessor, QuantizationRoundsHalvesAwayFromZeroAndClampsToTheBits)
{
    // LSB 0.5 and 3 bits: counts from -4 to 3.
    auto const in = signal(1000, 0, {0.25f, -0.25f, 0.2f, 1.74f, 1.75f, -2.0f, -2.3f, 100.0f, -100.0f});
    expectSamples({1, -1, 0, 3, 3, -4, -4, 3, -4}, run("Quantization", {0.5, 3}, in, 1000), "3 bits");
    expectSamples({0, -1, 0, 0, 0, -1, -1, 0, -1}, run("Quantization", {0.5, 1}, in, 1000), "1 bit");
}

TEST(CPreProcessor, DelayAndResampleBoundaries)
{
    auto const in = signal(1000, 40, {1, 2, 3, 4});
    expectSamples({1, 2, 3, 4}, run("Delay", {0}, in, 1000), "no delay");
    expectSamples({0, 0, 1, 2}, run("Delay", {2}, in, 1000), "2 ms");
    // 2.5 samples round away from zero to 3.
    expectSamples({0, 0, 0, 1}, run("Delay", {2.5}, in, 1000), "2.5 ms");
    expectSamples({0, 0, 0, 0}, run("Delay", {100}, in, 1000), "longer than the signal");

    auto const ramp = signal(1000, 40, {0, 10, 20, 30, 40});
    // Both endpoints land on input samples: the last output is the last input sample.
    expectSamples({0, 5, 10, 15, 20, 25, 30, 35, 40}, run("Resample", {2000}, ramp, 2000), "up");
    // Output samples at 0 and 2.5 ms; 5 ms lies beyond the last input sample at 4 ms.
    expectSamples({0, 25}, run("Resample", {400}, ramp, 400), "down");
    // Each output sample comes from its two nearest input samples only.
    expectSamples({0, 1, 2, 3, 2, 1, 0}, run("Resample", {3000}, signal(1000, 40, {0, 3, 0}), 3000), "peak");
    expectSamples({7}, run("Resample", {50}, signal(1000, 40, {7}), 50), "one sample");
    expectSamples({}, run("Resample", {50}, signal(1000, 40, {}), 50), "dummy only");
}

TEST(CPreProcessor, FailuresNameThePreprocessorAndWhatIsWrong)
{
    EXPECT_EQ("Preprocessor \"F\" of type \"Gains\": unknown preprocessor type.",
              failureOf([] { delete createPreProcessor("F", "Gains", ""); }, "cGenericException"));
    for (char const* filter :
         {"Pole Filter", "Stabilized Pole Filter", "Auto Stabilized Pole Filter", "Digital Filter"})
        EXPECT_EQ("Preprocessor \"F\" of type \"" + std::string(filter) +
                      "\": the filter type is not available yet.",
                  failureOf([filter] { delete createPreProcessor("F", filter, ""); }, "cGenericException"));

    std::string const prefix = "Incompatible parameters: preprocessor \"P\" of type ";
    EXPECT_EQ(prefix + "\"Linear\": takes 2 parameters (gain, offset), 1 given",
              calculateFailure("Linear", {1}));
    EXPECT_EQ(prefix + "\"Gain\": takes 1 parameter (gain), 0 given", calculateFailure("Gain", {}));
    EXPECT_EQ(prefix + "\"Saturation\": minimum 2 is above maximum 1",
              calculateFailure("Saturation", {2, 1}));
    EXPECT_EQ(prefix + "\"Quantization\": LSB weight must be above 0, 0 given",
              calculateFailure("Quantization", {0, 8}));
    EXPECT_EQ(prefix + "\"Quantization\": bits must be a whole number from 1 to 32, 33 given",
              calculateFailure("Quantization", {1, 33}));
    EXPECT_EQ(prefix + "\"Quantization\": bits must be a whole number from 1 to 32, 2.5 given",
              calculateFailure("Quantization", {1, 2.5}));
    EXPECT_EQ(prefix + "\"Resample\": rate must be above 0, 0 given", calculateFailure("Resample", {0}));
    EXPECT_EQ(prefix + "\"Delay\": milliseconds must not be negative, -1 given",
              calculateFailure("Delay", {-1}));
    EXPECT_EQ(prefix + "\"Moving Average\": samples must be a whole number from 1 to 4294967295, 0 given",
              calculateFailure("Moving Average", {0}));
    EXPECT_EQ(prefix + "\"First Order Low Pass\": corner frequency must be above 0, -5 given",
              calculateFailure("First Order Low Pass", {-5}));
    EXPECT_EQ(
        prefix + "\"First Order Low Pass\": corner frequency must lie below half the sampling rate (500 Hz), "
                 "500 given",
        calculateFailure("First Order Low Pass", {500}));
    for (char const* type : {"Resample", "Delay", "Integrator", "First Order Low Pass"})
        EXPECT_EQ(prefix + "\"" + type + "\": the input signal has no sampling rate.",
                  calculateFailure(type, {10}, 0.0f));
    EXPECT_EQ("no failure", calculateFailure("Gain", {10}, 0.0f));
}

TEST(CPreProcessor, ParameterChangesAreTakenInWithoutReset)
{
    auto p = make("Gain", {2});
    EXPECT_EQ("P", p->getName());
    EXPECT_EQ("Gain", p->getType());
    EXPECT_EQ(nullptr, p->getChangedParameterFlags());
    auto const in = signal(100, 0, {1, 2});
    cSignalStorage<float> out;
    cStorage<char> status;
    p->reset();
    p->setParameter(0, mpf_class(3));
    p->Calculate(in, out, status, 0);
    EXPECT_EQ(6.0f, out.at(2));
    EXPECT_THROW(p->setParameter(1, mpf_class(1)), cBadListIndex);

    // Writing back the value already held is no change and costs no reset.
    struct sCountingGain : CGainPreProcessor
    {
        sCountingGain() : CGainPreProcessor("C") { addParameter(mpf_class(2)); }
        void reset() override { ++resets, CGainPreProcessor::reset(); }
        int resets = 0;
    } counting;
    counting.Calculate(in, out, status, 0);
    counting.setParameter(0, mpf_class(2));
    counting.Calculate(in, out, status, 0);
    EXPECT_EQ(1, counting.resets);
    EXPECT_THROW(p->getParameter(1), cBadListIndex);

    // A failed check leaves the output as it was, and the corrected value is taken in at the next call.
    auto q = make("First Order Low Pass", {80});
    cSignalStorage<float> filtered = signal(5, 9, {42});
    EXPECT_THROW(q->Calculate(in, filtered, status, 0), cIncompatibleParametersException);
    EXPECT_EQ(2u, filtered.size());
    EXPECT_EQ(5.0f, filtered.getSamplingRate());
    filtered.clear();
    q->setParameter(0, mpf_class(25));
    q->Calculate(in, filtered, status, 0);
    // Each signal starts from rest: a second run gives the same samples.
    cSignalStorage<float> again;
    q->Calculate(in, again, status, 0);
    ASSERT_EQ(3u, again.size());
    EXPECT_FLOAT_EQ(0.5f, filtered[1]);
    EXPECT_EQ(filtered[2], again[2]);
}

TEST(CPreProcessor, CalculateAppendsBehindTheOutputAndSetsStatusForTheAppendedPart)
{
    auto p = make("Resample", {200});
    auto const in = signal(100, 30, {1, 3});
    cSignalStorage<float> out = signal(10, 5, {7});
    cStorage<char> status;
    status.add(1);
    p->Calculate(in, out, status, 0);
    ASSERT_EQ(6u, out.size());
    expectSamples({0, 7, 0, 1, 2, 3}, std::vector<float>(out.data(), out.data() + 6), "appended");
    EXPECT_EQ(200.0f, out.getSamplingRate());
    EXPECT_EQ(30, out.getT0());
    EXPECT_EQ(4u, status.size());

    // The output may be the input itself: the result goes behind the samples it was computed from.
    cSignalStorage<float> same = signal(100, 0, {1, 2});
    make("Gain", {10})->Calculate(same, same, status, 0);
    expectSamples({0, 1, 2, 0, 10, 20}, std::vector<float>(same.data(), same.data() + same.size()),
                  "in place");

    // No element in, nothing out; the status of an earlier signal goes.
    cSignalStorage<float> empty;
    empty.setSamplingRate(100);
    p->Calculate(empty, out, status, 0);
    EXPECT_EQ(6u, out.size());
    EXPECT_EQ(200.0f, out.getSamplingRate());
    EXPECT_EQ(0u, status.size());
}
