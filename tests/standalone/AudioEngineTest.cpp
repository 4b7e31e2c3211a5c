#include "standalone/AudioEngine.h"

#include "tests/standalone/ProbeProcessor.h"
#include "tests/standalone/SoundFiles.h"

#include <chrono>
#include <thread>
#include <utility>

namespace kalim::test
{
namespace
{

using Clock = std::chrono::steady_clock;

/// A device with two inputs, on which a constant arrives, and two outputs; it asks for blocks
/// faster than real time.
struct FakeDevice : juce::AudioIODevice
{
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
        thread = {}; // when it has ended
        if (callback != nullptr)
            std::exchange(callback, nullptr)->audioDeviceStopped();
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

    static inline std::atomic<float> lastOutput{0.0F};

    void run(const std::stop_token& token)
    {
        // More at a time than announced, as drivers do now and then.
        constexpr int numFrames = blockFrames * 3 + 5;
        const Samples recorded(numFrames, input);
        Samples played(numFrames);
        const float* const inputs[] = {recorded.data(), recorded.data()};
        float* const outputs[] = {played.data(), played.data()};
        while (!token.stop_requested())
        {
            callback->audioDeviceIOCallbackWithContext(inputs, 2, outputs, 2, numFrames, {});
            lastOutput = played.back();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    double rate = 0.0;
    juce::AudioIODeviceCallback* callback = nullptr;
    std::jthread thread;
};

struct FakeDeviceType : juce::AudioIODeviceType
{
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
        engine.getDevices().setCurrentAudioDeviceType("Fake", true);
        juce::AudioDeviceManager::AudioDeviceSetup setup;
        setup.inputDeviceName = setup.outputDeviceName = name;
        setup.sampleRate = rate;
        EXPECT_EQ(engine.getDevices().initialise(2, 2, nullptr, true, {}, &setup), juce::String());
        EXPECT_TRUE(engine.hasDevice());
        EXPECT_EQ(processor.rate, rate);
    }

    void expectProgress()
    {
        const auto present = processor.numProcessed.load();
        EXPECT_TRUE(waitUntil([&] { return processor.numProcessed > present + 2000; }));
        EXPECT_TRUE(processor.wasDrivenWell);
    }

    static void expectOutput(float sample)
    {
        EXPECT_TRUE(waitUntil([=] { return FakeDevice::lastOutput == sample / 2.0F; }));
    }

    const Clock::time_point start = Clock::now();
    ProbeProcessor processor;
    standalone::AudioEngine engine{processor};
    standalone::FilePlayer& player = engine.getPlayer();
};

} // namespace

TEST_F(AudioEngineDriving, goesAtThePaceOfRealTimeAndPlaysFilesWithoutADevice)
{
    EXPECT_FALSE(engine.hasDevice());
    EXPECT_TRUE(waitUntil([this] { return processor.numProcessed > 48000 / 4; }));
    // It may wait for the machine, but never hurries.
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(249));
    EXPECT_EQ(processor.rate, 48000.0);
    EXPECT_EQ(processor.peak, 0.0F);
    EXPECT_TRUE(processor.wasDrivenWell);

    player.open(writeNumbered(44100, 44100 / 5));
    player.play();
    EXPECT_TRUE(waitUntil([this] { return !player.isPlaying(); }));
    EXPECT_NEAR(processor.peak, number(44100 / 5), 0.01F);
}

TEST_F(AudioEngineDriving, letsTheInputBeHeardUnlessItIsMutedOrAFilePlays)
{
    openDevice("first", 44100.0);
    EXPECT_TRUE(engine.hasInput());
    expectProgress();
    EXPECT_EQ(processor.peak, 0.0F);
    engine.setInputMuted(false);
    expectOutput(FakeDevice::input);

    player.open(writeSound("loud.wav", wavFloat, 44100, 4000, {[](int) { return -0.75F; }}));
    player.setLooping(true);
    player.play();
    expectOutput(-0.75F);
    player.stop();
    expectOutput(FakeDevice::input);
}

TEST_F(AudioEngineDriving, goesOnWhenDevicesComeChangeAndGo)
{
    player.open(writeNumbered(48000, 60000));
    player.setLooping(true);
    player.play();
    for (int round = 0; round < 5; ++round)
    {
        openDevice("first", 44100.0);
        expectProgress();
        openDevice("second", 96000.0);
        expectProgress();
        player.seek(0.1 * round);
        engine.getDevices().closeAudioDevice();
        EXPECT_FALSE(engine.hasDevice());
        EXPECT_EQ(processor.rate, 48000.0);
        expectProgress();
    }
    EXPECT_TRUE(player.isPlaying());
}

} // namespace kalim::test
