#include "plugin/KalimAudioProcessor.h"
#include "ui/KalimAudioProcessorEditor.h"

#include <memory>

/// Called by the wrappers of all formats, which own what it returns.
juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter()
{
    return std::make_unique<KalimAudioProcessor>(createKalimEditor).release();
}
