#include "CalcKit/CPreProcessor.h"

#include "BaseKit/cKynException.h"
#include "BaseKit/cStorageAllocator.h"
#include "CalcKit/CBasicPreProcessors.h"

#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

namespace
{
using tSamples = std::vector<float>;

// A pipeline signal: the dummy 0.0 at T0, then the samples.
cSignalStorage<float> signal(float rate, long t0, tSamples const& samples)
{
    cSignalStorage<float> s;
    s.setSamplingRate(rate);
    s.setT0(t0);
    s.add(0.0f);
    for (float x : samples)
        s.add(x);
    return s;
}

tSamples samplesOf(cSignalStorage<float> const& s)
{
    return tSamples(s.data(), s.data() + s.size());
}

std::unique_ptr<CPreProcessor> make(char const* type, std::vector<double> const& parameters)
{
    std::unique_ptr<CPreProcessor> p(createPreProcessor("P", type, ""));
    for (double value : parameters)
        p->addParameter(mpf_class(value));
    return p;
}

void expectSamples(tSamples const& expected, tSamples const& actual)
{
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_FLOAT_EQ(expected[i], actual[i]) << "sample " << i;
}
} // namespace

TEST(CPreProcessor, SamplesMatchTheirClosedFormsAtTheBoundaries)
{
    auto const ramp = signal(1000, -250, {-3, -1, 0, 2, 4});
    auto const four = signal(1000, 40, {1, 2, 3, 4});
    auto const tens = signal(1000, 40, {0, 10, 20, 30, 40});
    // LSB 0.5 and 3 bits: counts from -4 to 3, halves away from zero.
    auto const quantized =
        signal(1000, 0, {0.25f, -0.25f, 0.2f, 1.74f, 1.75f, -2.0f, -2.3f, 100.0f, -100.0f});
    auto const step = signal(600, 7, tSamples(6, 1.0f));
    // Step response of the bilinear low pass: y[n] = 1 - p^n / (1 + K), p = (1 - K) / (1 + K).
    double const k = std::tan(std::numbers::pi / 6.0);
    tSamples lowPass;
    for (int n = 0; n < 6; ++n)
        lowPass.push_back(static_cast<float>(1.0 - std::pow((1.0 - k) / (1.0 + k), n) / (1.0 + k)));
    struct
    {
        char const* type;
        std::vector<double> parameters;
        cSignalStorage<float> in;
        float rate;
        tSamples expected;
    } const cases[] = {
        {"Gain", {2}, ramp, 1000, {-6, -2, 0, 4, 8}},
        {"Offset", {0.5}, ramp, 1000, {-2.5f, -0.5f, 0.5f, 2.5f, 4.5f}},
        {"Linear", {2, 1}, ramp, 1000, {-5, -1, 1, 5, 9}},
        {"Saturation", {-1, 2}, ramp, 1000, {-1, -1, 0, 2, 2}}, // the limits themselves pass unchanged
        {"Moving Average", {3}, signal(1000, -250, {3, 6, 9, 12}), 1000, {1, 3, 6, 9}},
        // Trapezoids are exact on a ramp x = k: y[k] = gain k^2 / (2 fs).
        {"Integrator", {20}, signal(1000, -250, {0, 1, 2, 3, 4}), 1000, {0, 0.01f, 0.04f, 0.09f, 0.16f}},
        {"First Order Low Pass", {100}, step, 600, lowPass},
        {"First Order Low Pass", {150}, step, 600, {0.5f, 1, 1, 1, 1, 1}},
        {"Quantization", {0.5, 3}, quantized, 1000, {1, -1, 0, 3, 3, -4, -4, 3, -4}},
        {"Quantization", {0.5, 1}, quantized, 1000, {0, -1, 0, 0, 0, -1, -1, 0, -1}},
        {"Delay", {0}, four, 1000, {1, 2, 3, 4}},
        {"Delay", {2}, four, 1000, {0, 0, 1, 2}},
        {"Delay", {2.5}, four, 1000, {0, 0, 0, 1}}, // 2.5 samples round away from zero to 3
        {"Delay", {100}, four, 1000, {0, 0, 0, 0}},
        // Both endpoints land on input samples: the last output is the last input sample.
        {"Resample", {2000}, tens, 2000, {0, 5, 10, 15, 20, 25, 30, 35, 40}},
        // Output samples at 0 and 2.5 ms; 5 ms lies beyond the last input sample at 4 ms.
        {"Resample", {400}, tens, 400, {0, 25}},
        // Each output sample comes from its two nearest input samples only.
        {"Resample", {3000}, signal(1000, 40, {0, 3, 0}), 3000, {0, 1, 2, 3, 2, 1, 0}},
        {"Resample", {50}, signal(1000, 40, {7}), 50, {7}},
        {"Resample", {50}, signal(1000, 40, {}), 50, {}},
    };
    for (auto const& c : cases)
    {
        SCOPED_TRACE(std::string(c.type) + " " + std::to_string(c.parameters[0]));
        // Every output keeps the dummy at 0.0 and T0, and has one status byte of 0 per element.
        cSignalStorage<float> out;
        cStorage<char> status;
        make(c.type, c.parameters)->Calculate(c.in, out, status, 0);
        EXPECT_EQ(c.rate, out.getSamplingRate());
        EXPECT_EQ(c.in.getT0(), out.getT0());
        EXPECT_EQ(0.0f, out.at(0));
        EXPECT_EQ(std::vector<char>(out.size(), 0),
                  std::vector<char>(status.data(), status.data() + status.size()));
        expectSamples(c.expected, tSamples(out.data() + 1, out.data() + out.size()));
    }
}

TEST(CPreProcessor, FailuresNameThePreprocessorAndWhatIsWrong)
{
    EXPECT_EQ("cGenericException|createPreProcessor|Preprocessor \"F\" of type \"Gains\": unknown "
              "preprocessor type.",
              failureOf([] { delete createPreProcessor("F", "Gains", ""); }));
    for (std::string filter :
         {"Pole Filter", "Stabilized Pole Filter", "Auto Stabilized Pole Filter", "Digital Filter"})
        EXPECT_EQ("cGenericException|createPreProcessor|Preprocessor \"F\" of type \"" + filter +
                      "\": unknown preprocessor type.",
                  failureOf([filter] { delete createPreProcessor("F", filter, ""); }));

    struct
    {
        char const* type;
        std::vector<double> parameters;
        std::string message;
    } const cases[] = {
        {"Linear", {1}, "takes 2 parameters (gain, offset), 1 given"},
        {"Gain", {}, "takes 1 parameter (gain), 0 given"},
        {"Saturation", {2, 1}, "minimum 2 is above maximum 1"},
        {"Quantization", {0, 8}, "LSB weight must be above 0, 0 given"},
        {"Quantization", {1, 33}, "bits must be a whole number from 1 to 32, 33 given"},
        {"Quantization", {1, 2.5}, "bits must be a whole number from 1 to 32, 2.5 given"},
        {"Resample", {0}, "rate must be above 0, 0 given"},
        {"Delay", {-1}, "milliseconds must not be negative, -1 given"},
        {"Moving Average", {0}, "samples must be a whole number from 1 to 4294967295, 0 given"},
        {"First Order Low Pass", {-5}, "corner frequency must be above 0, -5 given"},
        {"First Order Low Pass",
         {500},
         "corner frequency must lie below half the sampling rate (500 Hz), 500 given"},
    };
    auto const incompatible = [](std::string const& type, std::string const& what)
    {
        std::string const head =
            "cIncompatibleParametersException|CPreProcessor::fail|Incompatible parameters: ";
        return head + "preprocessor \"P\" of type \"" + type + "\": " + what;
    };
    cSignalStorage<float> out;
    cStorage<char> status;
    for (auto const& c : cases)
        EXPECT_EQ(
            failureOf([&] { make(c.type, c.parameters)->Calculate(signal(1000, 0, {1}), out, status, 0); }),
            incompatible(c.type, c.message));
    for (char const* type : {"Resample", "Delay", "Integrator", "First Order Low Pass"})
        EXPECT_EQ(failureOf([&] { make(type, {10})->Calculate(signal(0, 0, {1}), out, status, 0); }),
                  incompatible(type, "the input signal has no sampling rate."));
    EXPECT_EQ("no exception",
              failureOf([&] { make("Gain", {10})->Calculate(signal(0, 0, {1}), out, status, 0); }));
}

TEST(CPreProcessor, ParameterChangesAreTakenInWithoutReset)
{
    auto p = make("Gain", {2});
    EXPECT_EQ("P|Gain", p->getName() + "|" + p->getType());
    EXPECT_EQ(nullptr, p->getChangedParameterFlags());
    auto const in = signal(100, 0, {1, 2});
    cSignalStorage<float> out;
    cStorage<char> status;
    p->reset();
    p->setParameter(0, mpf_class(3));
    p->Calculate(in, out, status, 0);
    EXPECT_EQ(6.0f, out.at(2));
    EXPECT_EQ(failureOf([&] { p->setParameter(1, mpf_class(1)); }),
              "cBadListIndex|CPreProcessor::setParameter|List index out of range.");
    EXPECT_EQ(failureOf([&] { p->getParameter(1); }),
              "cBadListIndex|CPreProcessor::getParameter|List index out of range.");

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

    // A failed check leaves the output as it was, and the corrected value is taken in at the next call.
    auto q = make("First Order Low Pass", {80});
    cSignalStorage<float> filtered = signal(5, 9, {42});
    EXPECT_THROW(q->Calculate(in, filtered, status, 0), cIncompatibleParametersException);
    EXPECT_EQ((tSamples{0, 42}), samplesOf(filtered));
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
    cSignalStorage<float> out = signal(10, 5, {7});
    cStorage<char> status;
    status.add(1);
    p->Calculate(signal(100, 30, {1, 3}), out, status, 0);
    expectSamples({0, 7, 0, 1, 2, 3}, samplesOf(out));
    EXPECT_EQ(200.0f, out.getSamplingRate());
    EXPECT_EQ(30, out.getT0());
    EXPECT_EQ(4u, status.size());

    // The output may be the input itself: the result goes behind the samples it was computed from.
    cSignalStorage<float> same = signal(100, 0, {1, 2});
    make("Gain", {10})->Calculate(same, same, status, 0);
    expectSamples({0, 1, 2, 0, 10, 20}, samplesOf(same));

    // Without memory to append the result, out stays as it was and no status is left behind. The
    // first call gives the scratch signal and the status their memory; tight (growth step 0) has none
    // to spare.
    auto const pair = signal(100, 30, {1, 3});
    cSignalStorage<float> warm = signal(10, 5, {7});
    p->Calculate(pair, warm, status, 0);
    cSignalStorage<float> tight(0);
    tight.setSamplingRate(10);
    tight.add(0.0f);
    cStorageAllocator::failNextAllocations(1);
    EXPECT_EQ(failureOf([&] { p->Calculate(pair, tight, status, 0); }),
              "cMemoryAllocationFailed|cStorage<float>::addUninitialised|Memory allocation failed.");
    cStorageAllocator::failNextAllocations(0);
    EXPECT_EQ((tSamples{0}), samplesOf(tight));
    EXPECT_EQ(10.0f, tight.getSamplingRate());
    EXPECT_EQ(0u, status.size());

    // No element in, nothing out; the status of an earlier signal goes.
    cSignalStorage<float> empty;
    empty.setSamplingRate(100);
    p->Calculate(empty, out, status, 0);
    EXPECT_EQ(6u, out.size());
    EXPECT_EQ(200.0f, out.getSamplingRate());
    EXPECT_EQ(0u, status.size());
}
