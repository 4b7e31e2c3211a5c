#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"
#include "tests/plugin/ScratchFiles.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <vector>

namespace
{

using orvo::audio::Kalimmer;
using orvo::audio::Signal32;

constexpr double sampleRate = 48000.0;

juce::String describe(const juce::ValueTree& node)
{
    juce::String text;
    text << node.getType().toString() << ":" << node["Name"].toString();
    if (node.hasProperty("Index"))
        text << "=" << node["Index"].toString();
    for (const juce::ValueTree& child : node)
        text << " (" << describe(child) << ")";
    return text;
}

std::vector<float> valuesOf(KalimAudioProcessor& plugIn)
{
    std::vector<float> values;
    for (int id = 0; id < 7; ++id)
        values.push_back(plugIn.getBaseProcessor()->getParameterValue(id));
    return values;
}

/// The hum that the present settings are made for: the harmonics that they remove, up to the
/// twelfth of them, a little off the frequency that they start from.
Signal32 makeMatchingHum(KalimAudioProcessor& plugIn, double seconds)
{
    const std::vector<float> values = valuesOf(plugIn);
    const bool isForDrifting = values[Kalimmer::Adaptivity] >= 20.0F;
    const double fundamental = values[Kalimmer::FundamentalFrequency] + (isForDrifting ? 0.5 : 0.1);
    const int step = values[Kalimmer::OnlyOddHarmonics] > 0.5F ? 2 : 1;
    const int count = std::min(static_cast<int>(values[Kalimmer::NumberOfHarmonics]), 12);
    Signal32 hum(1, static_cast<int>(seconds * sampleRate), 0.0F);
    for (int i = 0; i < count; ++i)
    {
        const int harmonic = 1 + i * step;
        hum = testing_support::mix(
            hum,
            testing_support::makeTone(harmonic * fundamental, 0.1 / harmonic, sampleRate, seconds));
    }
    return hum;
}

double levelOf(const float* samples, int count)
{
    double power = 0.0;
    for (int n = 0; n < count; ++n)
        power += static_cast<double>(samples[n]) * static_cast<double>(samples[n]);
    return 10.0 * std::log10(power / count + 1.0e-12);
}

/// How much lower the output is than the input, in dB, from the third second on.
double measureReduction(KalimAudioProcessor& plugIn, const Signal32& input)
{
    EXPECT_TRUE(
        plugIn.setBusesLayout({{juce::AudioChannelSet::mono()}, {juce::AudioChannelSet::mono()}}));
    plugIn.prepareToPlay(sampleRate, 512);
    juce::AudioBuffer<float> output(1, input.getNumSamples() / 512 * 512);
    output.copyFrom(0, 0, input.getReadChannelPtr(0), output.getNumSamples());
    juce::MidiBuffer midi;
    for (int start = 0; start < output.getNumSamples(); start += 512)
    {
        juce::AudioBuffer<float> block(output.getArrayOfWritePointers(), 1, start, 512);
        plugIn.processBlock(block, midi);
    }
    const int start = static_cast<int>(3.0 * sampleRate);
    const int count = output.getNumSamples() - start;
    return levelOf(input.getReadChannelPtr(0) + start, count) -
           levelOf(output.getReadPointer(0, start), count);
}

class PresetFiles : public ScratchFiles
{
protected:
    static std::vector<float> importedFrom(const juce::File& file)
    {
        KalimAudioProcessor plugIn;
        EXPECT_TRUE(plugIn.importFromPresetFile(file)) << file.getFullPathName();
        return valuesOf(plugIn);
    }

    juce::File writePreset(const juce::String& parameters) const
    {
        return write("preset.xml",
                     "<Preset><ParameterSettings>" + parameters + "</ParameterSettings></Preset>");
    }
};

} // namespace

TEST_F(PresetFiles, areNumberedByNameTheFactorysFirst)
{
    write("factory/b.xml", "");
    write("factory/A.xml", "");
    write("factory/reset.xml", "");
    write("factory/notes.txt", "");
    write("factory/.hidden.xml", "");
    write("factory/Sub/c d.xml", "");
    write("factory/Sub/c.xml", "");
    write("factory/Sub/deeper/x.xml", "");
    write("factory/empty/y.txt", "");
    write("user/Mine.xml", "");
    PresetCatalogue presets;
    for (int round = 0; round < 2; ++round)
    {
        presets.update(folder.getChildFile("factory"), folder.getChildFile("user"));
        EXPECT_EQ(describe(presets.getTree()),
                  "Root: (PresetFolder:Factory presets (Preset:A=0) (Preset:b=1) (Preset:reset=2)"
                  " (PresetFolder:empty) (PresetFolder:Sub (Preset:c=3) (Preset:c d=4)))"
                  " (PresetFolder:User presets (Preset:Mine=5))");
        EXPECT_EQ(presets.size(), 6);
        EXPECT_EQ(presets.getResetPresetIndex(), 2);
        EXPECT_EQ(presets.find(5).path, folder.getChildFile("user/Mine.xml").getFullPathName());
        EXPECT_EQ(presets.find(6).name + presets.find(-1).path, "");
    }
    presets.update(folder.getChildFile("missing"), juce::File());
    EXPECT_EQ(presets.size(), 0);
    EXPECT_EQ(presets.getResetPresetIndex(), 0);
    EXPECT_EQ(presets.getTree().getNumChildren(), 2);
}

TEST(FactoryPresets, beginWithResetWhichIsWhatANewInstanceHas)
{
    KalimAudioProcessor plugIn;
    ASSERT_GT(plugIn.getNumPrograms(), 20);
    EXPECT_EQ(plugIn.getProgramName(0), "Reset");
    EXPECT_EQ(plugIn.getCurrentProgram(), 0);
    EXPECT_EQ(plugIn.getCurrentPresetName(), "Reset");
    const std::vector<float> defaults = valuesOf(plugIn);
    plugIn.setParameter(0, 0.9F);
    plugIn.setParameter(6, 1.0F);
    plugIn.setCurrentProgram(0);
    EXPECT_EQ(valuesOf(plugIn), defaults);
}

TEST(FactoryPresets, removeTheHumThatTheyAreMadeFor)
{
    const int numPrograms = KalimAudioProcessor().getNumPrograms();
    for (int program = 0; program < numPrograms; ++program)
    {
        KalimAudioProcessor plugIn;
        plugIn.setCurrentProgram(program);
        const juce::String name = plugIn.getProgramName(program);
        EXPECT_EQ(plugIn.getCurrentPresetName(), name);
        EXPECT_EQ(valuesOf(plugIn)[Kalimmer::AggressiveMode] > 0.5F, name.startsWith("Live"));
        const double reduction = measureReduction(plugIn, makeMatchingHum(plugIn, 5.0));
        if (valuesOf(plugIn)[Kalimmer::ResidualMode] > 0.5F)
            EXPECT_NEAR(reduction, 0.0, 1.0) << name; // the hum is what is played
        else
            EXPECT_GT(reduction, 25.0) << name;
    }
}

TEST_F(PresetFiles, bringBackWhatWasWrittenToThem)
{
    KalimAudioProcessor plugIn;
    for (int index = 0; index < 7; ++index)
        plugIn.setParameter(index, 0.123F + 0.1F * static_cast<float>(index));
    const juce::File file =
        folder.getChildFile(juce::String::fromUTF8("Br\xc3\xbcmm \xe3\x83\x8f\xe3\x83\xa0.xml"));
    ASSERT_TRUE(plugIn.exportToPresetFile(file));
    EXPECT_EQ(plugIn.getCurrentPresetName(), file.getFileNameWithoutExtension());
    EXPECT_EQ(importedFrom(file), valuesOf(plugIn));
    const juce::String text = file.loadFileAsString();
    EXPECT_TRUE(text.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>"));
    EXPECT_TRUE(text.contains("<Parameter id=\"2\" unit=\"Hz/s\" value=\""));
    EXPECT_TRUE(text.contains("<CustomData/>"));
}

TEST_F(PresetFiles, changeOnlyWhatTheyMentionAndTellEverybody)
{
    struct Host : juce::AudioProcessorListener
    {
        void audioProcessorParameterChanged(juce::AudioProcessor*, int index, float) override
        {
            indices.push_back(index);
        }

        void audioProcessorChanged(juce::AudioProcessor*, const ChangeDetails&) override {}

        std::vector<int> indices;
    };

    struct Editor : BasePlugInProcessor::Listener
    {
        void parameterChanged(int index) override { indices.push_back(index); }

        std::vector<int> indices;
    };

    KalimAudioProcessor plugIn;
    Host host;
    Editor editor;
    plugIn.juce::AudioProcessor::addListener(&host);
    plugIn.addListener(&editor);
    plugIn.setCurrentPresetName("Before");
    ASSERT_TRUE(plugIn.importFromPresetFile(
        writePreset("<Parameter value='63'/><Parameter id='-1' value='64'/>"
                    "<Anything id='3' value='7' name='?'/><Parameter id='99' value='1'/>"
                    "<Parameter id='2147483648' value='1'/><Parameter id='5'/>")));
    EXPECT_EQ(valuesOf(plugIn), (std::vector{50.0F, 30.0F, 15.0F, 7.0F, 0.0F, 0.0F, 0.0F}));
    EXPECT_EQ(host.indices, (std::vector{3, 5}));
    EXPECT_EQ(editor.indices, std::vector{-1});
    EXPECT_EQ(plugIn.getCurrentPresetName(), "preset");
    plugIn.removeListener(&editor);
    plugIn.juce::AudioProcessor::removeListener(&host);
}

TEST_F(PresetFiles, doNoHarmWhenTheyAreBad)
{
    KalimAudioProcessor plugIn;
    plugIn.setParameter(0, 0.5F);
    const std::vector<float> before = valuesOf(plugIn);
    plugIn.setCurrentPresetName("Before");
    for (const char* const text :
         {"", "no preset", "<Preset/>", "<Preset><ParameterSettings>", "<!DOCTYPE a><Preset/>",
          "<Preset><ParameterSettings><Parameter id='0' value='60'/></Parameter"})
        EXPECT_FALSE(plugIn.importFromPresetFile(write("bad.xml", text))) << text;
    EXPECT_FALSE(plugIn.importFromPresetFile(folder));
    EXPECT_FALSE(plugIn.importFromPresetFile(folder.getChildFile("missing.xml")));
    EXPECT_EQ(valuesOf(plugIn), before);
    EXPECT_EQ(plugIn.getCurrentPresetName(), "Before");

    // Odd values are limited as any others are, and the sound stays finite.
    const std::vector<float> odd = importedFrom(
        writePreset("<P id='0' value='1e999'/><P id='2' value='abc'/><P id='3' value='-5'/>"
                    "<P id='1' value='nan'/>"));
    EXPECT_EQ(odd[0], 500.0F);
    EXPECT_EQ(odd[2], 0.0F);
    EXPECT_EQ(odd[3], 0.0F);
}

TEST_F(PresetFiles, stayAsTheyWereWhenWritingFails)
{
    KalimAudioProcessor plugIn;
    plugIn.setCurrentPresetName("Before");
    const juce::File file = write("old.xml", "what was there");
    // As on a full disk: nothing more can be written.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit previous{};
    getrlimit(RLIMIT_FSIZE, &previous);
    const rlimit none{16, previous.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
    const bool isWritten = plugIn.exportToPresetFile(file);
    setrlimit(RLIMIT_FSIZE, &previous);
    EXPECT_FALSE(isWritten);
    EXPECT_EQ(file.loadFileAsString(), "what was there");
    EXPECT_EQ(folder.getNumberOfChildFiles(juce::File::findFilesAndDirectories), 1);
    EXPECT_FALSE(plugIn.exportToPresetFile(folder.getChildFile("missing/new.xml")));
    EXPECT_FALSE(plugIn.exportToPresetFile(folder));
    EXPECT_EQ(plugIn.getCurrentPresetName(), "Before");
}
