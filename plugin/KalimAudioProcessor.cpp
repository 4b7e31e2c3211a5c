#include "plugin/KalimAudioProcessor.h"

#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimConstants.h"

#include <utility>

KalimAudioProcessor::KalimAudioProcessor(EditorFactory factory)
    : BasePlugInProcessor(std::make_shared<orvo::audio::Kalimmer>(), KalimConstants::bundleName,
                          KalimConstants::plugInName, KalimConstants::plugInCode,
                          KalimConstants::plugInVersion)
    , editorFactory(std::move(factory))
{
    for (const orvo::audio::HumParameter& parameter : orvo::audio::humParameters)
        addParameterDescription(parameter.id, parameter.name, parameter.unit, parameter.interval,
                                ParameterDescription::Linear);
}

juce::AudioProcessorEditor* KalimAudioProcessor::createEditor()
{
    return editorFactory ? editorFactory(*this).release() : nullptr;
}
