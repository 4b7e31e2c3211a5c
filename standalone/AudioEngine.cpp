#include "standalone/AudioEngine.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>

namespace kalim::standalone
{
namespace
{

constexpr int numChannels = 2;

// What is used without a device: blocks of 10 ms.
constexpr double clockRate = 48000.0;
constexpr int clockBlockFrames = 480;

/// Devices with one channel get the mean of both, others both on their first two.
void copyOut(const juce::AudioBuffer<float>& block, float* const* outputs, int numOutputs,
             int offset, int numFrames)
{
    for (int channel = 0; channel < numOutputs; ++channel)
    {
        float* const output = outputs[channel] + offset;
        if (numOutputs == 1)
            for (int frame = 0; frame < numFrames; ++frame)
                output[frame] = 0.5F * (block.getSample(0, frame) + block.getSample(1, frame));
        else if (channel < numChannels)
            std::copy_n(block.getReadPointer(channel), numFrames, output);
        else
            std::fill_n(output, numFrames, 0.0F);
    }
}

} // namespace

/// Stands in for an audio device that is missing: asks for blocks at the pace of real time.
class AudioEngine::Clock
{
public:
    explicit Clock(AudioEngine& engineToDrive)
        : engine(engineToDrive)
    {
    }

    ~Clock() { stop(); }

    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

    /// Does nothing when it runs already. Any thread but the clock's.
    void start(double rateInHz, int blockFrames)
    {
        const std::lock_guard lock(guard);
        if (!thread.joinable())
            thread = std::jthread(
                [this, seconds = blockFrames / rateInHz, blockFrames](const std::stop_token& token)
                { run(token, seconds, blockFrames); });
    }

    /// After it, no more blocks are asked for. Any thread but the clock's.
    void stop()
    {
        const std::lock_guard lock(guard);
        if (!thread.joinable())
            return;
        thread.request_stop();
        thread.join();
    }

private:
    void run(const std::stop_token& token, double blockSeconds, int blockFrames)
    {
        using namespace std::chrono;
        // A clock that is further behind, after the machine slept for example, does not catch up.
        constexpr milliseconds longestDelay{200};
        const auto period = duration_cast<steady_clock::duration>(duration<double>(blockSeconds));
        std::mutex idleGuard;
        std::condition_variable_any idle;
        auto next = steady_clock::now();
        while (!token.stop_requested())
        {
            engine.runWithoutDevice(blockFrames);
            next += period;
            if (steady_clock::now() - next > longestDelay)
                next = steady_clock::now();
            std::unique_lock lock(idleGuard);
            idle.wait_until(lock, token, next, [] { return false; });
        }
    }

    AudioEngine& engine;
    std::mutex guard; // for starting and stopping
    std::jthread thread;
};

AudioEngine::AudioEngine(juce::AudioProcessor& processorToDrive)
    : processor(processorToDrive)
    , clock(std::make_unique<Clock>(*this))
{
    startClock();
    devices.addAudioCallback(this);
}

AudioEngine::~AudioEngine()
{
    devices.removeAudioCallback(this);
    devices.closeAudioDevice();
    clock->stop();
    processor.releaseResources();
}

void AudioEngine::openDevice(const juce::XmlElement* description)
{
    devices.initialise(numChannels, numChannels, description, true);
}

void AudioEngine::lookForDevices()
{
    if (hasDevice())
        return;
    for (juce::AudioIODeviceType* const type : devices.getAvailableDeviceTypes())
        type->scanForDevices();
}

void AudioEngine::prepare(double rate, int blockFrames)
{
    player.setOutputRate(rate);
    const juce::ScopedLock lock(processor.getCallbackLock());
    block.setSize(numChannels, blockFrames);
    processor.setRateAndBufferSizeDetails(rate, blockFrames);
    processor.prepareToPlay(rate, blockFrames);
}

void AudioEngine::startClock()
{
    prepare(clockRate, clockBlockFrames);
    clock->start(clockRate, clockBlockFrames);
}

void AudioEngine::audioDeviceAboutToStart(juce::AudioIODevice* device)
{
    clock->stop();
    // Drivers have been seen that tell nonsense before they run.
    const double rate = device->getCurrentSampleRate();
    const int blockFrames = device->getCurrentBufferSizeSamples();
    prepare(rate > 0.0 ? rate : clockRate, blockFrames > 0 ? blockFrames : clockBlockFrames);
    deviceRecords = !device->getActiveInputChannels().isZero();
    deviceRuns = true;
}

void AudioEngine::audioDeviceStopped()
{
    if (!deviceRuns.exchange(false))
        return;
    deviceRecords = false;
    startClock();
}

void AudioEngine::audioDeviceIOCallbackWithContext(const float* const* inputs, int numInputs,
                                                   float* const* outputs, int numOutputs,
                                                   int numFrames,
                                                   const juce::AudioIODeviceCallbackContext&)
{
    const juce::ScopedLock lock(processor.getCallbackLock());
    // Devices may ask for more at a time than they announced.
    const int blockFrames = block.getNumSamples();
    for (int offset = 0; offset < numFrames; offset += blockFrames)
    {
        const int count = std::min(blockFrames, numFrames - offset);
        fillBlock(inputs, numInputs, offset, count);
        processBlock(count);
        copyOut(block, outputs, numOutputs, offset, count);
    }
}

void AudioEngine::runWithoutDevice(int numFrames)
{
    const juce::ScopedLock lock(processor.getCallbackLock());
    fillBlock(nullptr, 0, 0, numFrames);
    processBlock(numFrames);
}

void AudioEngine::fillBlock(const float* const* inputs, int numInputs, int offset, int numFrames)
{
    if (player.render(block.getWritePointer(0), block.getWritePointer(1), numFrames))
        return;
    const bool isMuted = inputMuted || numInputs == 0;
    for (int channel = 0; channel < numChannels; ++channel)
        if (isMuted)
            block.clear(channel, 0, numFrames);
        else
            block.copyFrom(channel, 0, inputs[std::min(channel, numInputs - 1)] + offset,
                           numFrames);
}

void AudioEngine::processBlock(int numFrames)
{
    if (processor.isSuspended())
    {
        block.clear();
        return;
    }
    juce::AudioBuffer<float> part(block.getArrayOfWritePointers(), numChannels, numFrames);
    processor.processBlock(part, noMidi);
}

} // namespace kalim::standalone
