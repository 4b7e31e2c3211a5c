#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"
#include "tests/plugin/HostSide.h"
#include "tests/plugin/ScratchFiles.h"
#include "tests/presets/PresetCases.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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
    for (int harmonic = 1; harmonic <= count * step; harmonic += step)
        hum = testing_support::mix(
            hum,
            testing_support::makeTone(harmonic * fundamental, 0.1 / harmonic, sampleRate, seconds));
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

/// With data of its own in presets, and a parameter that they leave alone.
class PlugInWithData : public KalimAudioProcessor
{
public:
    PlugInWithData() { excludedParameterIds.add(Kalimmer::Sensitivity); }

    void fillCustomDataXmlElement(juce::XmlElement* element) override
    {
        element->createNewChildElement("Data")->setAttribute("text", data);
    }

    void parseCustomDataXmlElement(juce::XmlElement* element) override
    {
        EXPECT_TRUE(element->hasTagName("CustomData"));
        data = element->getFirstChildElement()->getStringAttribute("text");
    }

    juce::String data;
};

class Presets : public ScratchFiles
{
protected:
    juce::File writePreset(const juce::String& parameters, const juce::String& rest = "") const
    {
        return write("preset.xml", "<Preset><ParameterSettings>" + parameters +
                                       "</ParameterSettings>" + rest + "</Preset>");
    }
};

} // namespace

TEST_F(Presets, areNumberedInATreeOfTheirFolders)
{
    for (const char* const name : {"factory/b.xml", "factory/reset.xml", "factory/Sub/c.xml",
                                   "factory/empty/y.txt", "user/Mine.xml"})
        write(name, "");
    kalim::plugin::PresetTree presets;
    const std::string path = folder.getFullPathName().toStdString();
    for (int round = 0; round < 2; ++round)
        presets.update({path + "/factory", path + "/user"});
    EXPECT_EQ(
        presets.getTree().toXmlString(juce::XmlElement::TextFormat().singleLine().withoutHeader()),
        "<Root><PresetFolder Name=\"Factory presets\"><Preset Name=\"b\" Index=\"0\"/>"
        "<Preset Name=\"reset\" Index=\"1\"/><PresetFolder Name=\"empty\"/>"
        "<PresetFolder Name=\"Sub\"><Preset Name=\"c\" Index=\"2\"/></PresetFolder>"
        "</PresetFolder><PresetFolder Name=\"User presets\">"
        "<Preset Name=\"Mine\" Index=\"3\"/></PresetFolder></Root>");
    EXPECT_EQ(presets.size(), 4);
    EXPECT_EQ(presets.getResetPresetIndex(), 1);
    EXPECT_EQ(presets.find(3).file, path + "/user/Mine.xml");
    EXPECT_EQ(presets.find(4).name + presets.find(-1).name, "");
    presets.update({path + "/missing", ""});
    EXPECT_EQ(presets.size() + presets.getResetPresetIndex(), 0);
    EXPECT_EQ(presets.getTree().getNumChildren(), 2);
    EXPECT_EQ(kalim::plugin::toText("\xff.xml"), juce::String::fromUTF8("\xef\xbf\xbd.xml"));
}

TEST(FactoryPresets, removeTheHumThatTheyAreMadeForFromResetOn)
{
    KalimAudioProcessor first;
    const int numPrograms = first.getNumPrograms();
    ASSERT_GT(numPrograms, 20);
    EXPECT_EQ(first.getProgramName(0), "Reset");
    EXPECT_EQ(first.getCurrentProgram(), 0);
    EXPECT_EQ(first.getCurrentPresetName(), "Reset");
    const std::vector<float> defaults = valuesOf(first);
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
        plugIn.setParameter(6, 1.0F);
        plugIn.setCurrentProgram(0);
        EXPECT_EQ(valuesOf(plugIn), defaults);
    }
}

TEST_F(Presets, bringBackWhatWasWrittenToThemWithTheDataOfAPlugInOfItsOwn)
{
    PlugInWithData written;
    written.data = juce::String::fromUTF8("<\xc3\xbc & \">");
    for (int index = 0; index < 7; ++index)
        written.setParameter(index, 0.123F + 0.1F * static_cast<float>(index));
    const juce::File file =
        folder.getChildFile(juce::String::fromUTF8("Br\xc3\xbcmm \xe3\x83\x8f\xe3\x83\xa0.xml"));
    ASSERT_TRUE(written.exportToPresetFile(file));
    EXPECT_EQ(written.getCurrentPresetName(), file.getFileNameWithoutExtension());
    EXPECT_TRUE(file.loadFileAsString().contains(
        "  <CustomData>\r\n    <Data text=\"&lt;&#252; &amp; &quot;&gt;\"/>\r\n  </CustomData>\r\n"
        "</Preset>\r\n"));

    PlugInWithData read;
    ASSERT_TRUE(read.importFromPresetFile(file));
    EXPECT_EQ(read.data, written.data);
    std::vector<float> expected = valuesOf(written);
    expected[Kalimmer::Sensitivity] = 30.0F;
    EXPECT_EQ(valuesOf(read), expected);
    read.clearSettings();
    EXPECT_EQ(valuesOf(read), valuesOf(*std::make_unique<KalimAudioProcessor>()));
}

TEST_F(Presets, setInThePlugInWhatTheySetInTheProgram)
{
    for (const auto& [attributes, id, value] : kalim::test::presetCases)
    {
        KalimAudioProcessor plugIn;
        KalimAudioProcessor direct;
        ASSERT_TRUE(
            plugIn.importFromPresetFile(writePreset(juce::String("<P ") + attributes + "/>")));
        if (id >= 0 && id < 7)
            direct.getBaseProcessor()->setParameterValue(id, value, false);
        juce::MemoryBlock expected;
        juce::MemoryBlock found;
        direct.setCurrentPresetName("preset");
        direct.getStateInformation(expected);
        plugIn.getStateInformation(found);
        EXPECT_EQ(found, expected) << attributes;
    }
}

TEST_F(Presets, changeOnlyWhatTheyMentionAndTellEverybody)
{
    KalimAudioProcessor plugIn;
    const testing_support::Witness told(plugIn);
    ASSERT_TRUE(plugIn.importFromPresetFile(writePreset(
        "<Parameter id='-1' value='64'/><Anything id='3' value='7'/><P id='99'/><P id='5'/>")));
    EXPECT_EQ(valuesOf(plugIn), (std::vector{50.0F, 30.0F, 15.0F, 7.0F, 0.0F, 0.0F, 0.0F}));
    EXPECT_EQ(told.host, (std::vector<std::pair<int, float>>{{3, 7.0F / 96.0F}, {5, 0.0F}}));
    EXPECT_EQ(told.editor, std::vector{-1});
    EXPECT_EQ(plugIn.getCurrentPresetName(), "preset");
}

TEST_F(Presets, doNoHarmWhenTheyAreBadOrCannotBeWritten)
{
    KalimAudioProcessor plugIn;
    plugIn.setParameter(0, 0.5F);
    const std::vector<float> before = valuesOf(plugIn);
    plugIn.setCurrentPresetName("Before");
    for (const juce::File& file :
         {folder, folder.getChildFile("missing.xml"), juce::File(), write("none.xml", "<Preset/>"),
          writePreset("<P id='0' value='60'/>", "<CustomData><\xc3\xbc/></CustomData>")})
        EXPECT_FALSE(plugIn.importFromPresetFile(file)) << file.getFullPathName();
    for (const juce::File& file : {folder, folder.getChildFile("missing/new.xml")})
        EXPECT_FALSE(plugIn.exportToPresetFile(file));
    EXPECT_EQ(valuesOf(plugIn), before);
    EXPECT_EQ(plugIn.getCurrentPresetName(), "Before");
    // The framework's parser would not return from this.
    EXPECT_TRUE(
        plugIn.importFromPresetFile(writePreset("<?y?>x", "<CustomData><?y?>x</CustomData>")));
}
