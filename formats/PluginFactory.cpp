#include "dsp/signal/FourierTransform.h"
#include "plugin/KalimAudioProcessor.h"
#include "ui/KalimAudioProcessorEditor.h"

#include <memory>

namespace
{

/// Hosts load and unload plug-ins just to look at them, and would lose the planner's tables each
/// time.
const struct AtUnloading
{
    ~AtUnloading() { orvo::audio::FourierTransform::releasePlanner(); }
} atUnloading;

} // namespace

/// Called by the wrappers of all formats, which own what it returns.
juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter()
{
    return std::make_unique<KalimAudioProcessor>(kalim::ui::createKalimEditor).release();
}
