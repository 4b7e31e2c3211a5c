#include "standalone/AudioEngine.h"

#include "tests/standalone/FakeDevice.h"
#include "tests/standalone/ProbeProcessor.h"
#include "tests/standalone/SoundFiles.h"

#include <gtest/gtest.h>

#include <chrono>

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
        EXPECT_EQ(processor.rate, rate);
    }

    void expectProgress(int numFrames)
    {
        const auto present = processor.numProcessed.load();
        EXPECT_TRUE(waitUntil([&] { return processor.numProcessed > present + numFrames; }));
        EXPECT_TRUE(processor.wasDrivenWell);
    }

    static void expectOutput(float sample)
    {
        EXPECT_TRUE(waitUntil([=] { return FakeDevice::lastOutput == sample / 2.0F; }));
    }

    ProbeProcessor processor;
    AudioEngine engine{processor};
};

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
    EXPECT_TRUE(engine.hasDevice());
    EXPECT_TRUE(engine.hasInput());
    EXPECT_EQ(processor.maximumFrames, FakeDevice::blockFrames);
    expectProgress(2000);
    EXPECT_EQ(processor.peak, 0.0F);
    engine.setInputMuted(false);
    expectOutput(FakeDevice::input);

    engine.getPlayer().open(writeSound("loud.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 44100, 4000,
                                       {[](int) { return -0.75F; }}));
    engine.getPlayer().setLooping(true);
    engine.getPlayer().play();
    expectOutput(-0.75F);
    engine.getPlayer().stop();
    expectOutput(FakeDevice::input);
    EXPECT_TRUE(processor.wasDrivenWell);
}

TEST_F(AudioEngineDriving, goesOnWhenDevicesComeChangeAndGo)
{
    engine.getPlayer().open(writeNumbered(48000, 60000));
    engine.getPlayer().setLooping(true);
    engine.getPlayer().play();
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
