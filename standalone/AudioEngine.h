#pragma once

#include "standalone/FilePlayer.h"

#include <atomic>
#include <juce_audio_devices/juce_audio_devices.h>
#include <juce_audio_processors/juce_audio_processors.h>
#include <memory>

namespace kalim::standalone
{

/// Drives a stereo processor: with blocks of the audio device, or without a device by a clock of
/// its own, whose output nobody hears. The processor is fed by the file while one plays, otherwise
/// by the device's input, unless that is muted. Message thread unless said otherwise.
class AudioEngine : private juce::AudioIODeviceCallback
{
public:
    /// Drives the processor, which must outlive the engine, from the beginning on. The input is
    /// muted.
    explicit AudioEngine(juce::AudioProcessor& processorToDrive);
    ~AudioEngine() override;

    /// Opens the device that is described, as AudioDeviceManager describes it, or otherwise the
    /// system's usual one, if there is any.
    void openDevice(const juce::XmlElement* description);

    /// Without a device, finds those that have come since the start. (With one it would be missing
    /// from the list, because it is busy.)
    void lookForDevices();

    FilePlayer& getPlayer() { return player; }

    juce::AudioDeviceManager& getDevices() { return devices; }

    /// Whether a device asks for blocks. Any thread.
    bool hasDevice() const { return deviceRuns; }

    /// Whether that device records. Any thread.
    bool hasInput() const { return deviceRecords; }

    /// Any thread.
    void setInputMuted(bool shouldMute) { inputMuted = shouldMute; }

    bool isInputMuted() const { return inputMuted; }

private:
    class Clock;

    void audioDeviceAboutToStart(juce::AudioIODevice* device) override;
    void audioDeviceStopped() override;
    void audioDeviceIOCallbackWithContext(const float* const* inputs, int numInputs,
                                          float* const* outputs, int numOutputs, int numFrames,
                                          const juce::AudioIODeviceCallbackContext&) override;

    void prepare(double rate, int blockFrames);
    void startClock();
    void runWithoutDevice(int numFrames);
    void fillBlock(const float* const* inputs, int numInputs, int offset, int numFrames);
    void processBlock(int numFrames);

    juce::AudioProcessor& processor;
    FilePlayer player;

    /// Used like the processor itself: under its lock.
    juce::AudioBuffer<float> block;
    juce::MidiBuffer noMidi;

    std::atomic<bool> deviceRuns{false};
    std::atomic<bool> deviceRecords{false};
    std::atomic<bool> inputMuted{true};
    std::unique_ptr<Clock> clock;
    juce::AudioDeviceManager devices;
};

} // namespace kalim::standalone
