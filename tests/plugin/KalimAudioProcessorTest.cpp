#include "plugin/KalimAudioProcessor.h"

#include "dsp/hum/Kalimmer.h"
#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

namespace
{

using orvo::audio::Kalimmer;
using namespace testing_support;

const std::vector<float> defaults{50.0F, 30.0F, 15.0F, 1.0F, 0.0F, 0.0F, 0.0F};
const std::vector<float> others{61.7F, 12.3F, 4.56F, 33.0F, 1.0F, 1.0F, 1.0F};

/// Where a record's reading ends, or -1 where it is refused.
int restore(KalimAudioProcessor& plugIn, const juce::MemoryBlock& block)
{
    juce::MemoryInputStream stream(block, false);
    return plugIn.setParameterSettings(stream) ? static_cast<int>(stream.getPosition()) : -1;
}

/// The start of a record made by hand, with the name "Brumm" and a letter of two bytes.
juce::MemoryBlock makeRecord(std::size_t size = 89)
{
    juce::MemoryBlock record;
    record.loadFromHexString("4f56524f4e5256510108010007000000 00000000cdcc7642 01000000cdcc4441"
                             "0200000085eb9140 0300000000000442 040000000000803f 050000000000803f"
                             "060000000000803f 3e4743094aaf0487 4272756d6d20c3bc00");
    record.setSize(size);
    return record;
}

} // namespace

TEST(KalimAudioProcessor, showsItsSevenParametersAndNothingBeyondThem)
{
    const std::array texts{"50.00 Hz", "30.00 %", "15.00 Hz/s", "1.00 ", "Off ", "Off ", "Off "};
    KalimAudioProcessor plugIn;
    for (const auto& row : orvo::audio::humParameters)
    {
        const float normalized = (row.defaultValue - row.min) / (row.max - row.min);
        EXPECT_EQ(plugIn.getParameterID(row.id), row.name);
        EXPECT_FLOAT_EQ(plugIn.getParameterDefaultValue(row.id), normalized);
        EXPECT_FLOAT_EQ(plugIn.getParameter(row.id), normalized);
        EXPECT_EQ(plugIn.getParameterText(row.id), texts.at(static_cast<std::size_t>(row.id)));
    }
    for (const int index : {-1, 7, std::numeric_limits<int>::max()})
    {
        EXPECT_EQ(plugIn.getParameter(index), -1.0F);
        EXPECT_EQ(plugIn.getParameterName(index) + plugIn.getParameterText(index), "");
        EXPECT_EQ(plugIn.findPublicParameter(index), nullptr);
        plugIn.setParameter(index, 1.0F);
        plugIn.resetParameter(index, true);
        plugIn.notifyInternalParameterChange(index);
    }
    EXPECT_EQ(valuesOf(plugIn), defaults);
    plugIn.setParameter(4, 7.0F); // limited by the processor
    EXPECT_EQ(plugIn.getParameterText(4), "On ");
}

TEST(ParameterDescription, mapsAlsoLogarithmically)
{
    ParameterDescription frequency(std::make_shared<Kalimmer>(), Kalimmer::FundamentalFrequency,
                                   "Name", "", 1.0F, ParameterDescription::Logarithmic);
    EXPECT_FLOAT_EQ(frequency.getNormalizedParameterValue(), std::log(1.25F) / std::log(12.5F));
    frequency.setNormalizedParameterValue(0.5F, false);
    EXPECT_FLOAT_EQ(frequency.getNaturalValue(), std::sqrt(40.0F * 500.0F));
}

TEST(SettingsRecord, hasTheBytesThatOthersExpectAndBringsEverythingBackBitForBit)
{
    KalimAudioProcessor plugIn;
    const Witness told(plugIn);
    plugIn.setStateInformation(makeRecord().getData(), 89);
    EXPECT_EQ(valuesOf(plugIn), others);
    juce::MemoryBlock saved;
    plugIn.getStateInformation(saved);
    EXPECT_EQ(saved, makeRecord());
    EXPECT_EQ(told.editor, std::vector{-1});
}

TEST(SettingsRecord, bringsTheLatencyOfItsModeThatChangesWhilePlayingDoNotReport)
{
    KalimAudioProcessor plugIn;
    juce::MemoryBlock normal;
    plugIn.getStateInformation(normal);
    const Signal32 ramp = makeRamp(2, 6000);
    const auto expectLate = [&](int reported, int delay)
    {
        EXPECT_EQ(plugIn.getLatencySamples(), reported);
        EXPECT_TRUE(isDelayed(play(plugIn, ramp, {500}), ramp, delay));
    };
    prepare(plugIn, juce::AudioChannelSet::stereo());
    const auto set = [&](int id, float value)
    { plugIn.getBaseProcessor()->setParameterValue(id, value, false); };
    set(Kalimmer::NumberOfHarmonics, 0.0F);
    set(Kalimmer::AggressiveMode, 1.0F);
    expectLate(2048, 0);
    juce::MemoryBlock aggressive;
    plugIn.getStateInformation(aggressive);
    const auto restore = [&](const juce::MemoryBlock& state)
    {
        plugIn.setStateInformation(state.getData(), static_cast<int>(state.getSize()));
        set(Kalimmer::NumberOfHarmonics, 0.0F);
    };
    restore(aggressive);
    expectLate(0, 0);
    restore(normal);
    expectLate(2048, 2048);
    restore(aggressive);
    prepare(plugIn, juce::AudioChannelSet::stereo());
    expectLate(0, 0);
}

TEST(SettingsRecord, survivesEveryTruncationAndKeepsWhatWasThere)
{
    for (std::size_t size = 0; size < 89; ++size)
    {
        KalimAudioProcessor plugIn;
        restore(plugIn, makeRecord(size));
        EXPECT_TRUE(size > 80 || plugIn.getCurrentPresetName() == "Reset") << size;
        // Entries are read from 60 bytes on, though some of them are missing then.
        const bool lacksSome = size >= 60 && size < 72;
        EXPECT_TRUE(lacksSome || valuesOf(plugIn) == (size < 72 ? defaults : others)) << size;
    }
}

TEST(SettingsRecord, refusesWhatIsForeignAndLeavesTheRestOfTheStream)
{
    const std::vector<float> limited{40.0F, 12.3F, 4.56F, 33.0F, 1.0F, 1.0F, 1.0F};
    const std::vector<float> started{61.7F, 12.3F, 15.0F, 1.0F, 0.0F, 0.0F, 0.0F};
    using Change = std::tuple<int, int, std::vector<float>, int>;
    for (const auto& [position, number, values, readTo] :
         {Change{0, 0x4f525658, defaults, -1}, Change{4, 0x5156524f, defaults, -1},
          Change{8, 99, others, 72}, // any version
          Change{12, 0, defaults, 16}, Change{12, -1, defaults, 16},
          Change{12, 0x7fffffff, defaults, 16},
          Change{12, std::numeric_limits<int>::min(), defaults, 16},
          Change{12, 8, limited, 72},           // by an entry beyond the end: id 0 with value 0
          Change{16 + 2 * 8, 77, started, -1}}) // an id that there is not
    {
        juce::MemoryBlock record = makeRecord(72);
        record.copyFrom(&number, position, sizeof(number));
        KalimAudioProcessor plugIn;
        EXPECT_EQ(restore(plugIn, record), readTo) << position << ": " << number;
        EXPECT_EQ(valuesOf(plugIn), values) << position << ": " << number;
        EXPECT_EQ(plugIn.getCurrentPresetName(), "Reset");
    }
    juce::MemoryBlock record = makeRecord(72);
    record.append("what follows", 12);
    KalimAudioProcessor plugIn;
    EXPECT_EQ(restore(plugIn, record), 72);
    record = makeRecord();
    record.copyFrom("\xff\xe2", 86, 2); // text also where that was none
    EXPECT_EQ(restore(plugIn, record), 89);
    const juce::String name = plugIn.getCurrentPresetName();
    EXPECT_TRUE(
        juce::CharPointer_UTF8::isValidString(name.toRawUTF8(), std::numeric_limits<int>::max()));
}

TEST(Parameters, tellTheHostOfWhatItDidNotSet)
{
    KalimAudioProcessor plugIn;
    const Witness told(plugIn);
    plugIn.setParameter(2, 0.5F);
    plugIn.resetParameter(1, false);
    EXPECT_TRUE(told.host.empty());
    plugIn.resetParameter(2, true);
    plugIn.getBaseProcessor()->setParameterValue(0, 63.0F, false);
    plugIn.notifyInternalParameterChange(0);
    EXPECT_EQ(told.host, (std::vector<std::pair<int, float>>{{2, 0.1875F}, {0, 0.05F}}));
    EXPECT_EQ(told.editor, std::vector{2}); // not of resetting
}

TEST(History, goesBackAndForth)
{
    KalimAudioProcessor plugIn;
    const auto frequencyAfter = [&](void (BasePlugInProcessor::*action)())
    {
        (plugIn.*action)();
        return valuesOf(plugIn)[0];
    };
    for (const float value : {60.0F, 70.0F})
    {
        plugIn.addUndoState();
        plugIn.getBaseProcessor()->setParameterValue(0, value, false);
    }
    for (const float expected : {60.0F, 50.0F, 50.0F})
        EXPECT_EQ(frequencyAfter(&BasePlugInProcessor::undo), expected);
    for (const float expected : {60.0F, 70.0F, 70.0F})
        EXPECT_EQ(frequencyAfter(&BasePlugInProcessor::redo), expected);
    EXPECT_EQ(frequencyAfter(&BasePlugInProcessor::undo), 60.0F);
    plugIn.addUndoState();
    EXPECT_FALSE(plugIn.canRedo());
    plugIn.switchToAlternateSettings(); // there are no others yet
    EXPECT_EQ(valuesOf(plugIn)[0], 60.0F);
}

TEST(Programs, areNotChangedRightAfterAStateWasRestored)
{
    KalimAudioProcessor plugIn;
    plugIn.setStateInformation(makeRecord().getData(), 89);
    plugIn.setCurrentProgram(3);
    EXPECT_EQ(plugIn.getCurrentProgram(), 0);
    EXPECT_FALSE(plugIn.canUndo());
    juce::Thread::sleep(250);
    const Witness told(plugIn);
    plugIn.setCurrentProgram(3);
    EXPECT_EQ(plugIn.getCurrentProgram(), 3);
    EXPECT_EQ(plugIn.getCurrentPresetName(), plugIn.getProgramName(3));
    EXPECT_TRUE(plugIn.canUndo());
    EXPECT_EQ(told.editor, (std::vector{-1, -1})); // of the preset's file and of the change
}
