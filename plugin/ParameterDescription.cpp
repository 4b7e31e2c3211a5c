#include "plugin/ParameterDescription.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace
{

[[noreturn]] void throwUnknownMode()
{
    throw std::runtime_error("Unknown mapping mode");
}

} // namespace

ParameterDescription::ParameterDescription(std::shared_ptr<orvo::audio::BaseAudioProcessor> owner,
                                           int idInProcessor, juce::String displayName,
                                           juce::String displayUnit, float displayInterval,
                                           ParameterMappingMode mapping)
    : processor(std::move(owner))
    , internalId(idInProcessor)
    , name(std::move(displayName))
    , unit(std::move(displayUnit))
    , interval(displayInterval)
    , mappingMode(mapping)
{
    defaultValue = getNaturalValue();
    defaultNormalizedValue = ParameterDescription::getNormalizedParameterValue();
}

float ParameterDescription::getNormalizedParameterValue()
{
    const auto [min, max] = getRange();
    const float value = getNaturalValue();
    switch (mappingMode)
    {
    case Linear:
        return (value - min) / (max - min);
    case Logarithmic:
        return static_cast<float>(
            std::log10(static_cast<double>(value) / static_cast<double>(min)) /
            std::log10(static_cast<double>(max) / static_cast<double>(min)));
    }
    throwUnknownMode();
}

void ParameterDescription::setNormalizedParameterValue(float value, bool notify)
{
    const auto [min, max] = getRange();
    const auto natural = [&, min = min, max = max]
    {
        switch (mappingMode)
        {
        case Linear:
            return min + value * (max - min);
        case Logarithmic:
            return static_cast<float>(static_cast<double>(min) *
                                      std::pow(static_cast<double>(max) / static_cast<double>(min),
                                               static_cast<double>(value)));
        }
        throwUnknownMode();
    };
    processor->setParameterValue(internalId, natural(), notify);
}

juce::String ParameterDescription::getText() const
{
    const auto [min, max] = getRange();
    const float value = getNaturalValue();
    const bool isSwitch = interval == max - min;
    const juce::String valueText =
        isSwitch ? juce::String(value > 0.5F ? "On" : "Off")
                 : juce::String::formatted("%.2f", static_cast<double>(value));
    return valueText + " " + unit;
}

float ParameterDescription::getNaturalValue() const
{
    return processor->getParameterValue(internalId);
}

ParameterDescription::Range ParameterDescription::getRange() const
{
    Range range{};
    processor->getParameterRange(internalId, range.min, range.max);
    return range;
}

namespace kalim::plugin
{

void ParameterList::add(std::unique_ptr<ParameterDescription> description)
{
    descriptions.push_back(std::move(description));
}

ParameterDescription* ParameterList::find(int index) const
{
    return index >= 0 && index < size() ? descriptions[static_cast<std::size_t>(index)].get()
                                        : nullptr;
}

ParameterDescription* ParameterList::findByInternalId(int internalId) const
{
    return find(findIndexByInternalId(internalId));
}

int ParameterList::findIndexByInternalId(int internalId) const
{
    const auto hasId = [internalId](const auto& description)
    { return description->getInternalId() == internalId; };
    const auto found = std::ranges::find_if(descriptions, hasId);
    return found == descriptions.end() ? -1 : static_cast<int>(found - descriptions.begin());
}

} // namespace kalim::plugin
