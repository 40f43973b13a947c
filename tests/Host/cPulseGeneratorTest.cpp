#include "Host/cPulseGenerator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace
{
constexpr double kG = 9.80665;

// The speed change of samples in g, in m/s, linear between samples: an integration of our own,
// independent of the generator's scaling.
double speedChange(std::vector<float> const& samplesG, double rateHz)
{
    double sum = 0.0;
    for (size_t i = 1; i < samplesG.size(); ++i)
        sum += (static_cast<double>(samplesG[i - 1]) + samplesG[i]) / 2.0;
    return sum * kG / rateHz;
}

sPulseSamples generated(EPulseKind kind, double speedKmh, double rateHz = 10000.0, double durationMs = 200.0)
{
    return cPulseGenerator({kind, speedKmh, rateHz, durationMs, 1}).generate();
}
} // namespace

TEST(cPulseGenerator, FiveThirtyRuleHasTheClosedFormsOfConstantAndRampDecelerations)
{
    // Constant deceleration a: 127 mm at sqrt(2 x 0.127 / a). The steps are exact for it, and for a
    // ramp j t (travel j t^3 / 6), since the deceleration is taken as linear between samples.
    EXPECT_NEAR(cPulseGenerator::requiredTimeToFire(std::vector<float>(2001, -10.0f), 10000.0).value_or(-1),
                1000.0 * std::sqrt(2.0 * 0.127 / (10.0 * kG)) - 30.0, 1e-9); // 20.9 ms
    EXPECT_NEAR(cPulseGenerator::requiredTimeToFire(std::vector<float>(401, -7.0f), 2000.0).value_or(-1),
                1000.0 * std::sqrt(2.0 * 0.127 / (7.0 * kG)) - 30.0, 1e-9);

    double const jerk = 20000.0; // m/s^3
    std::vector<float> ramp;
    for (int i = 0; i <= 2000; ++i)
        ramp.push_back(static_cast<float>(-jerk * i / 10000.0 / kG));
    // Float samples: 1e-7 relative on the deceleration.
    EXPECT_NEAR(cPulseGenerator::requiredTimeToFire(ramp, 10000.0).value_or(-1),
                1000.0 * std::cbrt(6.0 * 0.127 / jerk) - 30.0, 1e-4);

    // 50 g reach 127 mm after 22.8 ms, before the bag could be full: fire at once.
    EXPECT_EQ(cPulseGenerator::requiredTimeToFire(std::vector<float>(2001, -50.0f), 10000.0), 0.0);
    // 0.5 g need 228 ms, and the recording ends at 200; acceleration (a rebound) moves nobody forward.
    EXPECT_FALSE(cPulseGenerator::requiredTimeToFire(std::vector<float>(2001, -0.5f), 10000.0));
    EXPECT_FALSE(cPulseGenerator::requiredTimeToFire(std::vector<float>(2001, 20.0f), 10000.0));
    EXPECT_FALSE(cPulseGenerator::requiredTimeToFire({}, 10000.0));

    EXPECT_EQ(cPulseGenerator::requiredTimeToFireText(20.85), "required time to fire (5-30 rule): 20.9 ms");
    EXPECT_EQ(cPulseGenerator::requiredTimeToFireText(0.0), "required time to fire (5-30 rule): 0.0 ms");
    EXPECT_EQ(cPulseGenerator::requiredTimeToFireText(std::nullopt),
              "required time to fire (5-30 rule): none");
}

TEST(cPulseGenerator, CrashesChangeTheSpeedByTheImpactSpeedWithoutRebound)
{
    struct sCase
    {
        EPulseKind kind;
        double speedKmh;
        double rateHz;
        double durationMs;
    };
    for (sCase const c :
         {sCase{ePulseFullFrontal, 56.0, 10000.0, 200.0}, sCase{ePulseFullFrontal, 8.0, 10000.0, 200.0},
          sCase{ePulseOffset, 64.0, 2500.0, 140.0}, sCase{ePulsePole, 32.0, 20000.0, 300.0}})
    {
        SCOPED_TRACE(std::string(cPulseGenerator::kindName(c.kind)) + " " + std::to_string(c.speedKmh));
        sPulseSamples const samples = generated(c.kind, c.speedKmh, c.rateHz, c.durationMs);
        unsigned int const count = static_cast<unsigned int>(c.durationMs * c.rateHz / 1000.0) + 1;
        ASSERT_EQ(samples.longitudinal.size(), count);
        // Within 0.001 km/h: float samples and the zero-sum sensor noise.
        EXPECT_NEAR(speedChange(samples.longitudinal, c.rateHz) * 3.6, -c.speedKmh, 1e-3);
        // The vehicle's speed falls to rest and stays there; only the sensor noise (0.03 g rms)
        // moves it by millimetres per second, where a rebound would be metres per second.
        double speed = c.speedKmh / 3.6;
        double lowest = speed;
        for (size_t i = 1; i < count; ++i)
        {
            speed += (static_cast<double>(samples.longitudinal[i - 1]) + samples.longitudinal[i]) / 2.0 * kG /
                     c.rateHz;
            lowest = std::min(lowest, speed);
        }
        EXPECT_GT(lowest, -0.01);
    }

    // The shapes: the full frontal is stiff and early, the offset longer and lower, the pole peaks
    // late; the lateral part, against the longitudinal one, is largest in the offset.
    auto peak = [](std::vector<float> const& samples)
    { return std::min_element(samples.begin(), samples.end()) - samples.begin(); };
    auto lateralRatio = [](sPulseSamples const& samples)
    {
        auto const lateral = std::minmax_element(samples.lateral.begin(), samples.lateral.end());
        return std::max(-*lateral.first, *lateral.second) /
               -*std::min_element(samples.longitudinal.begin(), samples.longitudinal.end());
    };
    sPulseSamples const frontal = generated(ePulseFullFrontal, 56.0);
    sPulseSamples const offset = generated(ePulseOffset, 56.0);
    sPulseSamples const pole = generated(ePulsePole, 56.0);
    EXPECT_LT(frontal.longitudinal[peak(frontal.longitudinal)], -30.0f);
    EXPECT_GT(frontal.longitudinal[peak(frontal.longitudinal)], -50.0f);
    EXPECT_GT(offset.longitudinal[peak(offset.longitudinal)],
              0.8f * frontal.longitudinal[peak(frontal.longitudinal)]);
    EXPECT_LT(peak(frontal.longitudinal), 600);
    EXPECT_GT(peak(pole.longitudinal), 700);
    EXPECT_GT(lateralRatio(offset), 1.5f * lateralRatio(pole));
    EXPECT_GT(lateralRatio(pole), 1.5f * lateralRatio(frontal));
}

TEST(cPulseGenerator, MisuseKeepsTheOccupantBelow127Millimetres)
{
    // Over the longest recording too, where a drift of the speed would show.
    for (double const duration : {200.0, 2000.0})
    {
        for (double const speed : {10.0, 50.0, 120.0})
        {
            SCOPED_TRACE("rough road " + std::to_string(speed) + " km/h, " + std::to_string(duration) +
                         " ms");
            sPulseSamples const road = generated(ePulseRoughRoad, speed, 10000.0, duration);
            EXPECT_FALSE(cPulseGenerator::requiredTimeToFire(road.longitudinal, 10000.0));
            EXPECT_NEAR(speedChange(road.longitudinal, 10000.0), 0.0, 1e-4);
            // A few g, more the faster the car goes.
            float const deepest = *std::min_element(road.longitudinal.begin(), road.longitudinal.end());
            EXPECT_LT(deepest, speed == 10.0 ? -0.8f : speed == 50.0 ? -2.0f : -4.0f);
            EXPECT_GT(deepest, -12.0f);
        }
        SCOPED_TRACE("hammer, " + std::to_string(duration) + " ms");
        sPulseSamples const hammer = generated(ePulseHammer, 0.0, 10000.0, duration);
        EXPECT_FALSE(cPulseGenerator::requiredTimeToFire(hammer.longitudinal, 10000.0));
        // The car takes the hammer's momentum: 6 mm/s.
        EXPECT_NEAR(speedChange(hammer.longitudinal, 10000.0), -0.006, 1e-4);
        // One spike of about 40 g at 5 ms, its main lobe about 1 ms wide.
        auto const deepest = std::min_element(hammer.longitudinal.begin(), hammer.longitudinal.end());
        EXPECT_EQ(deepest - hammer.longitudinal.begin(), 50);
        EXPECT_NEAR(*deepest, -41.2f, 1.0f);
        long const below = std::count_if(hammer.longitudinal.begin(), hammer.longitudinal.end(),
                                         [](float value) { return value < -20.0f; });
        EXPECT_GE(below, 5);
        EXPECT_LE(below, 10);
    }
}
