#include "plugin/ChannelMapping.h"

#include "dsp/signal/AudioFormat.h"

#include <algorithm>
#include <iterator>

namespace ChannelMapping
{

orvo::audio::SpeakerId getSpeakerId(const juce::String& name)
{
    constexpr int numSpeakers = 20;
    const juce::String upperCase = name.toUpperCase();
    for (int number = 0; number < numSpeakers; ++number)
    {
        const auto id = static_cast<orvo::audio::SpeakerId>(number);
        if (upperCase == juce::String(orvo::audio::SpeakerDescription(id).shortName))
            return id;
    }
    return orvo::audio::SpeakerId::undefined;
}

orvo::audio::AudioFormat makeFormat(const juce::String& speakerArrangement, int numChannels,
                                    double sampleRate)
{
    juce::StringArray names;
    names.addTokens(speakerArrangement, " ", "");
    orvo::audio::AudioFormat format;
    format.sampleRate = sampleRate;
    if (names.size() == numChannels)
        std::transform(names.begin(), names.end(), std::back_inserter(format.channelMapping),
                       getSpeakerId);
    else
        format.createDefaultChannelMapping(numChannels);
    return format;
}

int getChannelLimit(const juce::String& hostPath)
{
    constexpr int maxChannels = 8;
    return hostPath.containsIgnoreCase("edius") ? 2 : maxChannels;
}

} // namespace ChannelMapping
