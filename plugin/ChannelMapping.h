#pragma once

#include "dsp/signal/AudioFormat.h"

#include <juce_core/juce_core.h>

/// From a host's words for loudspeakers to the processor's.
namespace ChannelMapping
{

/// The loudspeaker with that short name, in any letter case; undefined where there is none.
orvo::audio::SpeakerId getSpeakerId(const juce::String& name);

/// The format of one direction: the loudspeakers that the host names, separated by single spaces,
/// if there is one for each of its channels, otherwise the usual ones for that number of channels.
orvo::audio::AudioFormat makeFormat(const juce::String& speakerArrangement, int numChannels,
                                    double sampleRate);

/// How many channels a layout may have in the host with that path: eight, but two in one product,
/// wherever it is installed.
int getChannelLimit(const juce::String& hostPath);

} // namespace ChannelMapping
