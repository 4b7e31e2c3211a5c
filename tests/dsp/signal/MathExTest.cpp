#include "dsp/signal/MathEx.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

using orvo::MathEx;

TEST(MathEx, turnsLevelsIntoAmplitudesAndBackAboveTheirFloor)
{
    EXPECT_EQ(MathEx::toDecibel(1.0F), 0.0F);
    EXPECT_EQ(MathEx::toDecibel(0.0F), -HUGE_VALF);
    EXPECT_FLOAT_EQ(MathEx::fromDecibel(-6.0F), 0.50118723F);
    EXPECT_FLOAT_EQ(MathEx::toDecibel(MathEx::fromDecibel(-97.3F)), -97.3F);
    for (const float x : {0.0F, -0.0F, -1.0F, 1e-30F, std::numeric_limits<float>::quiet_NaN()})
        EXPECT_EQ(MathEx::toDecibel(x, -90.0F), -90.0F) << x;
}

TEST(MathEx, takesTheNearestPowerOfTwoWithTiesDown)
{
    const int cases[][2] = {{-5, 0}, {0, 0},  {1, 1},     {2, 2},      {3, 2},
                            {7, 8},  {12, 8}, {768, 512}, {769, 1024}, {1 << 30, 1 << 30}};
    for (const auto& [n, nearest] : cases)
        EXPECT_EQ(MathEx::findNearestPowerOfTwo(n), nearest) << n;
}

TEST(MathEx, takesWholeTurnsOffPhases)
{
    for (float phase = -200.0F; phase <= 200.0F; phase += 0.05F)
    {
        const float wrapped = MathEx::toMinusPiToPi(phase);
        // A phase of up to 200 and the whole turns taken from it are each good to 8e-6.
        EXPECT_LE(std::fabs(wrapped), std::numbers::pi_v<float> + 2e-5F) << phase;
        EXPECT_NEAR(std::sin(wrapped), std::sin(phase), 2e-5F) << phase;
        EXPECT_NEAR(std::cos(wrapped), std::cos(phase), 2e-5F) << phase;
    }
}

TEST(MathEx, truncatesAndLimitsToWholeNumbers)
{
    EXPECT_EQ(MathEx::saturatingToInt(-2.9), -2);
    EXPECT_EQ(MathEx::saturatingToInt(2147483646.9), 2147483646);
    EXPECT_EQ(MathEx::saturatingToInt(1e300), std::numeric_limits<int>::max());
    EXPECT_EQ(MathEx::saturatingToInt(-HUGE_VAL), std::numeric_limits<int>::min());
    EXPECT_EQ(MathEx::saturatingToInt(std::numeric_limits<double>::quiet_NaN()), 0);
}
