#include "dsp/signal/Signals.h"

namespace orvo::audio
{

Signal64 Signal32::toSignal64() const
{
    Signal64 result(getNumChannels(), getNumSamples());
    for (int channel = 0; channel < getNumChannels(); ++channel)
        vo::convert32To64(getReadChannelPtr(channel), result.getWriteChannelPtr(channel),
                          getNumSamples());
    return result;
}

Signal32 Signal64::toSignal32() const
{
    Signal32 result(getNumChannels(), getNumSamples());
    for (int channel = 0; channel < getNumChannels(); ++channel)
        vo::convert64To32(getReadChannelPtr(channel), result.getWriteChannelPtr(channel),
                          getNumSamples());
    return result;
}

} // namespace orvo::audio
