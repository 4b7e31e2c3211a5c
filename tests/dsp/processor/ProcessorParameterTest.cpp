#include "dsp/processor/BoolProcessorParameter.h"
#include "dsp/processor/Uuid.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstring>
#include <limits>
#include <locale>
#include <string>

namespace orvo::audio
{
namespace
{

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

template <typename T>
T stored(T min, T max, float given)
{
    TypedProcessorParameter<T> parameter;
    parameter.minValue = min;
    parameter.maxValue = max;
    parameter.setFromFloatValue(given);
    return parameter.value;
}

TEST(IntParameter, roundsTiesToEvenAndStaysInItsRange)
{
    const float cases[][2] = {{0.4F, 1.0F},  {6.5F, 6.0F},   {7.5F, 8.0F},      {20.6F, 20.0F},
                              {-3e9F, 1.0F}, {1e30F, 20.0F}, {infinity, 20.0F}, {-infinity, 1.0F}};
    for (const auto& [given, expected] : cases)
        EXPECT_EQ(stored<int>(1, 20, given), static_cast<int>(expected)) << given;
    EXPECT_EQ(stored<int>(-10, 10, -2.5F), -2);
    EXPECT_EQ(stored<int>(1, 20, notANumber), 1);
    constexpr int highest = std::numeric_limits<int>::max();
    EXPECT_EQ(stored<int>(0, highest, 3e9F), highest);
}

TEST(BoolParameter, switchesAtOneHalfWithinItsRange)
{
    const bool cases[][2] = {{false, true}, {true, true}, {false, false}};
    for (const auto& [min, max] : cases)
    {
        EXPECT_EQ(stored<bool>(min, max, 0.49F), min);
        EXPECT_EQ(stored<bool>(min, max, 0.5F), min); // a tie goes to the even zero
        EXPECT_EQ(stored<bool>(min, max, 0.51F), max);
        EXPECT_EQ(stored<bool>(min, max, -1.0F), max);
        EXPECT_EQ(stored<bool>(min, max, infinity), max);
    }
}

TEST(FloatParameter, staysInItsRangeButKeepsNotANumber)
{
    EXPECT_EQ(stored<float>(40.0F, 70.0F, 100.0F), 70.0F);
    EXPECT_EQ(stored<float>(40.0F, 70.0F, 39.999F), 40.0F);
    EXPECT_EQ(stored<float>(40.0F, 70.0F, 55.25F), 55.25F);
    EXPECT_EQ(stored<float>(40.0F, 70.0F, infinity), 70.0F);
    EXPECT_EQ(stored<float>(40.0F, 70.0F, -infinity), 40.0F);
    EXPECT_TRUE(std::isnan(stored<float>(40.0F, 70.0F, notANumber)));
}

TEST(Parameter, isMarkedAsChangedEvenByItsOwnValue)
{
    TypedProcessorParameter<float> parameter;
    parameter.maxValue = 1.0F;
    EXPECT_FALSE(parameter.changed);
    parameter.setFromFloatValue(0.0F);
    EXPECT_TRUE(parameter.changed.exchange(false));
    parameter.setFromFloatValue(0.0F);
    EXPECT_TRUE(parameter.changed);
}

TEST(Parameter, isSeenAsFloatWhateverItsType)
{
    TypedProcessorParameter<int> number;
    number.value = -7;
    number.defaultValue = 12;
    number.minValue = -20;
    number.maxValue = 96;
    BoolProcessorParameter flag;
    flag.value = true;
    flag.maxValue = true;
    float min = 5.0F;
    float max = 5.0F;
    number.getFloatParameterRange(min, max);
    EXPECT_EQ(min, -20.0F);
    EXPECT_EQ(max, 96.0F);
    EXPECT_EQ(number.getAsFloatValue(), -7.0F);
    EXPECT_EQ(number.getDefaultValueAsFloat(), 12.0F);
    flag.getFloatParameterRange(min, max);
    EXPECT_EQ(min, 0.0F);
    EXPECT_EQ(max, 1.0F);
    EXPECT_EQ(flag.getAsFloatValue(), 1.0F);
    EXPECT_EQ(flag.getDefaultValueAsFloat(), 0.0F);
}

std::string textOf(float value, int numOfDecimalPlaces)
{
    TypedProcessorParameter<float> parameter;
    parameter.value = value;
    parameter.numOfDecimalPlaces = numOfDecimalPlaces;
    return parameter.getValueText();
}

TEST(ParameterText, hasTheDecimalPlacesAskedFor)
{
    EXPECT_EQ(textOf(50.0F, 2), "50.00");
    EXPECT_EQ(textOf(70.0F, 1), "70.0");
    EXPECT_EQ(textOf(59.97F, 0), "60");
    EXPECT_EQ(textOf(-0.125F, 3), "-0.125");
    EXPECT_EQ(textOf(std::numeric_limits<float>::max(), 2),
              "340282346638528859811704183484516925440.00");
    EXPECT_EQ(textOf(infinity, 2), "inf");
}

TEST(ParameterText, saysSwitchesInWordsOrDigits)
{
    BoolProcessorParameter words;
    TypedProcessorParameter<bool> digits;
    EXPECT_EQ(words.getValueText(), "Off");
    EXPECT_EQ(digits.getValueText(), "0");
    words.value = true;
    digits.value = true;
    EXPECT_EQ(words.getValueText(), "On");
    EXPECT_EQ(digits.getValueText(), "1");
}

TEST(ParameterText, comesFromTheOwnersFunctionWhereThereIsOne)
{
    TypedProcessorParameter<int> parameter;
    parameter.value = 1234;
    EXPECT_EQ(parameter.getValueText(), "1234");
    parameter.valueToText = [](int value) { return "<" + std::to_string(value) + ">"; };
    EXPECT_EQ(parameter.getValueText(), "<1234>");
}

/// Numbers as in German, whether or not the system has that language.
struct GermanNumbers : std::numpunct<char>
{
    char do_decimal_point() const override { return ','; }

    char do_thousands_sep() const override { return '.'; }

    std::string do_grouping() const override { return "\3"; }
};

TEST(ParameterText, doesNotDependOnTheLanguageOfTheSystem)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const std::locale previous =
        std::locale::global(std::locale(std::locale::classic(), new GermanNumbers));
    std::setlocale(LC_ALL, "de_DE.UTF-8"); // has no effect where it is not installed
    TypedProcessorParameter<int> number;
    number.value = 12345;
    EXPECT_EQ(textOf(1234.5F, 2), "1234.50");
    EXPECT_EQ(number.getValueText(), "12345");
    std::locale::global(previous);
    std::setlocale(LC_ALL, before.c_str());
}

TEST(Uuid, isSixteenBytesInTheOrderOfItsParts)
{
    const UUID id{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};
    static_assert(sizeof(UUID) == 16);
    unsigned char bytes[16];
    std::memcpy(bytes, &id, sizeof(bytes));
    std::uint16_t third = 0;
    std::memcpy(&third, bytes + 6, sizeof(third));
    EXPECT_EQ(third, 0x0708);
    EXPECT_EQ(bytes[15], 16);
    EXPECT_NE(id, stock_uuids::Nil);
    EXPECT_EQ(stock_uuids::Nil, UUID());
}

} // namespace
} // namespace orvo::audio
