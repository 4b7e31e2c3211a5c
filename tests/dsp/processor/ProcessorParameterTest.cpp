#include "dsp/processor/ProcessorParameter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using namespace orvo::audio;

namespace
{

template <typename T>
float stored(T min, T max, float given)
{
    TypedProcessorParameter<T> parameter;
    parameter.minValue = min;
    parameter.maxValue = max;
    parameter.setFromFloatValue(given);
    EXPECT_TRUE(parameter.changed.exchange(false));
    parameter.setFromFloatValue(given);
    EXPECT_TRUE(parameter.changed) << "the same value again is a change as well";
    return parameter.getAsFloatValue();
}

std::string textOf(float value, int numOfDecimalPlaces)
{
    TypedProcessorParameter<float> parameter;
    parameter.value = value;
    parameter.numOfDecimalPlaces = numOfDecimalPlaces;
    return parameter.getValueText();
}

} // namespace

TEST(Parameter, ofIntRoundsTiesToEvenWithinItsRange)
{
    const float cases[][2] = {{0.4F, 1.0F},       {6.5F, 6.0F},         {7.5F, 8.0F},
                              {20.6F, 20.0F},     {-3e9F, 1.0F},        {HUGE_VALF, 20.0F},
                              {-HUGE_VALF, 1.0F}, {std::nanf(""), 1.0F}};
    for (const auto& [given, expected] : cases)
        EXPECT_EQ(stored<int>(1, 20, given), expected) << given;
    EXPECT_EQ(stored<int>(0, 2147483647, 3e9F), 0x1p31F);
}

TEST(Parameter, ofBoolSwitchesAboveOneHalfWithinItsRange)
{
    const bool ranges[][2] = {{false, true}, {true, true}, {false, false}};
    for (const auto& [min, max] : ranges)
    {
        for (const float given : {0.0F, 0.49F, 0.5F})
            EXPECT_EQ(stored<bool>(min, max, given), min ? 1.0F : 0.0F) << given;
        for (const float given : {0.51F, 1.0F, -1.0F, HUGE_VALF})
            EXPECT_EQ(stored<bool>(min, max, given), max ? 1.0F : 0.0F) << given;
    }
}

TEST(Parameter, ofFloatStaysInItsRangeButKeepsNotANumber)
{
    EXPECT_EQ(stored<float>(40.0F, 70.0F, HUGE_VALF), 70.0F);
    EXPECT_EQ(stored<float>(40.0F, 70.0F, 39.999F), 40.0F);
    EXPECT_EQ(stored<float>(40.0F, 70.0F, 55.25F), 55.25F);
    EXPECT_TRUE(std::isnan(stored<float>(40.0F, 70.0F, std::nanf(""))));
}

TEST(ParameterText, hasTheDecimalPlacesAskedForOrTheWordsOfItsOwner)
{
    EXPECT_EQ(textOf(50.0F, 2), "50.00");
    EXPECT_EQ(textOf(59.97F, 0), "60");
    EXPECT_EQ(textOf(0x1.fffffep127F, 1), "340282346638528859811704183484516925440.0");
    EXPECT_EQ(textOf(HUGE_VALF, 2), "inf");
    BoolProcessorParameter words;
    TypedProcessorParameter<bool> digits;
    EXPECT_EQ(words.getValueText() + digits.getValueText(), "Off0");
    words.value = digits.value = true;
    EXPECT_EQ(words.getValueText() + digits.getValueText(), "On1");
}
