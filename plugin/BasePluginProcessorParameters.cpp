// The public parameters, by index and as the framework's formats know them.

#include "plugin/BasePluginProcessor.h"

#include <memory>
#include <utility>

namespace
{

/// A public parameter with what only this form can tell formats: steps, and texts of values other
/// than the present one. All calls go on to the plug-in's own methods.
class HostParameter final : public juce::RangedAudioParameter
{
public:
    HostParameter(BasePlugInProcessor& owner, int publicIndex, const ParameterDescription& shown)
        : juce::RangedAudioParameter(
              {shown.getName(), 1}, shown.getName(),
              juce::AudioProcessorParameterWithIDAttributes().withLabel(shown.getUnit()))
        , plugIn(owner)
        , index(publicIndex)
        , description(shown)
        , range(shown.getNormalisableRange())
    {
    }

    const juce::NormalisableRange<float>& getNormalisableRange() const override { return range; }

    float getValue() const override { return plugIn.getParameter(index); }

    void setValue(float value) override { plugIn.setParameter(index, value); }

    float getDefaultValue() const override { return plugIn.getParameterDefaultValue(index); }

    bool isDiscrete() const override { return description.getNumSteps() > 0; }

    bool isBoolean() const override { return description.isSwitch(); }

    int getNumSteps() const override
    {
        return isDiscrete() ? description.getNumSteps()
                            : juce::AudioProcessor::getDefaultNumParameterSteps();
    }

    juce::String getText(float value, int maximumLength) const override
    {
        return description.getText(value).substring(0, maximumLength);
    }

    float getValueForText(const juce::String& text) const override
    {
        const std::optional<float> natural = description.parse(text);
        return natural ? description.toNormalized(*natural) : getValue();
    }

private:
    BasePlugInProcessor& plugIn;
    int index;
    const ParameterDescription& description;
    juce::NormalisableRange<float> range;
};

} // namespace

void BasePlugInProcessor::addParameterDescription(int internalId, const juce::String& name,
                                                  const juce::String& unit, float interval,
                                                  ParameterDescription::ParameterMappingMode mode)
{
    auto description =
        std::make_unique<ParameterDescription>(processor, internalId, name, unit, interval, mode);
    auto parameter = std::make_unique<HostParameter>(*this, parameters.size(), *description);
    parameters.add(std::move(description));
    addParameter(parameter.release());
}

float BasePlugInProcessor::getParameter(int index)
{
    ParameterDescription* const parameter = parameters.find(index);
    return parameter == nullptr ? -1.0F : parameter->getNormalizedParameterValue();
}

void BasePlugInProcessor::setParameter(int index, float normalized)
{
    ParameterDescription* const parameter = parameters.find(index);
    if (parameter == nullptr)
        return;
    parameter->setNormalizedParameterValue(normalized, mayNotifyProcessor());
    notifyListeners(index);
}

const juce::String BasePlugInProcessor::getParameterName(int index)
{
    const ParameterDescription* const parameter = parameters.find(index);
    return parameter == nullptr ? juce::String() : parameter->getName();
}

juce::String BasePlugInProcessor::getParameterID(int index)
{
    // The framework's own ids are bare numbers, which some formats cannot write down.
    return BasePlugInProcessor::getParameterName(index);
}

const juce::String BasePlugInProcessor::getParameterText(int index)
{
    const ParameterDescription* const parameter = parameters.find(index);
    return parameter == nullptr ? juce::String() : parameter->getText();
}

float BasePlugInProcessor::getParameterDefaultValue(int index)
{
    const ParameterDescription* const parameter = parameters.find(index);
    return parameter == nullptr ? 0.0F : parameter->getDefaultNormalizedValue();
}

void BasePlugInProcessor::resetParameter(int index, bool notifyHost)
{
    const ParameterDescription* const parameter = parameters.find(index);
    if (parameter == nullptr)
        return;
    processor->setParameterValue(parameter->getInternalId(), parameter->getDefaultValue(),
                                 mayNotifyProcessor());
    if (notifyHost)
        sendToHost(index);
}

int BasePlugInProcessor::getInternalParameterId(int index) const
{
    return parameters.find(index)->getInternalId();
}

void BasePlugInProcessor::notifyInternalParameterChange(int internalId)
{
    const int index = findPublicParameterIndex(internalId);
    if (index >= 0)
        sendToHost(index);
}

std::vector<float> BasePlugInProcessor::getParameterValues() const
{
    std::vector<float> values;
    for (const auto& parameter : parameters)
        values.push_back(parameter->getNormalizedParameterValue());
    return values;
}
