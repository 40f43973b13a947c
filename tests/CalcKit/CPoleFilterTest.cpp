#include "CalcKit/CPoleFilter.h"

#include "BaseKit/cKynException.h"

#include "tests/support/cTestHelpers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace
{
using tComplex = std::complex<double>;
double const kTwoPi = 2.0 * std::numbers::pi;

// A real pole at 200 Hz and a complex pair at 150 Hz with damping 0.5, the residues chosen so that
// each term passes 0 Hz with gain 1 (r = -p); D 0.1, G 2: the step response settles at 0.1 + 2 x 3.
tComplex const kPair(-kTwoPi * 150.0 * 0.5, kTwoPi * 150.0 * std::sqrt(0.75));
double const kReal = -kTwoPi * 200.0;

template <class tFilter> void configure(tFilter& filter)
{
    filter.m_filterName = "Sensor";
    filter.m_directTransfer = 0.1;
    filter.m_gain = 2.0;
    filter.addRealPole({kReal, -kReal});
    filter.addComplexPole({kPair, -kPair});
}

std::vector<float> stepResponse(CPreProcessor& filter, unsigned int samples, float rate)
{
    cSignalStorage<float> in;
    in.setSamplingRate(rate);
    in.add(0.0f);
    for (unsigned int n = 0; n < samples; ++n)
        in.add(1.0f);
    cSignalStorage<float> out;
    cStorage<char> status;
    filter.Calculate(in, out, status, 0);
    return std::vector<float>(out.data() + 1, out.data() + out.size());
}

// The continuous response to a unit step at time 0: D + G sum (r / p) (exp(p t) - 1), a complex pair
// counting twice its real part.
double continuousStep(double t)
{
    double const real = (-kReal / kReal) * (std::exp(kReal * t) - 1.0);
    double const pair = 2.0 * ((-kPair / kPair) * (std::exp(kPair * t) - 1.0)).real();
    return 0.1 + 2.0 * (real + pair);
}
} // namespace

// At 10 kHz the step response follows the continuous one sampled half a sample later (the bilinear
// transform integrates by trapezoids, so it sees the step as a ramp over the first sample), within
// 5e-4 of the final value (the transform's error is of order (w T)^2 / 12, 1.3e-3 at 200 Hz; 2.4e-4 is
// reached). The
// gain at 0 Hz is exact: the response settles at D + G sum(-r / p) to float precision.
TEST(cPoleFilter, AStepFollowsTheContinuousResponseAndSettlesAtTheExactGain)
{
    cPoleFilter filter("Filter", cPoleFilter::kTypeName);
    configure(filter);
    std::vector<float> const y = stepResponse(filter, 2000, 10000.0f);
    double worst = 0.0;
    for (std::size_t n = 0; n < 400; ++n)
        worst = std::max(worst, std::abs(y[n] - continuousStep((n + 0.5) / 10000.0)));
    EXPECT_LT(worst, 5e-4 * 6.1) << "largest difference " << worst;
    EXPECT_NEAR(6.1, y.back(), 6.1 * 1e-6);
}

// An unstable pole: refused by the plain filter; mirrored into the left half plane by the stabilised
// ones, which then give the stable filter's response and flag the pole; the stabilized filter mirrors
// its stored pole, the automatic one keeps it. A pole at or above pi times the rate is refused.
TEST(cPoleFilter, UnstablePolesAreRefusedOrMirroredAndTooHighPolesRefused)
{
    cPoleFilter stable("Filter", cPoleFilter::kTypeName);
    configure(stable);
    std::vector<float> const expected = stepResponse(stable, 300, 10000.0f);

    auto const unstable = [](auto& filter)
    {
        configure(filter);
        filter.clearPoles();
        filter.addRealPole({kReal, -kReal});
        filter.addComplexPole({-std::conj(kPair), -kPair}); // the same pair, growing
    };
    cPoleFilter plain("Filter", cPoleFilter::kTypeName);
    unstable(plain);
    EXPECT_EQ("cIncompatibleParametersException|CPreProcessor::fail|Incompatible parameters: preprocessor "
              "\"Filter\" of type \"Pole Filter\": pole filter \"Sensor\": the pole 471.23889803846896 + "
              "816.20971390539796i rad/s is unstable (its real part is above 0).",
              failureOf([&] { stepResponse(plain, 10, 10000.0f); }));

    cAutoStabilizedPoleFilter automatic("Filter", cAutoStabilizedPoleFilter::kTypeName);
    cStabilizedPoleFilter once("Filter", cStabilizedPoleFilter::kTypeName);
    unstable(automatic);
    unstable(once);
    for (CPreProcessor* filter : std::vector<CPreProcessor*>{&automatic, &once})
    {
        EXPECT_EQ(expected, stepResponse(*filter, 300, 10000.0f)) << filter->getType();
        cStorage<char> const& flags = *filter->getChangedParameterFlags();
        EXPECT_EQ("01", std::string(1, char('0' + flags[0])) + char('0' + flags[1])) << filter->getType();
    }
    EXPECT_LT(0.0, automatic.getComplexPoles()[0].first.real()) << "kept as given";
    EXPECT_EQ(kPair, once.getComplexPoles()[0].first) << "mirrored in its list";

    cPoleFilter high("Filter", cPoleFilter::kTypeName);
    configure(high);
    EXPECT_NE(std::string::npos, failureOf([&] { stepResponse(high, 10, 400.0f); })
                                     .find("lies at or above pi times the sampling rate (400 Hz)."));
}
