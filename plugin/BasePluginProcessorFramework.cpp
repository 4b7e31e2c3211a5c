// The framework discourages its indexed parameter interface, which this plug-in is built on. The
// calls that it marks as deprecated are gathered here, so that they are looked for everywhere else.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

#include "plugin/BasePluginProcessor.h"

void BasePlugInProcessor::prepareToPlay(double sampleRate, int maximumBlockSize)
{
    preparedSampleRate = sampleRate;
    processor->maximumBlockSize = maximumBlockSize;
    const auto input = kalim::plugin::makeFormat(getInputSpeakerArrangement(),
                                                 getMainBusNumInputChannels(), sampleRate);
    const auto output = kalim::plugin::makeFormat(getOutputSpeakerArrangement(),
                                                  getMainBusNumOutputChannels(), sampleRate);
    const std::lock_guard lock(latencyGuard);
    blocks.prepare(input, output, getTotalNumOutputChannels(), maximumBlockSize);
}

void BasePlugInProcessor::sendToHost(int index)
{
    sendParamChangeMessageToListeners(index, getParameter(index));
}

void BasePlugInProcessor::beginParameterGesture(int index)
{
    if (parameters.find(index) != nullptr)
        beginParameterChangeGesture(index);
}

void BasePlugInProcessor::endParameterGesture(int index)
{
    if (parameters.find(index) != nullptr)
        endParameterChangeGesture(index);
}
