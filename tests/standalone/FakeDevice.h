#pragma once

#include <atomic>
#include <chrono>
#include <juce_audio_devices/juce_audio_devices.h>
#include <thread>
#include <vector>

/// A device with two inputs, on which a constant arrives, and two outputs; it asks for blocks
/// faster than real time.
class FakeDevice : public juce::AudioIODevice
{
public:
    static constexpr float input = 0.25F;
    static constexpr int blockFrames = 64;

    explicit FakeDevice(const juce::String& deviceName)
        : juce::AudioIODevice(deviceName, "Fake")
    {
    }

    ~FakeDevice() override { close(); }

    juce::StringArray getOutputChannelNames() override { return {"1", "2"}; }

    juce::StringArray getInputChannelNames() override { return {"1", "2"}; }

    juce::Array<double> getAvailableSampleRates() override { return {44100.0, 96000.0}; }

    juce::Array<int> getAvailableBufferSizes() override { return {blockFrames}; }

    int getDefaultBufferSize() override { return blockFrames; }

    juce::String open(const juce::BigInteger&, const juce::BigInteger&, double hz, int) override
    {
        rate = hz;
        return {};
    }

    void close() override
    {
        stop();
        rate = 0.0;
    }

    bool isOpen() override { return rate > 0.0; }

    void start(juce::AudioIODeviceCallback* newCallback) override
    {
        stop();
        callback = newCallback;
        callback->audioDeviceAboutToStart(this);
        thread = std::jthread([this](const std::stop_token& token) { run(token); });
    }

    void stop() override
    {
        if (callback == nullptr)
            return;
        thread.request_stop();
        thread.join();
        callback->audioDeviceStopped();
        callback = nullptr;
    }

    bool isPlaying() override { return callback != nullptr; }

    juce::String getLastError() override { return {}; }

    int getCurrentBufferSizeSamples() override { return blockFrames; }

    double getCurrentSampleRate() override { return rate; }

    int getCurrentBitDepth() override { return 32; }

    juce::BigInteger getActiveOutputChannels() const override { return 0b11; }

    juce::BigInteger getActiveInputChannels() const override { return 0b11; }

    int getOutputLatencyInSamples() override { return 0; }

    int getInputLatencyInSamples() override { return 0; }

    /// The last sample that was played.
    static inline std::atomic<float> lastOutput{0.0F};

private:
    void run(const std::stop_token& token)
    {
        // More at a time than announced, as drivers do now and then.
        constexpr int numFrames = blockFrames * 3 + 5;
        const std::vector<float> recorded(numFrames, input);
        std::vector<float> played[2] = {recorded, recorded};
        const float* const inputs[] = {recorded.data(), recorded.data()};
        float* const outputs[] = {played[0].data(), played[1].data()};
        while (!token.stop_requested())
        {
            callback->audioDeviceIOCallbackWithContext(inputs, 2, outputs, 2, numFrames, {});
            lastOutput = played[1].back();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    double rate = 0.0;
    juce::AudioIODeviceCallback* callback = nullptr;
    std::jthread thread;
};

class FakeDeviceType : public juce::AudioIODeviceType
{
public:
    FakeDeviceType()
        : juce::AudioIODeviceType("Fake")
    {
    }

    void scanForDevices() override {}

    juce::StringArray getDeviceNames(bool) const override { return {"first", "second"}; }

    int getDefaultDeviceIndex(bool) const override { return 0; }

    int getIndexOfDevice(juce::AudioIODevice*, bool) const override { return 0; }

    bool hasSeparateInputsAndOutputs() const override { return false; }

    juce::AudioIODevice* createDevice(const juce::String& name, const juce::String&) override
    {
        return std::make_unique<FakeDevice>(name).release();
    }
};
