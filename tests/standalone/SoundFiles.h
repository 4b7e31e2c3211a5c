#pragma once

#include "tests/audiofile/AudioFiles.h"
#include "tests/audiofile/ScratchFolder.h"

#include <functional>
#include <juce_events/juce_events.h>
#include <vector>

namespace kalim::test
{

using Samples = std::vector<float>;

constexpr int wavFloat = SF_FORMAT_WAV | SF_FORMAT_FLOAT;

/// Tests with sound files, which are made from functions of the frame.
class SoundFiles : public ScratchFolder
{
protected:
    using Function = std::function<float(int frame)>;

    juce::File fileCalled(const std::string& name) const { return juce::File(path(name).string()); }

    juce::File juceFolder() const { return juce::File(folder.string()); }

    juce::File writeNoSound() const { return juce::File(writeText("a.wav", "no sound").string()); }

    /// One function per channel.
    juce::File writeSound(const std::string& name, int format, int rate, int numFrames,
                          const std::vector<Function>& channels) const
    {
        Samples samples;
        for (int frame = 0; frame < numFrames; ++frame)
            for (const Function& channel : channels)
                samples.push_back(channel(frame));
        const auto sound =
            openLibraryFile(path(name), SFM_WRITE, format, static_cast<int>(channels.size()), rate);
        EXPECT_NE(sound, nullptr) << sf_strerror(nullptr);
        EXPECT_EQ(sf_writef_float(sound.get(), samples.data(), numFrames), numFrames);
        return fileCalled(name);
    }

    /// Stereo whose samples tell where they are from.
    juce::File writeNumbered(int rate, int numFrames) const
    {
        return writeSound("numbered.wav", wavFloat, rate, numFrames,
                          {number, [](int frame) { return -number(frame); }});
    }

    /// For as long as timers and other threads may take on a busy machine.
    static bool waitUntil(const std::function<bool()>& condition)
    {
        for (int tries = 0; tries < 60000; ++tries)
        {
            if (condition())
                return true;
            juce::MessageManager::getInstance()->runDispatchLoopUntil(1);
        }
        return false;
    }

    static float number(int frame) { return static_cast<float>(frame + 1) / 65536.0F; }
};

} // namespace kalim::test
