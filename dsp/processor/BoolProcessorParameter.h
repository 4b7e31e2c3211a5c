#pragma once

#include "dsp/processor/TypedProcessorParameter.h"

namespace orvo::audio
{

/// A switch whose value text is "On" or "Off".
class BoolProcessorParameter : public TypedProcessorParameter<bool>
{
public:
    BoolProcessorParameter();
};

} // namespace orvo::audio
