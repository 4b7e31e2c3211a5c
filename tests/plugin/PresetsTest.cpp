#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"
#include "tests/plugin/HostSide.h"
#include "tests/plugin/ScratchFiles.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <utility>
#include <vector>

namespace
{

using orvo::audio::Kalimmer;
using testing_support::Signal32;
using testing_support::valuesOf;

constexpr double sampleRate = 48000.0;

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

/// In dB, from the third second on.
double levelOf(const Signal32& signal)
{
    double power = 1.0e-12;
    for (int n = static_cast<int>(3.0 * sampleRate); n < signal.getNumSamples(); ++n)
        power += std::pow(static_cast<double>(signal.getReadChannelPtr(0)[n]), 2.0);
    return 10.0 * std::log10(power);
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
    for (const char* const name :
         {"factory/b.xml", "factory/A.xml", "factory/reset.xml", "factory/notes.txt",
          "factory/.hidden.xml", "factory/Sub/c d.xml", "factory/Sub/c.xml",
          "factory/Sub/deeper/x.xml", "factory/empty/y.txt", "user/Mine.xml"})
        write(name, "");
    PresetCatalogue presets;
    for (int round = 0; round < 2; ++round)
    {
        presets.update(folder.getChildFile("factory"), folder.getChildFile("user"));
        EXPECT_EQ(presets.getTree().toXmlString(
                      juce::XmlElement::TextFormat().singleLine().withoutHeader()),
                  "<Root><PresetFolder Name=\"Factory presets\"><Preset Name=\"A\" Index=\"0\"/>"
                  "<Preset Name=\"b\" Index=\"1\"/><Preset Name=\"reset\" Index=\"2\"/>"
                  "<PresetFolder Name=\"empty\"/><PresetFolder Name=\"Sub\">"
                  "<Preset Name=\"c\" Index=\"3\"/><Preset Name=\"c d\" Index=\"4\"/>"
                  "</PresetFolder></PresetFolder><PresetFolder Name=\"User presets\">"
                  "<Preset Name=\"Mine\" Index=\"5\"/></PresetFolder></Root>");
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
        const auto mono = juce::AudioChannelSet::mono();
        EXPECT_TRUE(plugIn.setBusesLayout({{mono}, {mono}}));
        plugIn.prepareToPlay(sampleRate, 512);
        const Signal32 hum = makeMatchingHum(plugIn, 5.0);
        const double reduction = levelOf(hum) - levelOf(testing_support::play(plugIn, hum, {512}));
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
    KalimAudioProcessor plugIn;
    const testing_support::Witness told(plugIn);
    plugIn.setCurrentPresetName("Before");
    ASSERT_TRUE(plugIn.importFromPresetFile(
        writePreset("<Parameter value='63'/><Parameter id='-1' value='64'/>"
                    "<Anything id='3' value='7' name='?'/><Parameter id='99' value='1'/>"
                    "<Parameter id='2147483648' value='1'/><Parameter id='5'/>")));
    EXPECT_EQ(valuesOf(plugIn), (std::vector{50.0F, 30.0F, 15.0F, 7.0F, 0.0F, 0.0F, 0.0F}));
    EXPECT_EQ(told.host, (std::vector<std::pair<int, float>>{{3, 7.0F / 96.0F}, {5, 0.0F}}));
    EXPECT_EQ(told.editor, std::vector{-1});
    EXPECT_EQ(plugIn.getCurrentPresetName(), "preset");
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

    // Odd values are limited as any others are.
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
