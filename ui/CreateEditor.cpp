#include "plugin/KalimAudioProcessor.h"
#include "ui/KalimAudioProcessorEditor.h"

#include <memory>

// The processor's part that is seen stands here, so that the shell needs nothing of the editor.
juce::AudioProcessorEditor* KalimAudioProcessor::createEditor()
{
    return std::make_unique<KalimAudioProcessorEditor>(this).release();
}
