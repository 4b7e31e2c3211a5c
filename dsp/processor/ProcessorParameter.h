#pragma once

#include <atomic>
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

} // namespace orvo::audio
