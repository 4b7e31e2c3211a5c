#pragma once

#include <functional>
#include <juce_core/juce_core.h>
#include <vector>

/// Presets as XML files: a partial update of the settings in natural units, so that files stay
/// loadable when parameters are added, renamed or shown in another unit.
namespace PresetFile
{

struct Parameter
{
    int id = 0;
    juce::String unit;
    double value = 0.0;
    juce::String name;
};

/// The parameters that a parsed preset sets, in the order of the file; elements without an id or
/// with a negative one are left out. Returns false when it is no preset.
bool readParameters(const juce::XmlElement& root, std::vector<Parameter>& parameters);

/// The element for data of a derived plug-in, or null.
juce::XmlElement* findCustomData(const juce::XmlElement& root);

/// Makes a preset; `fillCustomData` is given its element for custom data.
juce::XmlElement make(const std::vector<Parameter>& parameters,
                      const std::function<void(juce::XmlElement&)>& fillCustomData);

/// Writes beside the file and then replaces it, so that a failure leaves the old file as it was.
/// Returns whether it succeeded.
bool write(const juce::XmlElement& root, const juce::File& file);

} // namespace PresetFile
