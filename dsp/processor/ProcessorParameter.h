#pragma once

#include <atomic>
#include <functional>
#include <string>

namespace orvo::audio
{

/// One setting of a processor, seen as a plain float whatever its own type is. The owner fills the
/// fields in before it is shared; afterwards only the value and `changed` change, both atomically.
/// Values may be read on any thread; writers are kept apart by the processor's lock.
class ProcessorParameter
{
public:
    ProcessorParameter() = default;
    virtual ~ProcessorParameter() = default;

    ProcessorParameter(const ProcessorParameter&) = delete;
    ProcessorParameter& operator=(const ProcessorParameter&) = delete;

    /// The value as text, without the unit.
    virtual std::string getValueText() const = 0;

    virtual float getAsFloatValue() const = 0;

    virtual float getDefaultValueAsFloat() const = 0;

    /// Stores the value limited to the range, and sets `changed` even if it is the same again.
    virtual void setFromFloatValue(float newValue) = 0;

    virtual void getFloatParameterRange(float& min, float& max) const = 0;

    virtual int getNumOfDecimalPlaces() const { return numOfDecimalPlaces; }

    /// Identifier, an upper camel case word.
    std::string name;

    /// Shown beside the value; may be empty.
    std::string unit;

    /// Digits after the point in the value text.
    int numOfDecimalPlaces = 0;

    /// A new value waits to be taken into effect.
    std::atomic<bool> changed{false};
};

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

    /// Rounds int and bool to the nearest whole number, ties to even. NaN is stored as it
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

/// A switch whose value text is "On" or "Off".
class BoolProcessorParameter : public TypedProcessorParameter<bool>
{
public:
    BoolProcessorParameter();
};

} // namespace orvo::audio
