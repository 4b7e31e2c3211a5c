#include "dsp/processor/ProcessorParameter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace orvo::audio
{
namespace
{

/// To the nearest whole number, ties to even; NaN becomes the lowest int, as processors do
/// it.
int roundToInt(float x)
{
    const double rounded = std::nearbyint(static_cast<double>(x));
    constexpr double highest = std::numeric_limits<int>::max();
    if (rounded >= highest)
        return std::numeric_limits<int>::max();
    return rounded > std::numeric_limits<int>::min() ? static_cast<int>(rounded)
                                                     : std::numeric_limits<int>::min();
}

int limited(float x, int min, int max)
{
    const int rounded = roundToInt(x);
    return rounded < min ? min : std::min(rounded, max);
}

float limited(float x, float min, float max)
{
    return x < min ? min : x > max ? max : x;
}

bool limited(float x, bool min, bool max)
{
    const bool isSet = roundToInt(x) != 0;
    return (min && !isSet) || (isSet && max);
}

std::string textOf(int value, int)
{
    return std::to_string(value);
}

std::string textOf(bool value, int)
{
    return value ? "1" : "0";
}

std::string textOf(float value, int numOfDecimalPlaces)
{
    std::array<char, 128> text{}; // the longest float has 39 digits before the point
    const int places = std::clamp(numOfDecimalPlaces, 0, 64);
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                   std::chars_format::fixed, places);
    return {text.data(), end.ptr};
}

} // namespace

template <typename T>
std::string TypedProcessorParameter<T>::getValueText() const
{
    const T current = value;
    return valueToText ? valueToText(current) : textOf(current, numOfDecimalPlaces);
}

template <typename T>
float TypedProcessorParameter<T>::getAsFloatValue() const
{
    return static_cast<float>(value.load());
}

template <typename T>
float TypedProcessorParameter<T>::getDefaultValueAsFloat() const
{
    return static_cast<float>(defaultValue);
}

template <typename T>
void TypedProcessorParameter<T>::setFromFloatValue(float newValue)
{
    value = limited(newValue, minValue, maxValue);
    changed = true;
}

template <typename T>
void TypedProcessorParameter<T>::getFloatParameterRange(float& min, float& max) const
{
    min = static_cast<float>(minValue);
    max = static_cast<float>(maxValue);
}

template class TypedProcessorParameter<int>;
template class TypedProcessorParameter<float>;
template class TypedProcessorParameter<bool>;

BoolProcessorParameter::BoolProcessorParameter()
{
    valueToText = [](bool isOn) { return isOn ? "On" : "Off"; };
}

} // namespace orvo::audio
