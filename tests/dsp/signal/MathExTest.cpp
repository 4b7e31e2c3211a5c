#include "dsp/signal/MathEx.h"

#include "dsp/signal/WindowFunctions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace orvo
{
namespace
{

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

TEST(Decibels, turnIntoAmplitudesAndBack)
{
    EXPECT_EQ(MathEx::toDecibel(1.0F), 0.0F);
    EXPECT_EQ(MathEx::toDecibel(0.0F), -infinity);
    EXPECT_FLOAT_EQ(MathEx::toDecibel(0.1F), -20.0F);
    EXPECT_FLOAT_EQ(MathEx::fromDecibel(-6.0F), 0.50118723F);
    EXPECT_EQ(MathEx::fromDecibel(-infinity), 0.0F);
    // A float level of about 100 dB is good to 4e-6 dB.
    EXPECT_NEAR(MathEx::toDecibel(MathEx::fromDecibel(-97.3F)), -97.3F, 1e-5F);
}

TEST(Decibels, neverFallBelowTheirFloor)
{
    for (const float x : {0.0F, -0.0F, -1.0F, 1e-30F, notANumber})
        EXPECT_EQ(MathEx::toDecibel(x, -90.0F), -90.0F) << x;
    EXPECT_EQ(MathEx::toDecibel(1.0F, -90.0F), 0.0F);
    EXPECT_EQ(MathEx::toDecibel(1.0F, 3.0F), 3.0F);
    EXPECT_EQ(MathEx::toDecibel(0.0F, infinity), infinity);
}

TEST(PowersOfTwo, areTheNearestWithTiesDown)
{
    const int cases[][2] = {{-5, 0},
                            {0, 0},
                            {1, 1},
                            {2, 2},
                            {3, 2},
                            {5, 4},
                            {6, 4},
                            {7, 8},
                            {12, 8},
                            {768, 512},
                            {769, 1024},
                            {1000, 1024},
                            {1 << 30, 1 << 30}};
    for (const auto& [n, expected] : cases)
        EXPECT_EQ(MathEx::findNearestPowerOfTwo(n), expected) << n;
}

TEST(PowersOfTwo, haveTheirHighestBitAsLogarithm)
{
    const int cases[][2] = {{0, 0}, {1, 0}, {2, 1}, {3, 1}, {1023, 9}, {1024, 10}};
    for (const auto& [n, expected] : cases)
        EXPECT_EQ(MathEx::log2(n), expected) << n;
    EXPECT_EQ(MathEx::log2(std::numeric_limits<int>::max()), 30);
}

TEST(Phases, wrapByWholeTurns)
{
    EXPECT_FLOAT_EQ(MathEx::toMinusPiToPi(4.0F), -2.2831853F);
    EXPECT_FLOAT_EQ(MathEx::toMinusPiToPi(-4.0F), 2.2831853F);
    EXPECT_EQ(MathEx::toMinusPiToPi(3.0F), 3.0F);
    for (int step = -4000; step <= 4000; ++step)
    {
        const float phase = 0.05F * static_cast<float>(step);
        const float wrapped = MathEx::toMinusPiToPi(phase);
        // A phase of up to 200 and the whole turns taken from it are each good to 8e-6.
        EXPECT_LE(std::fabs(wrapped), std::numbers::pi_v<float> + 2e-5F) << phase;
        EXPECT_NEAR(std::sin(wrapped), std::sin(phase), 2e-5F) << phase;
        EXPECT_NEAR(std::cos(wrapped), std::cos(phase), 2e-5F) << phase;
    }
}

TEST(WholeNumbers, areTruncatedAndLimited)
{
    constexpr int highest = std::numeric_limits<int>::max();
    constexpr int lowest = std::numeric_limits<int>::min();
    EXPECT_EQ(MathEx::saturatingToInt(2.9), 2);
    EXPECT_EQ(MathEx::saturatingToInt(-2.9), -2);
    EXPECT_EQ(MathEx::saturatingToInt(2147483646.9), highest - 1);
    EXPECT_EQ(MathEx::saturatingToInt(-2147483648.5), lowest);
    EXPECT_EQ(MathEx::saturatingToInt(1e300), highest);
    EXPECT_EQ(MathEx::saturatingToInt(-std::numeric_limits<double>::infinity()), lowest);
    EXPECT_EQ(MathEx::saturatingToInt(std::numeric_limits<double>::quiet_NaN()), 0);
}

TEST(HammingWindow, isSampledHalfASampleOff)
{
    const audio::Signal32 window = audio::WindowFunctions::generateHammingWindow(2, 4);
    ASSERT_EQ(window.getNumChannels(), 2);
    ASSERT_EQ(window.getNumSamples(), 4);
    for (int channel = 0; channel < 2; ++channel)
        for (int n = 0; n < 4; ++n)
            EXPECT_FLOAT_EQ(window.getReadChannelPtr(channel)[n],
                            n == 0 || n == 3 ? 0.21473089F : 0.86526911F);
}

TEST(HammingWindow, isSymmetricAndAbove008)
{
    for (const int length : {1, 33, 4096})
    {
        const audio::Signal32 signal = audio::WindowFunctions::generateHammingWindow(1, length);
        const float* const window = signal.getReadChannelPtr(0);
        for (int n = 0; n < length; ++n)
        {
            EXPECT_FLOAT_EQ(window[n], window[length - 1 - n]);
            EXPECT_GT(window[n], 0.08F);
        }
    }
}

} // namespace
} // namespace orvo
