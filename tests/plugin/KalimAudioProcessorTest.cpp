#include "plugin/KalimAudioProcessor.h"

#include "dsp/hum/Kalimmer.h"
#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace
{

using orvo::audio::Kalimmer;
using testing_support::play;
using testing_support::Signal32;
using testing_support::valuesOf;
using testing_support::Witness;

juce::MemoryBlock stateOf(KalimAudioProcessor& plugIn)
{
    juce::MemoryBlock block;
    plugIn.getStateInformation(block);
    return block;
}

void restore(KalimAudioProcessor& plugIn, const juce::MemoryBlock& block)
{
    plugIn.setStateInformation(block.getData(), static_cast<int>(block.getSize()));
}

void changeEverything(KalimAudioProcessor& plugIn)
{
    const std::array values{61.7F, 12.3F, 4.56F, 33.0F, 1.0F, 1.0F, 1.0F};
    for (int id = 0; id < 7; ++id)
        plugIn.getBaseProcessor()->setParameterValue(id, values[static_cast<std::size_t>(id)],
                                                     false);
}

/// A record made by hand.
juce::MemoryBlock makeRecord(const std::vector<float>& values, const std::string& name = "")
{
    juce::MemoryOutputStream stream; // whose numbers are little-endian
    stream << "OVRONRVQ";
    stream.writeInt(0x10801);
    stream.writeInt(static_cast<int>(values.size()));
    for (std::size_t id = 0; id < values.size(); ++id)
    {
        stream.writeInt(static_cast<int>(id));
        stream.writeFloat(values[id]);
    }
    if (!name.empty())
    {
        stream.writeInt64(static_cast<juce::int64>(0x8704AF4A0943473EULL));
        stream.write(name.c_str(), name.size() + 1);
    }
    return stream.getMemoryBlock();
}

} // namespace

TEST(KalimAudioProcessor, showsItsSevenParameters)
{
    const std::array table{std::tuple{"FundamentalFrequency", 10.0F / 460.0F, "50.00 Hz"},
                           std::tuple{"Sensitivity", 0.3F, "30.00 %"},
                           std::tuple{"Adaptivity", 0.1875F, "15.00 Hz/s"},
                           std::tuple{"NumberOfHarmonics", 1.0F / 96.0F, "1.00 "},
                           std::tuple{"OnlyOddHarmonics", 0.0F, "Off "},
                           std::tuple{"AggressiveMode", 0.0F, "Off "},
                           std::tuple{"ResidualMode", 0.0F, "Off "}};
    KalimAudioProcessor plugIn;
    ASSERT_EQ(plugIn.getNumParameters(), 7);
    for (int index = 0; index < 7; ++index)
    {
        const auto& [name, normalizedDefault, text] = table[static_cast<std::size_t>(index)];
        EXPECT_EQ(plugIn.getParameterName(index), name);
        EXPECT_EQ(plugIn.getParameterID(index), name);
        EXPECT_FLOAT_EQ(plugIn.getParameterDefaultValue(index), normalizedDefault);
        EXPECT_FLOAT_EQ(plugIn.getParameter(index), normalizedDefault);
        EXPECT_EQ(plugIn.getParameterText(index), text);
        EXPECT_EQ(plugIn.getInternalParameterId(index), index);
    }
    EXPECT_EQ(plugIn.getName(), "Orvotech Kalim");
    EXPECT_EQ(plugIn.getShortName(), "Kalim");
    EXPECT_EQ(plugIn.getVersionCode(), 0x10801);
}

TEST(KalimAudioProcessor, toleratesIndicesOutOfRange)
{
    KalimAudioProcessor plugIn;
    const std::vector<float> before = valuesOf(plugIn);
    for (const int index : {-1, 7, std::numeric_limits<int>::max()})
    {
        EXPECT_EQ(plugIn.getParameter(index), -1.0F);
        EXPECT_EQ(plugIn.getParameterDefaultValue(index), 0.0F);
        EXPECT_EQ(plugIn.getParameterName(index) + plugIn.getParameterText(index), "");
        plugIn.setParameter(index, 1.0F);
        plugIn.resetParameter(index, true);
    }
    EXPECT_EQ(plugIn.getProgramName(-1), "");
    EXPECT_EQ(plugIn.getProgramName(plugIn.getNumPrograms()), "");
    EXPECT_EQ(plugIn.findPublicParameterIndex(99), -1);
    plugIn.notifyInternalParameterChange(99);
    EXPECT_EQ(valuesOf(plugIn), before);
}

TEST(KalimAudioProcessor, reportsItsLatencyAndPutsTheInputOutThatMuchLater)
{
    for (const auto& [aggressive, sampleRate, expected] :
         {std::tuple{false, 44100.0, 2048}, {false, 48000.0, 2048}, {true, 48000.0, 0}})
    {
        KalimAudioProcessor plugIn;
        plugIn.getBaseProcessor()->setParameterValue(Kalimmer::NumberOfHarmonics, 0.0F, false);
        plugIn.getBaseProcessor()->setParameterValue(Kalimmer::AggressiveMode,
                                                     aggressive ? 1.0F : 0.0F, false);
        plugIn.prepareToPlay(sampleRate, 441);
        const int latency = plugIn.getLatencySamples();
        EXPECT_EQ(latency, expected);
        const Signal32 ramp = testing_support::makeRamp(2, 20 * 441);
        EXPECT_TRUE(testing_support::isDelayed(play(plugIn, ramp, {441}), ramp, latency));
    }
}

TEST(KalimAudioProcessor, takesEqualLayoutsOfUpToEightChannels)
{
    const KalimAudioProcessor plugIn;
    using Set = juce::AudioChannelSet;
    for (const Set& set : {Set::mono(), Set::stereo(), Set::create7point1()})
        EXPECT_TRUE(plugIn.isBusesLayoutSupported({{set}, {set}}));
    for (const Set& set : {Set::disabled(), Set::discreteChannels(9)})
        EXPECT_FALSE(plugIn.isBusesLayoutSupported({{set}, {set}}));
    EXPECT_FALSE(plugIn.isBusesLayoutSupported({{Set::mono()}, {Set::stereo()}}));
    EXPECT_FALSE(plugIn.isBusesLayoutSupported({{Set::stereo(), Set::stereo()}, {Set::stereo()}}));
}

TEST(SettingsRecord, hasTheBytesThatOthersExpectAndBringsEverythingBackBitForBit)
{
    KalimAudioProcessor saved;
    changeEverything(saved);
    saved.setCurrentPresetName(juce::String::fromUTF8("Brumm \xc3\xbc"));
    EXPECT_EQ(stateOf(saved), makeRecord(valuesOf(saved), "Brumm \xc3\xbc"));

    KalimAudioProcessor restored;
    const Witness told(restored);
    restore(restored, stateOf(saved));
    EXPECT_EQ(valuesOf(restored), valuesOf(saved));
    EXPECT_EQ(restored.getCurrentPresetName(), saved.getCurrentPresetName());
    EXPECT_EQ(told.editor, std::vector{-1});
}

TEST(SettingsRecord, survivesEveryTruncationAndKeepsWhatWasThere)
{
    KalimAudioProcessor saved;
    changeEverything(saved);
    saved.setCurrentPresetName("Mine");
    const juce::MemoryBlock whole = stateOf(saved);
    for (std::size_t size = 0; size < whole.getSize(); ++size)
    {
        KalimAudioProcessor plugIn;
        std::vector<float> expected = valuesOf(plugIn);
        plugIn.setCurrentPresetName("Before");
        plugIn.setStateInformation(whole.getData(), static_cast<int>(size));
        // Entries are read from 8 n + 4 bytes on; what is then missing reads as id 0 with value 0.
        if (size >= 7 * 8 + 4)
        {
            const std::size_t numWhole = std::min<std::size_t>((size - 16) / 8, 7);
            const std::vector<float> values = valuesOf(saved);
            std::copy_n(values.begin(), numWhole, expected.begin());
            if (numWhole < 7)
                expected[0] = 40.0F;
        }
        // An entry that is cut in two may have any value.
        const bool isCut = size >= 7 * 8 + 4 && size < 16 + 7 * 8 && (size - 16) % 8 != 0;
        EXPECT_TRUE(isCut || valuesOf(plugIn) == expected) << size;
        const bool mayHaveName = size > 16 + 7 * 8 + 8;
        EXPECT_TRUE(mayHaveName || plugIn.getCurrentPresetName() == "Before") << size;
    }
}

TEST(SettingsRecord, refusesWhatIsForeignAndStopsAtUnknownIds)
{
    const std::vector<float> defaults = valuesOf(*std::make_unique<KalimAudioProcessor>());
    const std::vector<float> values{70.0F, 1.0F, 2.0F, 3.0F, 1.0F, 1.0F, 1.0F};
    const auto afterWriting = [&](auto value, std::size_t position)
    {
        juce::MemoryBlock record = makeRecord(values);
        record.copyFrom(&value, static_cast<int>(position), sizeof(value));
        KalimAudioProcessor plugIn;
        restore(plugIn, record);
        return valuesOf(plugIn);
    };
    EXPECT_EQ(afterWriting('X', 0), defaults);
    EXPECT_EQ(afterWriting('X', 4), defaults);
    EXPECT_EQ(afterWriting('c', 8), values); // any version
    for (const std::int32_t count : {0, -1, 0x7fffffff, std::numeric_limits<std::int32_t>::min()})
        EXPECT_EQ(afterWriting(count, 12), defaults) << count;
    auto expected = values;
    expected[0] = 40.0F; // by an entry beyond the end: id 0 and value 0, which is limited
    EXPECT_EQ(afterWriting('\x08', 12), expected);
    expected = defaults;
    expected[0] = values[0];
    expected[1] = values[1];
    EXPECT_EQ(afterWriting('\x4d', 16 + 2 * 8), expected);
}

TEST(SettingsRecord, saysWhetherItWasReadAndLeavesTheRestOfTheStream)
{
    KalimAudioProcessor plugIn;
    plugIn.setCurrentPresetName("Before");
    const auto read = [&](const juce::MemoryBlock& bytes)
    {
        juce::MemoryInputStream stream(bytes, false);
        const bool isRead = plugIn.setParameterSettings(stream);
        return std::pair{isRead, static_cast<int>(stream.getPosition())};
    };
    juce::MemoryBlock record = makeRecord(std::vector<float>(7, 1.0F));
    constexpr int end = 16 + 7 * 8;
    EXPECT_EQ(read(record), std::pair(true, end));
    record.append("what follows", 12);
    EXPECT_EQ(read(record), std::pair(true, end));
    EXPECT_EQ(plugIn.getCurrentPresetName(), "Before");
    record[16] = 77;
    EXPECT_FALSE(read(record).first);
    record[0] = 'X';
    EXPECT_FALSE(read(record).first);
}

TEST(SettingsRecord, makesTextOfANameThatIsNone)
{
    KalimAudioProcessor plugIn;
    restore(plugIn, makeRecord({}, "a\xff\xe2"));
    const juce::String name = plugIn.getCurrentPresetName();
    EXPECT_TRUE(name.startsWith("a"));
    EXPECT_TRUE(juce::CharPointer_UTF8::isValidString(name.toRawUTF8(),
                                                      static_cast<int>(name.getNumBytesAsUTF8())));
}

TEST(SettingsRecord, takesValuesThatAreNoNumbersWithoutHarm)
{
    const float notANumber = std::numeric_limits<float>::quiet_NaN();
    for (const float aggressive : {0.0F, 1.0F})
    {
        KalimAudioProcessor plugIn;
        restore(plugIn, makeRecord({notANumber, notANumber, notANumber, 20.0F, 0.0F, aggressive}));
        plugIn.prepareToPlay(48000.0, 512);
        const Signal32 output =
            play(plugIn, testing_support::makeTone(50.4, 1.0, 48000.0, 0.43, 2), {512});
        EXPECT_TRUE(testing_support::isFinite(output));
        EXPECT_GT(testing_support::peakOf(output), 0.0F);
    }
}

TEST(Parameters, tellTheHostOfWhatItDidNotSetAndTheProcessorOnlyWithoutAnEditor)
{
    KalimAudioProcessor plugIn;
    const Witness told(plugIn);
    plugIn.setParameter(2, 0.5F);
    EXPECT_EQ(told.engine, std::vector{2});
    EXPECT_EQ(told.editor, std::vector{2});
    {
        const BasePlugInProcessor::OpenEditor editor(plugIn);
        plugIn.setParameter(2, 0.25F);
        plugIn.resetParameter(1, false);
    }
    EXPECT_EQ(told.engine, std::vector{2});
    EXPECT_TRUE(told.host.empty());

    plugIn.resetParameter(2, true);
    plugIn.getBaseProcessor()->setParameterValue(0, 63.0F, false);
    plugIn.notifyInternalParameterChange(0);
    EXPECT_EQ(told.host, (std::vector<std::pair<int, float>>{{2, 0.1875F}, {0, 0.05F}}));
    EXPECT_EQ(told.editor, (std::vector{2, 2})); // not of resetting
}

TEST(History, goesBackAndForth)
{
    KalimAudioProcessor plugIn;
    const auto fundamental = [&] { return plugIn.getBaseProcessor()->getParameterValue(0); };
    const auto change = [&](float value)
    {
        plugIn.addUndoState();
        plugIn.getBaseProcessor()->setParameterValue(0, value, false);
    };
    plugIn.undo();
    plugIn.redo();
    EXPECT_EQ(fundamental(), 50.0F);
    change(60.0F);
    change(70.0F);
    plugIn.undo();
    EXPECT_EQ(fundamental(), 60.0F);
    plugIn.undo();
    EXPECT_EQ(fundamental(), 50.0F);
    EXPECT_FALSE(plugIn.canUndo());
    plugIn.redo();
    plugIn.redo();
    EXPECT_EQ(fundamental(), 70.0F);
    plugIn.undo();
    change(80.0F);
    EXPECT_FALSE(plugIn.canRedo());
}

TEST(AlternateSettings, swapAndArmThemselvesAtTheFirstSwitch)
{
    KalimAudioProcessor plugIn;
    const auto fundamental = [&] { return plugIn.getBaseProcessor()->getParameterValue(0); };
    plugIn.switchToAlternateSettings();
    EXPECT_EQ(fundamental(), 50.0F);
    plugIn.getBaseProcessor()->setParameterValue(0, 60.0F, false);
    plugIn.switchToAlternateSettings();
    EXPECT_EQ(fundamental(), 50.0F);
    plugIn.switchToAlternateSettings();
    EXPECT_EQ(fundamental(), 60.0F);
    plugIn.copyToAlternate();
    plugIn.getBaseProcessor()->setParameterValue(0, 70.0F, false);
    plugIn.switchToAlternateSettings();
    EXPECT_EQ(fundamental(), 60.0F);
    plugIn.clearSettings();
    EXPECT_EQ(fundamental(), 50.0F);
}

TEST(Programs, areNotChangedRightAfterAStateWasRestored)
{
    KalimAudioProcessor plugIn;
    restore(plugIn, stateOf(plugIn));
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
