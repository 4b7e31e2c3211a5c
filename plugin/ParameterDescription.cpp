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

juce::String getSwitchText(bool isOn)
{
    return isOn ? juce::translate("On") : juce::translate("Off");
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
    return toNormalized(getNaturalValue());
}

void ParameterDescription::setNormalizedParameterValue(float value, bool notify)
{
    processor->setParameterValue(internalId, toNatural(value), notify);
}

float ParameterDescription::toNormalized(float natural) const
{
    const auto [min, max] = getRange();
    switch (mappingMode)
    {
    case Linear:
        return (natural - min) / (max - min);
    case Logarithmic:
        return static_cast<float>(
            std::log10(static_cast<double>(natural) / static_cast<double>(min)) /
            std::log10(static_cast<double>(max) / static_cast<double>(min)));
    }
    throwUnknownMode();
}

float ParameterDescription::toNatural(float normalized) const
{
    const auto [min, max] = getRange();
    switch (mappingMode)
    {
    case Linear:
        return min + normalized * (max - min);
    case Logarithmic:
        return static_cast<float>(static_cast<double>(min) *
                                  std::pow(static_cast<double>(max) / static_cast<double>(min),
                                           static_cast<double>(normalized)));
    }
    throwUnknownMode();
}

juce::String ParameterDescription::getText() const
{
    return makeText(getNaturalValue());
}

juce::String ParameterDescription::getText(float normalized) const
{
    const float natural = toNatural(juce::jlimit(0.0F, 1.0F, normalized));
    return makeText(isWhole() ? std::nearbyint(natural) : natural);
}

juce::String ParameterDescription::makeText(float natural) const
{
    const juce::String valueText =
        isSwitch() ? getSwitchText(natural > 0.5F)
                   : juce::String::formatted("%.2f", static_cast<double>(natural));
    return valueText + " " + unit;
}

std::optional<float> ParameterDescription::parse(const juce::String& text) const
{
    const auto [min, max] = getRange();
    juce::String number = text.trim();
    for (const bool isOn : {true, false})
        if (isSwitch() && (number.equalsIgnoreCase(isOn ? "On" : "Off") ||
                           number.equalsIgnoreCase(getSwitchText(isOn))))
            return isOn ? max : min;
    if (unit.isNotEmpty() && number.endsWithIgnoreCase(unit))
        number = number.dropLastCharacters(unit.length()).trimEnd();
    number = number.replaceCharacter(',', '.');
    const juce::String digits = number.trimCharactersAtStart("+-");
    const bool isNumber = number.length() - digits.length() <= 1 &&
                          digits.containsAnyOf("0123456789") &&
                          digits.containsOnly("0123456789.") &&
                          digits.indexOfChar('.') == digits.lastIndexOfChar('.');
    if (!isNumber)
        return std::nullopt;
    return juce::jlimit(min, max, number.getFloatValue());
}

int ParameterDescription::getNumSteps() const
{
    if (isSwitch())
        return 2;
    const auto [min, max] = getRange();
    return isWhole() ? juce::roundToInt(max - min) + 1 : 0;
}

bool ParameterDescription::isSwitch() const
{
    const auto [min, max] = getRange();
    return interval == max - min;
}

bool ParameterDescription::isWhole() const
{
    using Whole = orvo::audio::TypedProcessorParameter<int>;
    return internalId >= 0 && internalId < processor->getNumParameters() &&
           dynamic_cast<const Whole*>(&processor->getParameter(internalId)) != nullptr;
}

juce::NormalisableRange<float> ParameterDescription::getNormalisableRange() const
{
    const auto [min, max] = getRange();
    return {min, max, [this](float, float, float normalized) { return toNatural(normalized); },
            [this](float, float, float natural) { return toNormalized(natural); }};
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
