#pragma once

#include "tests/plugin/ScratchFiles.h"

#include <sndfile.h>

#include <functional>
#include <juce_events/juce_events.h>
#include <vector>

/// Tests with sound files, which are made from functions of the frame.
class SoundFiles : public ScratchFiles
{
protected:
    using Function = std::function<float(int frame)>;

    /// One function per channel.
    juce::File writeSound(const juce::String& name, int format, int rate, int numFrames,
                          const std::vector<Function>& channels) const
    {
        const juce::File file = folder.getChildFile(name);
        SF_INFO info{};
        info.format = format;
        info.samplerate = rate;
        info.channels = static_cast<int>(channels.size());
        SNDFILE* const sound = sf_open(file.getFullPathName().toRawUTF8(), SFM_WRITE, &info);
        EXPECT_NE(sound, nullptr) << sf_strerror(nullptr);
        std::vector<float> samples;
        for (int frame = 0; frame < numFrames; ++frame)
            for (const Function& channel : channels)
                samples.push_back(channel(frame));
        EXPECT_EQ(sf_writef_float(sound, samples.data(), numFrames), numFrames);
        sf_close(sound);
        return file;
    }

    /// Stereo whose samples tell where they are from.
    juce::File writeNumbered(int rate, int numFrames) const
    {
        return writeSound("numbered.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, rate, numFrames,
                          {number, [](int frame) { return -number(frame); }});
    }

    /// For as long as timers and other threads may take on a busy machine.
    static bool waitUntil(const std::function<bool()>& condition)
    {
        for (int tries = 0; tries < 10000; ++tries)
        {
            if (condition())
                return true;
            juce::MessageManager::getInstance()->runDispatchLoopUntil(1);
        }
        return false;
    }

    static float number(int frame) { return static_cast<float>(frame + 1) / 65536.0F; }
};
