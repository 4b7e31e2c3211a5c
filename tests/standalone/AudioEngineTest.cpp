#include "standalone/AudioEngine.h"

#include "tests/standalone/ProbeProcessor.h"
#include "tests/standalone/SoundFiles.h"

#include <chrono>
#include <thread>

namespace kalim::test
{
namespace
{

using standalone::AudioEngine;

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

    void close() override { stop(); }

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

class AudioEngineDriving : public SoundFiles
{
protected:
    AudioEngineDriving()
    {
        engine.getDevices().addAudioDeviceType(std::make_unique<FakeDeviceType>());
    }

    void openDevice(const juce::String& name, double rate)
    {
        juce::AudioDeviceManager& devices = engine.getDevices();
        devices.setCurrentAudioDeviceType("Fake", true);
        juce::AudioDeviceManager::AudioDeviceSetup setup;
        setup.inputDeviceName = setup.outputDeviceName = name;
        setup.sampleRate = rate;
        EXPECT_EQ(devices.initialise(2, 2, nullptr, true, {}, &setup), juce::String());
        EXPECT_TRUE(engine.hasDevice());
        EXPECT_EQ(processor.rate, rate);
    }

    void playOverAndOver()
    {
        engine.getPlayer().setLooping(true);
        engine.getPlayer().play();
    }

    void expectProgress(int numFrames)
    {
        const auto present = processor.numProcessed.load();
        EXPECT_TRUE(waitUntil([&] { return processor.numProcessed > present + numFrames; }));
        EXPECT_TRUE(processor.wasDrivenWell);
    }

    void expectOutput(float sample) const
    {
        EXPECT_TRUE(processor.wasDrivenWell);
        EXPECT_TRUE(waitUntil([=] { return FakeDevice::lastOutput == sample / 2.0F; }));
    }

    ProbeProcessor processor;
    AudioEngine engine{processor};
};

} // namespace

TEST_F(AudioEngineDriving, goesAtThePaceOfRealTimeAndPlaysFilesWithoutADevice)
{
    EXPECT_FALSE(engine.hasDevice());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(waitUntil([this] { return processor.numProcessed > 48000 / 4; }));
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    // It may wait for the machine, but never hurries; two blocks had been asked for before.
    EXPECT_GT(elapsed.count(), 0.25 - 0.03);
    EXPECT_EQ(processor.rate, 48000.0);
    EXPECT_EQ(processor.peak, 0.0F);
    EXPECT_TRUE(processor.wasDrivenWell);

    engine.getPlayer().open(writeNumbered(44100, 44100 / 5));
    engine.getPlayer().play();
    EXPECT_TRUE(waitUntil([this] { return !engine.getPlayer().isPlaying(); }));
    EXPECT_NEAR(processor.peak, number(44100 / 5), 0.01F);
}

TEST_F(AudioEngineDriving, letsTheInputBeHeardUnlessItIsMutedOrAFilePlays)
{
    EXPECT_TRUE(engine.isInputMuted());
    openDevice("first", 44100.0);
    EXPECT_TRUE(engine.hasInput());
    EXPECT_EQ(processor.maximumFrames, FakeDevice::blockFrames);
    expectProgress(2000);
    EXPECT_EQ(processor.peak, 0.0F);
    engine.setInputMuted(false);
    expectOutput(FakeDevice::input);

    engine.getPlayer().open(
        writeSound("loud.wav", wavFloat, 44100, 4000, {[](int) { return -0.75F; }}));
    playOverAndOver();
    expectOutput(-0.75F);
    engine.getPlayer().stop();
    expectOutput(FakeDevice::input);
}

TEST_F(AudioEngineDriving, goesOnWhenDevicesComeChangeAndGo)
{
    engine.getPlayer().open(writeNumbered(48000, 60000));
    playOverAndOver();
    for (int round = 0; round < 5; ++round)
    {
        openDevice("first", 44100.0);
        expectProgress(1000);
        openDevice("second", 96000.0);
        expectProgress(1000);
        engine.getPlayer().seek(0.1 * round);
        engine.getDevices().closeAudioDevice();
        EXPECT_FALSE(engine.hasDevice());
        EXPECT_EQ(processor.rate, 48000.0);
        expectProgress(1000);
    }
    EXPECT_TRUE(engine.getPlayer().isPlaying());
}

} // namespace kalim::test
