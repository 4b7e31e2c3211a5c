#include "plugin/KalimAudioProcessor.h"

#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimConstants.h"

#include <memory>

using orvo::audio::Kalimmer;

KalimAudioProcessor::KalimAudioProcessor()
    : BasePlugInProcessor(std::make_shared<Kalimmer>(), KalimConstants::bundleName,
                          KalimConstants::plugInName, KalimConstants::plugInCode,
                          KalimConstants::plugInVersion)
{
    constexpr auto linear = ParameterDescription::Linear;
    addParameterDescription(Kalimmer::FundamentalFrequency, "FundamentalFrequency", "Hz", 0.1F,
                            linear);
    addParameterDescription(Kalimmer::Sensitivity, "Sensitivity", "%", 0.1F, linear);
    addParameterDescription(Kalimmer::Adaptivity, "Adaptivity", "Hz/s", 1.0F, linear);
    addParameterDescription(Kalimmer::NumberOfHarmonics, "NumberOfHarmonics", "", 1.0F, linear);
    addParameterDescription(Kalimmer::OnlyOddHarmonics, "OnlyOddHarmonics", "", 1.0F, linear);
    addParameterDescription(Kalimmer::AggressiveMode, "AggressiveMode", "", 1.0F, linear);
    addParameterDescription(Kalimmer::ResidualMode, "ResidualMode", "", 1.0F, linear);
}
