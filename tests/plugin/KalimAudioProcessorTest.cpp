#include "plugin/KalimAudioProcessor.h"

#include "dsp/hum/Kalimmer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

namespace
{

using orvo::audio::Kalimmer;

struct CountingListener : BasePlugInProcessor::Listener
{
    void parameterChanged(int index) override { indices.push_back(index); }

    std::vector<int> indices;
};

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

std::vector<float> valuesOf(KalimAudioProcessor& plugIn)
{
    std::vector<float> values;
    for (int id = 0; id < 7; ++id)
        values.push_back(plugIn.getBaseProcessor()->getParameterValue(id));
    return values;
}

void changeEverything(KalimAudioProcessor& plugIn)
{
    const std::array values{61.7F, 12.3F, 4.56F, 33.0F, 1.0F, 1.0F, 1.0F};
    for (int id = 0; id < 7; ++id)
        plugIn.getBaseProcessor()->setParameterValue(id, values[static_cast<std::size_t>(id)],
                                                     false);
}

/// Appends a number as the bytes that it has in memory on a little-endian machine.
template <typename T>
void append(std::vector<char>& bytes, T value)
{
    bytes.resize(bytes.size() + sizeof(T));
    std::memcpy(bytes.data() + bytes.size() - sizeof(T), &value, sizeof(T));
}

/// A record made by hand.
std::vector<char> makeRecord(const std::vector<float>& values)
{
    std::vector<char> bytes{'O', 'V', 'R', 'O', 'N', 'R', 'V', 'Q'};
    append(bytes, std::int32_t{0x10801});
    append(bytes, static_cast<std::int32_t>(values.size()));
    for (std::size_t id = 0; id < values.size(); ++id)
    {
        append(bytes, static_cast<std::int32_t>(id));
        append(bytes, values[id]);
    }
    return bytes;
}

void restore(KalimAudioProcessor& plugIn, const std::vector<char>& bytes)
{
    plugIn.setStateInformation(bytes.data(), static_cast<int>(bytes.size()));
}

} // namespace

TEST(KalimAudioProcessor, showsItsSevenParameters)
{
    struct Row
    {
        const char* name;
        float normalizedDefault;
        const char* text;
    };

    const std::array<Row, 7> table{{{"FundamentalFrequency", 10.0F / 460.0F, "50.00 Hz"},
                                    {"Sensitivity", 0.3F, "30.00 %"},
                                    {"Adaptivity", 0.1875F, "15.00 Hz/s"},
                                    {"NumberOfHarmonics", 1.0F / 96.0F, "1.00 "},
                                    {"OnlyOddHarmonics", 0.0F, "Off "},
                                    {"AggressiveMode", 0.0F, "Off "},
                                    {"ResidualMode", 0.0F, "Off "}}};
    KalimAudioProcessor plugIn;
    ASSERT_EQ(plugIn.getNumParameters(), 7);
    for (int index = 0; index < 7; ++index)
    {
        const Row& row = table[static_cast<std::size_t>(index)];
        EXPECT_EQ(plugIn.getParameterName(index), row.name);
        EXPECT_EQ(plugIn.getParameterID(index), row.name);
        EXPECT_FLOAT_EQ(plugIn.getParameterDefaultValue(index), row.normalizedDefault);
        EXPECT_FLOAT_EQ(plugIn.getParameter(index), row.normalizedDefault);
        EXPECT_EQ(plugIn.getParameterText(index), row.text);
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
        juce::MidiBuffer midi;
        for (int block = 0; block < 20; ++block)
        {
            juce::AudioBuffer<float> buffer(2, 441);
            for (int n = 0; n < 441; ++n)
                buffer.setSample(1, n, static_cast<float>(block * 441 + n + 1));
            plugIn.processBlock(buffer, midi);
            for (int n = 0; n < 441; ++n)
                ASSERT_EQ(buffer.getSample(1, n),
                          std::max(static_cast<float>(block * 441 + n + 1 - latency), 0.0F));
        }
    }
}

TEST(KalimAudioProcessor, takesEqualLayoutsOfUpToEightChannels)
{
    const KalimAudioProcessor plugIn;
    const auto isSupported = [&](const juce::AudioChannelSet& in, const juce::AudioChannelSet& out)
    {
        juce::AudioProcessor::BusesLayout layout;
        layout.inputBuses.add(in);
        layout.outputBuses.add(out);
        return plugIn.isBusesLayoutSupported(layout);
    };
    using Set = juce::AudioChannelSet;
    EXPECT_TRUE(isSupported(Set::mono(), Set::mono()));
    EXPECT_TRUE(isSupported(Set::stereo(), Set::stereo()));
    EXPECT_TRUE(isSupported(Set::create7point1(), Set::create7point1()));
    EXPECT_FALSE(isSupported(Set::mono(), Set::stereo()));
    EXPECT_FALSE(isSupported(Set::disabled(), Set::disabled()));
    EXPECT_FALSE(isSupported(Set::discreteChannels(9), Set::discreteChannels(9)));
    juce::AudioProcessor::BusesLayout twoInputs;
    twoInputs.inputBuses.addArray({Set::stereo(), Set::stereo()});
    twoInputs.outputBuses.add(Set::stereo());
    EXPECT_FALSE(plugIn.isBusesLayoutSupported(twoInputs));
}

TEST(SettingsRecord, hasTheBytesThatOthersExpect)
{
    KalimAudioProcessor plugIn;
    changeEverything(plugIn);
    plugIn.setCurrentPresetName(juce::String::fromUTF8("Brumm \xc3\xbc"));
    std::vector<char> expected = makeRecord(valuesOf(plugIn));
    append(expected, std::uint64_t{0x8704AF4A0943473E});
    for (const char character : {'B', 'r', 'u', 'm', 'm', ' ', '\xc3', '\xbc', '\0'})
        expected.push_back(character);
    const juce::MemoryBlock block = stateOf(plugIn);
    ASSERT_EQ(block.getSize(), expected.size());
    EXPECT_EQ(std::memcmp(block.getData(), expected.data(), expected.size()), 0);
}

TEST(SettingsRecord, bringsEverythingBackBitForBit)
{
    KalimAudioProcessor saved;
    changeEverything(saved);
    saved.setCurrentPresetName("Mine");
    KalimAudioProcessor restored;
    CountingListener listener;
    restored.addListener(&listener);
    restore(restored, stateOf(saved));
    EXPECT_EQ(valuesOf(restored), valuesOf(saved));
    EXPECT_EQ(restored.getCurrentPresetName(), "Mine");
    EXPECT_EQ(listener.indices, std::vector{-1});
    restored.removeListener(&listener);
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
        const std::vector<float> defaults = valuesOf(plugIn);
        plugIn.setCurrentPresetName("Before");
        plugIn.setStateInformation(whole.getData(), static_cast<int>(size));
        // Entries are read from 8 n + 4 bytes on; what is then missing reads as id 0 with value 0.
        std::vector<float> expected = defaults;
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
    const auto afterLoading = [&](auto change)
    {
        std::vector<char> record = makeRecord(values);
        change(record);
        KalimAudioProcessor plugIn;
        restore(plugIn, record);
        return valuesOf(plugIn);
    };
    EXPECT_EQ(afterLoading([](auto&) {}), values);
    EXPECT_EQ(afterLoading([](auto& bytes) { bytes[0] = 'X'; }), defaults);
    EXPECT_EQ(afterLoading([](auto& bytes) { bytes[4] = 'X'; }), defaults);
    EXPECT_EQ(afterLoading([](auto& bytes) { bytes[8] = 99; }), values); // any version
    for (const std::int32_t count : {0, -1, 0x7fffffff, std::numeric_limits<std::int32_t>::min()})
        EXPECT_EQ(afterLoading([=](auto& bytes) { std::memcpy(bytes.data() + 12, &count, 4); }),
                  defaults)
            << count;
    auto expected = values;
    expected[0] = 40.0F; // by an entry beyond the end: id 0 and value 0, which is limited
    EXPECT_EQ(afterLoading([](auto& bytes) { bytes[12] = 8; }), expected);
    expected = defaults;
    expected[0] = values[0];
    expected[1] = values[1];
    EXPECT_EQ(afterLoading([](auto& bytes) { bytes[16 + 2 * 8] = 77; }), expected);
}

TEST(SettingsRecord, saysWhetherItWasReadAndLeavesTheRestOfTheStream)
{
    KalimAudioProcessor plugIn;
    plugIn.setCurrentPresetName("Before");
    const auto read = [&](const std::vector<char>& bytes)
    {
        juce::MemoryInputStream stream(bytes.data(), bytes.size(), false);
        const bool isRead = plugIn.setParameterSettings(stream);
        return std::pair{isRead, static_cast<int>(stream.getPosition())};
    };
    std::vector<char> record = makeRecord(std::vector<float>(7, 1.0F));
    constexpr int end = 16 + 7 * 8;
    EXPECT_EQ(read(record), std::pair(true, end));
    for (int i = 0; i < 12; ++i)
        record.push_back('x');
    EXPECT_EQ(read(record), std::pair(true, end)); // what follows is not ours
    EXPECT_EQ(plugIn.getCurrentPresetName(), "Before");
    record[16] = 77;
    EXPECT_FALSE(read(record).first);
    record[0] = 'X';
    EXPECT_FALSE(read(record).first);
}

TEST(SettingsRecord, makesTextOfANameThatIsNone)
{
    KalimAudioProcessor plugIn;
    std::vector<char> record = makeRecord({});
    append(record, std::uint64_t{0x8704AF4A0943473E});
    for (const char character : {'a', '\xff', '\xe2', '\0'})
        record.push_back(character);
    restore(plugIn, record);
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
        juce::AudioBuffer<float> buffer(2, 512);
        juce::MidiBuffer midi;
        float level = 0.0F;
        for (int block = 0; block < 40; ++block)
        {
            for (int n = 0; n < 512; ++n)
                for (int channel = 0; channel < 2; ++channel)
                    buffer.setSample(channel, n,
                                     std::sin(static_cast<float>(block * 512 + n) * 0.0066F));
            plugIn.processBlock(buffer, midi);
            for (int n = 0; n < 512; ++n)
                ASSERT_TRUE(std::isfinite(buffer.getSample(0, n)));
            level = std::max(level, buffer.getMagnitude(0, 512));
        }
        EXPECT_GT(level, 0.0F);
    }
}

TEST(Parameters, tellTheHostOfWhatItDidNotSetAndTheProcessorOnlyWithoutAnEditor)
{
    struct Host : juce::AudioProcessorListener
    {
        void audioProcessorParameterChanged(juce::AudioProcessor*, int index, float value) override
        {
            told.emplace_back(index, value);
        }

        void audioProcessorChanged(juce::AudioProcessor*, const ChangeDetails&) override {}

        std::vector<std::pair<int, float>> told;
    };

    struct Engine : orvo::audio::BaseAudioProcessor::Listener
    {
        void parameterChanged(int index, float) override { indices.push_back(index); }

        void stateLoaded() override {}

        void formatChanged(const orvo::audio::AudioFormat&,
                           const orvo::audio::AudioFormat&) override
        {
        }

        std::vector<int> indices;
    };

    KalimAudioProcessor plugIn;
    Host host;
    Engine engine;
    CountingListener listener;
    plugIn.juce::AudioProcessor::addListener(&host);
    plugIn.getBaseProcessor()->addListener(&engine);
    plugIn.addListener(&listener);

    plugIn.setParameter(2, 0.5F);
    EXPECT_EQ(engine.indices, std::vector{2});
    EXPECT_EQ(listener.indices, std::vector{2});
    {
        const BasePlugInProcessor::OpenEditor editor(plugIn);
        plugIn.setParameter(2, 0.25F);
        plugIn.resetParameter(1, false);
    }
    EXPECT_EQ(engine.indices, std::vector{2});
    EXPECT_TRUE(host.told.empty());

    plugIn.resetParameter(2, true);
    plugIn.getBaseProcessor()->setParameterValue(0, 63.0F, false);
    plugIn.notifyInternalParameterChange(0);
    EXPECT_EQ(host.told, (std::vector<std::pair<int, float>>{{2, 0.1875F}, {0, 0.05F}}));
    EXPECT_EQ(listener.indices, (std::vector{2, 2})); // not of resetting

    plugIn.removeListener(&listener);
    plugIn.getBaseProcessor()->removeListener(&engine);
    plugIn.juce::AudioProcessor::removeListener(&host);
}

TEST(PlugIn, handsTheBypassOn)
{
    KalimAudioProcessor plugIn;
    plugIn.setParameter(Kalimmer::AggressiveMode, 1.0F);
    plugIn.setParameter(Kalimmer::ResidualMode, 1.0F);
    plugIn.prepareToPlay(48000.0, 64);
    juce::MidiBuffer midi;
    juce::AudioBuffer<float> buffer(2, 64);
    const auto isUntouched = [&](auto process)
    {
        for (int n = 0; n < 64; ++n)
            buffer.setSample(0, n, static_cast<float>(n));
        (plugIn.*process)(buffer, midi);
        return buffer.getSample(0, 63) == 63.0F;
    };
    using Process = void (KalimAudioProcessor::*)(juce::AudioBuffer<float>&, juce::MidiBuffer&);
    EXPECT_TRUE(isUntouched(Process{&KalimAudioProcessor::processBlockBypassed}));
    EXPECT_FALSE(isUntouched(Process{&KalimAudioProcessor::processBlock}));
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
    CountingListener listener;
    plugIn.addListener(&listener);
    plugIn.setCurrentProgram(3);
    EXPECT_EQ(plugIn.getCurrentProgram(), 3);
    EXPECT_EQ(plugIn.getCurrentPresetName(), plugIn.getProgramName(3));
    EXPECT_TRUE(plugIn.canUndo());
    EXPECT_EQ(listener.indices, (std::vector{-1, -1})); // of the preset's file and of the change
    plugIn.removeListener(&listener);
}
