#pragma once

#include "dsp/processor/ProcessorParameter.h"

#include <functional>

namespace orvo::audio
{

/// A parameter of type int, float or bool, with an inclusive range. Everything is zero until the
/// owner sets it, so a bool must be given its range of false to true.
template <typename T>
class TypedProcessorParameter : public ProcessorParameter
{
public:
    /// valueToText(value) where it is set; else a decimal number, with exactly numOfDecimalPlaces
    /// digits after the point for float, whatever the locale.
    std::string getValueText() const override;

    float getAsFloatValue() const override;
    float getDefaultValueAsFloat() const override;

    /// Rounds int and bool to the nearest whole number, ties to even. Not-a-number is stored as it
    /// is by float; whoever reads a float parameter must be ready for it.
    void setFromFloatValue(float newValue) override;

    void getFloatParameterRange(float& min, float& max) const override;

    std::atomic<T> value{};
    T defaultValue{};
    T minValue{};
    T maxValue{};
    std::function<std::string(T)> valueToText;
};

extern template class TypedProcessorParameter<int>;
extern template class TypedProcessorParameter<float>;
extern template class TypedProcessorParameter<bool>;

} // namespace orvo::audio
