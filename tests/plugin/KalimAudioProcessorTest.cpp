#include "plugin/KalimAudioProcessor.h"

#include "dsp/hum/Kalimmer.h"
#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace
{

using orvo::audio::Kalimmer;
using testing_support::valuesOf;
using testing_support::Witness;

const std::vector<float> defaults{50.0F, 30.0F, 15.0F, 1.0F, 0.0F, 0.0F, 0.0F};
const std::vector<float> others{61.7F, 12.3F, 4.56F, 33.0F, 1.0F, 1.0F, 1.0F};

juce::MemoryBlock stateOf(KalimAudioProcessor& plugIn)
{
    juce::MemoryBlock block;
    plugIn.getStateInformation(block);
    return block;
}

/// Where a record's reading ends, or -1 where it is refused.
int restore(KalimAudioProcessor& plugIn, const juce::MemoryBlock& block)
{
    juce::MemoryInputStream stream(block, false);
    return plugIn.setParameterSettings(stream) ? static_cast<int>(stream.getPosition()) : -1;
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

TEST(KalimAudioProcessor, showsItsSevenParametersAndNothingBeyondThem)
{
    const std::array texts{"50.00 Hz", "30.00 %", "15.00 Hz/s", "1.00 ", "Off ", "Off ", "Off "};
    KalimAudioProcessor plugIn;
    ASSERT_EQ(plugIn.getNumParameters(), 7);
    for (const auto& row : orvo::audio::humParameters)
    {
        const float normalized = (row.defaultValue - row.min) / (row.max - row.min);
        EXPECT_EQ(plugIn.getParameterName(row.id), row.name);
        EXPECT_EQ(plugIn.getParameterID(row.id), row.name);
        EXPECT_FLOAT_EQ(plugIn.getParameterDefaultValue(row.id), normalized);
        EXPECT_FLOAT_EQ(plugIn.getParameter(row.id), normalized);
        EXPECT_EQ(plugIn.getParameterText(row.id), texts.at(static_cast<std::size_t>(row.id)));
        EXPECT_EQ(plugIn.getInternalParameterId(row.id), row.id);
        EXPECT_EQ(plugIn.findPublicParameterIndex(row.id), row.id);
    }
    for (const int index : {-1, 7, std::numeric_limits<int>::max()})
    {
        EXPECT_EQ(plugIn.getParameter(index), -1.0F);
        EXPECT_EQ(plugIn.getParameterDefaultValue(index), 0.0F);
        EXPECT_EQ(plugIn.getParameterName(index) + plugIn.getParameterText(index), "");
        EXPECT_EQ(plugIn.findPublicParameterIndex(index), -1);
        EXPECT_EQ(plugIn.findPublicParameter(index), nullptr);
        plugIn.setParameter(index, 1.0F);
        plugIn.resetParameter(index, true);
        plugIn.notifyInternalParameterChange(index);
    }
    EXPECT_EQ(valuesOf(plugIn), defaults);
    EXPECT_EQ(plugIn.getName(), "Orvotech Kalim");
    EXPECT_EQ(plugIn.getShortName(), "Kalim");
    EXPECT_EQ(plugIn.getVersionCode(), 0x10801);
}

TEST(KalimAudioProcessor, opensTheEditorThatItIsGiven)
{
    KalimAudioProcessor plugIn(
        [](BasePlugInProcessor& owner)
        { return std::make_unique<juce::GenericAudioProcessorEditor>(owner); });
    const std::unique_ptr<juce::AudioProcessorEditor> editor(plugIn.createEditor());
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(editor->getAudioProcessor(), &plugIn);
    EXPECT_EQ(KalimAudioProcessor().createEditor(), nullptr);
}

TEST(ParameterDescription, mapsAlsoLogarithmicallyAndShowsSwitchesFromAHalfOn)
{
    const auto processor = std::make_shared<Kalimmer>();
    const auto describe = [&](float interval, int mode)
    {
        return std::make_unique<ParameterDescription>(
            processor, Kalimmer::FundamentalFrequency, "Name", "", interval,
            static_cast<ParameterDescription::ParameterMappingMode>(mode));
    };
    const auto linear = describe(460.0F, ParameterDescription::Linear);
    const auto logarithmic = describe(1.0F, ParameterDescription::Logarithmic);
    EXPECT_FLOAT_EQ(logarithmic->getNormalizedParameterValue(), std::log(1.25F) / std::log(12.5F));
    linear->setNormalizedParameterValue(0.25F, false);
    EXPECT_FLOAT_EQ(linear->getNaturalValue(), 155.0F);
    EXPECT_EQ(linear->getText(), "On ");
    linear->setNormalizedParameterValue(7.0F, false); // limited by the processor, not here
    EXPECT_FLOAT_EQ(linear->getNaturalValue(), 500.0F);
    logarithmic->setNormalizedParameterValue(0.5F, false);
    EXPECT_FLOAT_EQ(logarithmic->getNaturalValue(), std::sqrt(40.0F * 500.0F));
    EXPECT_EQ(logarithmic->getText(), "141.42 ");
    EXPECT_FLOAT_EQ(logarithmic->getDefaultValue(), 50.0F);
    EXPECT_THROW(describe(1.0F, 2), std::runtime_error);
    processor->setParameterValue(Kalimmer::Sensitivity, 0.5F, false);
    EXPECT_EQ(ParameterDescription(processor, Kalimmer::Sensitivity, "Name", "%", 100.0F,
                                   ParameterDescription::Linear)
                  .getText(),
              "Off %");
}

TEST(SettingsRecord, hasTheBytesThatOthersExpectAndBringsEverythingBackBitForBit)
{
    KalimAudioProcessor saved;
    for (int id = 0; id < 7; ++id)
        saved.getBaseProcessor()->setParameterValue(id, others[static_cast<std::size_t>(id)],
                                                    false);
    saved.setCurrentPresetName(juce::String::fromUTF8("Brumm \xc3\xbc"));
    EXPECT_EQ(stateOf(saved), makeRecord(others, "Brumm \xc3\xbc"));

    KalimAudioProcessor restored;
    const Witness told(restored);
    restored.setStateInformation(stateOf(saved).getData(),
                                 static_cast<int>(stateOf(saved).getSize()));
    EXPECT_EQ(stateOf(restored), stateOf(saved));
    EXPECT_EQ(told.editor, std::vector{-1});
}

TEST(SettingsRecord, survivesEveryTruncationAndKeepsWhatWasThere)
{
    const juce::MemoryBlock whole = makeRecord(others, "Mine");
    constexpr std::size_t end = 16 + 7 * 8;
    for (std::size_t size = 0; size < whole.getSize(); ++size)
    {
        KalimAudioProcessor plugIn;
        plugIn.setCurrentPresetName("Before");
        restore(plugIn, juce::MemoryBlock(whole.getData(), size));
        EXPECT_TRUE(size > end + 8 || plugIn.getCurrentPresetName() == "Before") << size;
        // Entries are read from 8 n + 4 bytes on; what is then missing reads as id 0 with value 0.
        const std::size_t numWhole =
            size < 7 * 8 + 4 ? 0 : std::min<std::size_t>((size - 16) / 8, 7);
        std::vector<float> expected = defaults;
        std::copy_n(others.begin(), numWhole, expected.begin());
        if (numWhole > 0 && numWhole < 7)
            expected[0] = 40.0F;
        const bool isCut = numWhole > 0 && numWhole < 7 && size % 8 != 0; // within an entry
        EXPECT_TRUE(isCut || valuesOf(plugIn) == expected) << size;
    }
}

TEST(SettingsRecord, refusesWhatIsForeignAndLeavesTheRestOfTheStream)
{
    const std::vector<float> limited{40.0F, 12.3F, 4.56F, 33.0F, 1.0F, 1.0F, 1.0F};
    const std::vector<float> started{61.7F, 12.3F, 15.0F, 1.0F, 0.0F, 0.0F, 0.0F};
    constexpr int end = 16 + 7 * 8;

    struct Change
    {
        int position;
        std::int32_t number;
        std::vector<float> values;
        int readTo;
    };

    constexpr std::int32_t smallest = std::numeric_limits<std::int32_t>::min();
    for (const auto& [position, number, values, readTo] :
         {Change{0, 0x4f525658, defaults, -1}, Change{4, 0x5156524f, defaults, -1},
          Change{8, 99, others, end}, // any version
          Change{12, 0, defaults, 16}, Change{12, -1, defaults, 16},
          Change{12, 0x7fffffff, defaults, 16}, Change{12, smallest, defaults, 16},
          Change{12, 8, limited, end},          // by an entry beyond the end: id 0 with value 0
          Change{16 + 2 * 8, 77, started, -1}}) // an id that there is not
    {
        juce::MemoryBlock record = makeRecord(others);
        record.copyFrom(&number, position, sizeof(number));
        KalimAudioProcessor plugIn;
        EXPECT_EQ(restore(plugIn, record), readTo) << position << ": " << number;
        EXPECT_EQ(valuesOf(plugIn), values) << position << ": " << number;
        EXPECT_EQ(plugIn.getCurrentPresetName(), "Reset");
    }
    juce::MemoryBlock followed = makeRecord(others);
    followed.append("what follows", 12);
    KalimAudioProcessor plugIn;
    EXPECT_EQ(restore(plugIn, followed), end);
    restore(plugIn, makeRecord({}, "a\xff\xe2"));
    const juce::String name = plugIn.getCurrentPresetName(); // text also where that was none
    EXPECT_TRUE(juce::CharPointer_UTF8::isValidString(name.toRawUTF8(),
                                                      static_cast<int>(name.getNumBytesAsUTF8())));
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

TEST(History, goesBackAndForthAndSwitchesBetweenTwoSettings)
{
    KalimAudioProcessor plugIn;
    const auto set = [&](float value)
    { plugIn.getBaseProcessor()->setParameterValue(0, value, false); };
    const auto change = [&](float value)
    {
        plugIn.addUndoState();
        set(value);
    };
    const auto after = [&](auto action)
    {
        (plugIn.*action)();
        return plugIn.getBaseProcessor()->getParameterValue(0);
    };
    using PlugIn = BasePlugInProcessor;
    EXPECT_EQ(after(&PlugIn::undo), 50.0F);
    EXPECT_EQ(after(&PlugIn::redo), 50.0F);
    change(60.0F);
    change(70.0F);
    for (const float expected : {60.0F, 50.0F, 50.0F})
        EXPECT_EQ(after(&PlugIn::undo), expected);
    EXPECT_FALSE(plugIn.canUndo());
    for (const float expected : {60.0F, 70.0F, 70.0F})
        EXPECT_EQ(after(&PlugIn::redo), expected);
    EXPECT_EQ(after(&PlugIn::undo), 60.0F);
    change(80.0F);
    EXPECT_FALSE(plugIn.canRedo());

    EXPECT_EQ(after(&PlugIn::switchToAlternateSettings), 80.0F); // there are no others yet
    set(90.0F);
    for (const float expected : {80.0F, 90.0F})
        EXPECT_EQ(after(&PlugIn::switchToAlternateSettings), expected);
    plugIn.copyToAlternate();
    set(100.0F);
    EXPECT_EQ(after(&PlugIn::switchToAlternateSettings), 90.0F);
    EXPECT_EQ(after(&PlugIn::clearSettings), 50.0F);
}

TEST(Programs, areNotChangedRightAfterAStateWasRestored)
{
    KalimAudioProcessor plugIn;
    const juce::MemoryBlock state = stateOf(plugIn);
    plugIn.setStateInformation(state.getData(), static_cast<int>(state.getSize()));
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
