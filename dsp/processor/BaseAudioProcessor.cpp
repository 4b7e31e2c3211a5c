#include "dsp/processor/BaseAudioProcessor.h"

#include <cstdint>
#include <stdexcept>
#include <utility>

namespace orvo::audio
{

bool BaseAudioProcessor::setFormat(const AudioFormat& input, const AudioFormat& output)
{
    storeFormats(input, output);
    return true;
}

ProcessingInfo BaseAudioProcessor::getProcessingInfo()
{
    return {};
}

void BaseAudioProcessor::getParameterRange(int index, float& min, float& max)
{
    findParameter(index).getFloatParameterRange(min, max);
}

float BaseAudioProcessor::getParameterValue(int index)
{
    return findParameter(index).getAsFloatValue();
}

void BaseAudioProcessor::setParameterValue(int index, float value, bool notify)
{
    ProcessorParameter& parameter = findParameter(index);
    {
        const std::lock_guard lock(parameterLock);
        parameter.setFromFloatValue(value);
    }
    if (notify)
        notifyParameterChanged(index, value);
}

void BaseAudioProcessor::resetParameterValue(int index, bool notify)
{
    ProcessorParameter& parameter = findParameter(index);
    float defaultValue = 0.0F;
    {
        const std::lock_guard lock(parameterLock);
        defaultValue = parameter.getDefaultValueAsFloat();
        parameter.setFromFloatValue(defaultValue);
    }
    if (notify)
        notifyParameterChanged(index, defaultValue);
}

bool BaseAudioProcessor::analyze(const Signal32& /*input*/, bool /*last*/)
{
    return false;
}

bool BaseAudioProcessor::saveState(files::OutputStream* stream)
{
    const auto count = static_cast<std::int32_t>(parameters.size());
    stream->write(&count, sizeof(count));
    for (std::int32_t index = 0; index < count; ++index)
    {
        const float value = getParameterValue(index);
        stream->write(&index, sizeof(index));
        stream->write(&value, sizeof(value));
    }
    return true;
}

bool BaseAudioProcessor::loadState(files::InputStream* stream)
{
    std::int32_t count = 0;
    stream->read(&count, sizeof(count));
    std::int32_t index = 0;
    float value = 0.0F;
    for (std::int32_t record = 0; record < count; ++record)
    {
        const std::size_t numBytes =
            stream->read(&index, sizeof(index)) + stream->read(&value, sizeof(value));
        try
        {
            setParameterValue(index, value, false);
        }
        catch (const std::out_of_range&)
        {
            return false;
        }
        // Past the end every further record repeats this one, however many the stream promised.
        if (numBytes == 0)
            break;
    }
    listeners.callFirstToLast([](Listener& listener) { listener.stateLoaded(); });
    return true;
}

UUID BaseAudioProcessor::getUniqueIdentifier()
{
    return stock_uuids::Nil;
}

bool BaseAudioProcessor::hasUserInterface()
{
    return false;
}

ProcessorUserInterface* BaseAudioProcessor::createUserInterface()
{
    return nullptr;
}

void BaseAudioProcessor::addListener(Listener* listener)
{
    listeners.add(listener);
}

void BaseAudioProcessor::removeListener(Listener* listener)
{
    listeners.remove(listener);
}

const ProcessorParameter& BaseAudioProcessor::getParameter(int index) const
{
    return findParameter(index);
}

void BaseAudioProcessor::storeFormats(const AudioFormat& input, const AudioFormat& output)
{
    // Copied before anything changes, in case there is no memory for the second one.
    AudioFormat newInput = input;
    AudioFormat newOutput = output;
    inputFormat = std::move(newInput);
    outputFormat = std::move(newOutput);
    listeners.callFirstToLast([&](Listener& listener) { listener.formatChanged(input, output); });
}

ProcessorParameter& BaseAudioProcessor::findParameter(int index) const
{
    if (index < 0 || index >= getNumParameters())
        throw std::out_of_range("Parameter index");
    return *parameters[static_cast<std::size_t>(index)];
}

void BaseAudioProcessor::notifyParameterChanged(int index, float value)
{
    listeners.callFirstToLast([=](Listener& listener) { listener.parameterChanged(index, value); });
}

} // namespace orvo::audio
