#include "dsp/processor/BoolProcessorParameter.h"

namespace orvo::audio
{

BoolProcessorParameter::BoolProcessorParameter()
{
    valueToText = [](bool isOn) { return isOn ? "On" : "Off"; };
}

} // namespace orvo::audio
