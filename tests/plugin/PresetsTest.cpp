#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimAudioProcessor.h"
#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

namespace
{

using orvo::audio::Kalimmer;
using namespace testing_support;

/// The hum that the present settings are made for: the harmonics that they remove, up to the
/// twelfth of them, a little off the frequency that they start from.
Signal32 makeMatchingHum(const std::vector<float>& values)
{
    const double offset = values[Kalimmer::Adaptivity] >= 20.0F ? 0.5 : 0.1;
    const double fundamental = values[Kalimmer::FundamentalFrequency] + offset;
    const int step = values[Kalimmer::OnlyOddHarmonics] > 0.5F ? 2 : 1;
    const int count = std::min(static_cast<int>(values[Kalimmer::NumberOfHarmonics]), 12);
    Signal32 hum(1, 240000, 0.0F);
    for (int harmonic = 1; harmonic <= count * step; harmonic += step)
        hum = mix(hum, makeTone(harmonic * fundamental, 0.1 / harmonic, 48000.0, 5.0));
    return hum;
}

/// With data of its own in presets, and a parameter that they leave alone.
struct PlugInWithData : KalimAudioProcessor
{
    PlugInWithData() { excludedParameterIds.add(Kalimmer::Sensitivity); }

    void fillCustomDataXmlElement(juce::XmlElement* element) override
    {
        element->createNewChildElement("Data")->addTextElement(data);
    }

    void parseCustomDataXmlElement(juce::XmlElement* element) override
    {
        data = element->getChildElementAllSubText("Data", {});
    }

    juce::String data;
};

struct Presets : ScratchFiles
{
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
    EXPECT_EQ(presets.getResetPresetIndex(), 1);
    EXPECT_EQ(presets.find(3).file, path + "/user/Mine.xml");
    EXPECT_EQ(presets.find(4).name + presets.find(-1).name, "");
    EXPECT_EQ(kalim::plugin::toText("\xff.xml"), juce::String::fromUTF8("\xef\xbf\xbd.xml"));
}

TEST(FactoryPresets, removeTheHumThatTheyAreMadeForFromResetOn)
{
    KalimAudioProcessor first;
    ASSERT_GT(first.getNumPrograms(), 20);
    EXPECT_EQ(first.getProgramName(0), "Reset");
    for (int program = 0; program < first.getNumPrograms(); ++program)
    {
        KalimAudioProcessor plugIn;
        plugIn.setCurrentProgram(program);
        const juce::String name = plugIn.getProgramName(program);
        EXPECT_EQ(plugIn.getCurrentPresetName(), name);
        const std::vector<float> values = valuesOf(plugIn);
        EXPECT_EQ(values[Kalimmer::AggressiveMode] > 0.5F, name.startsWith("Live"));
        prepare(plugIn, juce::AudioChannelSet::mono());
        const Signal32 hum = makeMatchingHum(values);
        const auto levelOf = [](const Signal32& signal)
        { return 20.0 * std::log10(peakOf(cut(signal, 144000, 96000))); };
        const double reduction = levelOf(hum) - levelOf(play(plugIn, hum, {512}));
        if (values[Kalimmer::ResidualMode] > 0.5F)
            EXPECT_NEAR(reduction, 0.0, 1.0) << name; // the hum is what is played
        else
            EXPECT_GT(reduction, 25.0) << name;
        plugIn.setCurrentProgram(0);
        EXPECT_EQ(valuesOf(plugIn), valuesOf(first));
    }
}

TEST_F(Presets, bringBackWhatWasWrittenToThemWithDataOfAPlugInsOwn)
{
    PlugInWithData written;
    written.data = juce::String::fromUTF8("<\xc3\xbc & \">");
    for (int index = 0; index < 7; ++index)
        written.setParameter(index, 0.123F + 0.1F * static_cast<float>(index));
    const juce::File file = folder.getChildFile(juce::String::fromUTF8("Br\xc3\xbcmm.xml"));
    ASSERT_TRUE(written.exportToPresetFile(file));
    EXPECT_EQ(written.getCurrentPresetName(), file.getFileNameWithoutExtension());
    EXPECT_TRUE(file.loadFileAsString().endsWith(
        "  <CustomData>\r\n    <Data>&lt;&#252; &amp; &quot;&gt;</Data>\r\n  </CustomData>\r\n"
        "</Preset>\r\n"));
    PlugInWithData read;
    ASSERT_TRUE(read.importFromPresetFile(file));
    EXPECT_EQ(read.data, written.data);
    std::vector<float> expected = valuesOf(written);
    expected[Kalimmer::Sensitivity] = 30.0F;
    EXPECT_EQ(valuesOf(read), expected);
    written.clearSettings();
    EXPECT_NE(valuesOf(written)[Kalimmer::Sensitivity], 30.0F);
}

TEST_F(Presets, changeOnlyWhatTheyMentionAndTellEverybody)
{
    KalimAudioProcessor plugIn;
    const Witness told(plugIn);
    ASSERT_TRUE(plugIn.importFromPresetFile(writePreset(
        "<Parameter id='-1' value='64'/><Anything id='3' value='7'/><P id='99'/><P id='5'/>")));
    const std::vector mentioned{50.0F, 30.0F, 15.0F, 7.0F, 0.0F, 0.0F, 0.0F};
    EXPECT_EQ(valuesOf(plugIn), mentioned);
    EXPECT_EQ(told.host, (std::vector<std::pair<int, float>>{{3, 7.0F / 96.0F}, {5, 0.0F}}));
    EXPECT_EQ(told.editor, std::vector{-1});
    // The framework's parser would not return from this.
    EXPECT_TRUE(
        plugIn.importFromPresetFile(writePreset("<?y?>x", "<CustomData><?y?>x</CustomData>")));
    // No harm is done by what is bad or cannot be written.
    for (const juce::File& file :
         {folder, folder.getChildFile("missing.xml"), juce::File(), write("none.xml", "<Preset/>"),
          writePreset("<P id='0' value='60'/>", "<CustomData><\xc3\xbc/></CustomData>")})
        EXPECT_FALSE(plugIn.importFromPresetFile(file)) << file.getFullPathName();
    for (const juce::File& file : {folder, folder.getChildFile("missing/new.xml")})
        EXPECT_FALSE(plugIn.exportToPresetFile(file));
    EXPECT_EQ(valuesOf(plugIn), mentioned);
    EXPECT_EQ(plugIn.getCurrentPresetName(), "preset");
}
