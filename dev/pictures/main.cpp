// Pictures of the editor with a recording running through it, for the read-me and the manual:
// kalim_pictures RECORDING FOLDER

#include "audiofile/AudioFileReader.h"
#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"
#include "ui/KalimAudioProcessorEditor.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

namespace
{

using orvo::audio::Kalimmer;
using Theme = BasePluginEditor::ThemeId;

constexpr int blockSize = 512;

struct Picture
{
    const char* name;
    Theme theme = BasePluginEditor::simplisticDark;
    bool isAggressive = false;
    bool isResidual = false;
    int numHarmonics = 24;
    const char* locale = "C";
};

const std::vector<Picture> pictures{
    {.name = "dark-normal"},
    {.name = "dark-aggressive", .isAggressive = true, .numHarmonics = 6},
    {.name = "dark-residual", .isResidual = true},
    {.name = "steel-normal", .theme = BasePluginEditor::brushedSteel},
    {.name = "dark-german", .locale = "de_DE.UTF-8"},
};

/// The last part of the recording, where the hum stands out.
void play(KalimAudioProcessor& plugIn, const juce::File& recording,
          KalimAudioProcessorEditor& editor)
{
    kalim::AudioFileReader reader(recording.getFullPathName().toStdString());
    const int channels = reader.getNumChannels();
    const auto layout = juce::AudioChannelSet::canonicalChannelSet(channels);
    plugIn.setBusesLayout({{layout}, {layout}});
    plugIn.prepareToPlay(reader.getSampleRate(), blockSize);
    std::vector<float> samples(static_cast<std::size_t>(blockSize * channels));
    juce::AudioBuffer<float> block(channels, blockSize);
    juce::MidiBuffer midi;
    const auto end = static_cast<juce::int64>(0.9 * static_cast<double>(reader.getNumFrames()));
    for (juce::int64 start = 0; start + blockSize < end; start += blockSize)
    {
        reader.read(samples);
        for (int n = 0; n < blockSize; ++n)
            for (int channel = 0; channel < channels; ++channel)
                block.setSample(channel, n,
                                samples[static_cast<std::size_t>(n * channels + channel)]);
        plugIn.processBlock(block, midi);
        editor.timerCallback();
    }
}

void draw(const Picture& picture, const juce::File& recording, const juce::File& folder)
{
    setenv("LC_ALL", picture.locale, 1);
    juce::LocalisedStrings::setCurrentMappings(nullptr);
    KalimAudioProcessor plugIn;
    const auto set = [&](int id, float value)
    { plugIn.getBaseProcessor()->setParameterValue(id, value, false); };
    set(Kalimmer::FundamentalFrequency, 60.0F);
    set(Kalimmer::Adaptivity, 5.0F);
    set(Kalimmer::NumberOfHarmonics, static_cast<float>(picture.numHarmonics));
    set(Kalimmer::AggressiveMode, picture.isAggressive ? 1.0F : 0.0F);
    set(Kalimmer::ResidualMode, picture.isResidual ? 1.0F : 0.0F);
    plugIn.setCurrentPresetName("Guitar pick-up 60 Hz");
    KalimAudioProcessorEditor editor(&plugIn);
    editor.setTheme(picture.theme);
    play(plugIn, recording, editor);
    constexpr float scale = 2.0F;
    const juce::Image image = editor.createComponentSnapshot(editor.getLocalBounds(), true, scale);
    const juce::File file = folder.getChildFile(juce::String(picture.name) + ".png");
    file.deleteFile();
    juce::FileOutputStream stream(file);
    if (!stream.openedOk() || !juce::PNGImageFormat().writeImageToStream(image, stream))
        throw std::runtime_error("cannot write " + file.getFullPathName().toStdString());
}

} // namespace

int main(int numArguments, char** arguments)
{
    if (numArguments != 3)
    {
        std::fputs("usage: kalim_pictures RECORDING FOLDER\n", stderr);
        return 2;
    }
    const juce::ScopedJuceInitialiser_GUI framework;
    const juce::File here = juce::File::getCurrentWorkingDirectory();
    const juce::File folder = here.getChildFile(juce::String::fromUTF8(arguments[2]));
    try
    {
        folder.createDirectory();
        for (const Picture& picture : pictures)
            draw(picture, here.getChildFile(juce::String::fromUTF8(arguments[1])), folder);
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "kalim_pictures: %s\n", error.what());
        return 1;
    }
    juce::LocalisedStrings::setCurrentMappings(nullptr);
    return 0;
}
