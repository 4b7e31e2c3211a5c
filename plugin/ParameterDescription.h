#pragma once

#include "dsp/processor/BaseAudioProcessor.h"

#include <juce_core/juce_core.h>
#include <memory>
#include <optional>
#include <vector>

/// One parameter as the host sees it, normalised to 0..1, joined to a parameter of the processor
/// with its natural unit and range. The range is asked for at every call, since a processor may
/// change it.
class ParameterDescription
{
public:
    /// How 0..1 stands for the natural range.
    enum ParameterMappingMode : int
    {
        Linear = 0,

        /// Equal steps are equal ratios; needs a positive minimum.
        Logarithmic = 1
    };

    /// Takes the processor's present value for the default, so describe it while it has its
    /// defaults. `interval` is the display step; one as wide as the range marks a switch.
    ParameterDescription(std::shared_ptr<orvo::audio::BaseAudioProcessor> owner, int idInProcessor,
                         juce::String displayName, juce::String displayUnit, float displayInterval,
                         ParameterMappingMode mapping);

    virtual ~ParameterDescription() = default;

    ParameterDescription(const ParameterDescription&) = delete;
    ParameterDescription& operator=(const ParameterDescription&) = delete;

    /// The present value from 0 to 1. Throws std::runtime_error("Unknown mapping mode").
    virtual float getNormalizedParameterValue();

    /// Sets the value from its normalised form, without limiting it here; `notify` lets the
    /// processor's listeners know. Throws std::runtime_error("Unknown mapping mode").
    virtual void setNormalizedParameterValue(float value, bool notify);

    /// "On" or "Off" for a switch, else the natural value with two decimals; then a space and the
    /// unit, the space also where there is no unit.
    juce::String getText() const;

    /// The same text of any normalised value.
    juce::String getText(float normalized) const;

    /// The natural value that a user has typed, limited to the range: a number with a point or a
    /// comma, with the unit after it or without, or "On" and "Off" for a switch. Nothing for any
    /// other text.
    std::optional<float> parse(const juce::String& text) const;

    /// What the natural value is when normalised. Throws std::runtime_error("Unknown mapping
    /// mode").
    float toNormalized(float natural) const;

    /// How many values a switch or a whole number can have; 0 for one that is not in steps.
    int getNumSteps() const;

    bool isSwitch() const;

    /// The mapping as the framework knows it, for as long as the description lives.
    juce::NormalisableRange<float> getNormalisableRange() const;

    /// The present value in its natural unit.
    float getNaturalValue() const;

    int getInternalId() const { return internalId; }

    const juce::String& getName() const { return name; }

    const juce::String& getUnit() const { return unit; }

    /// The display step, in the natural unit.
    float getInterval() const { return interval; }

    /// In the natural unit.
    float getDefaultValue() const { return defaultValue; }

    float getDefaultNormalizedValue() const { return defaultNormalizedValue; }

private:
    float toNatural(float normalized) const;
    bool isWhole() const;
    juce::String makeText(float natural) const;

    struct Range
    {
        float min;
        float max;
    };

    Range getRange() const;

    std::shared_ptr<orvo::audio::BaseAudioProcessor> processor;
    int internalId;
    juce::String name;
    juce::String unit;
    float interval;
    float defaultValue = 0.0F;
    float defaultNormalizedValue = 0.0F;
    ParameterMappingMode mappingMode;
};

namespace kalim::plugin
{

/// The public parameters in the order in which hosts number them. Filled while the plug-in is built
/// and fixed from then on, so that any thread may look things up.
class ParameterList
{
public:
    void add(std::unique_ptr<ParameterDescription> description);

    int size() const { return static_cast<int>(descriptions.size()); }

    /// The parameter at a public index, null when there is none.
    ParameterDescription* find(int index) const;

    /// The first parameter with that id in the processor, or null.
    ParameterDescription* findByInternalId(int internalId) const;

    /// Its public index, or -1.
    int findIndexByInternalId(int internalId) const;

    auto begin() const { return descriptions.begin(); }

    auto end() const { return descriptions.end(); }

private:
    std::vector<std::unique_ptr<ParameterDescription>> descriptions;
};

} // namespace kalim::plugin
