#include "tests/plugin/HostSide.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace
{

using testing_support::areIdentical;
using testing_support::cut;
using testing_support::isDelayed;
using testing_support::Signal32;
using Instance = std::unique_ptr<juce::AudioPluginInstance>;

constexpr double sampleRate = 48000.0;
constexpr int largestBlock = 512;

/// Normalised values by name.
using Values = std::map<juce::String, float>;

/// One of the formats reports its latency over the message thread.
int getReportedLatency(const juce::AudioPluginInstance& instance)
{
    juce::MessageManager::getInstance()->runDispatchLoopUntil(20);
    return instance.getLatencySamples();
}

/// A host of one plug-in format, with our bundle as all that it finds.
class Host
{
public:
    explicit Host(bool isLv2)
        : bundle(isLv2 ? KALIM_LV2_BUNDLE : KALIM_VST3_BUNDLE)
    {
        if (isLv2)
            format = std::make_unique<juce::LV2PluginFormat>();
        else
            format = std::make_unique<juce::VST3PluginFormat>();
        const juce::FileSearchPath folder(bundle.getParentDirectory().getFullPathName());
        for (const juce::String& found : format->searchPathsForPlugins(folder, true, false))
            format->findAllTypesForFile(descriptions, found);
    }

    const juce::OwnedArray<juce::PluginDescription>& getDescriptions() const
    {
        return descriptions;
    }

    Instance load()
    {
        juce::String error;
        Instance instance = format->createInstanceFromDescription(*descriptions[0], sampleRate,
                                                                  largestBlock, error);
        EXPECT_NE(instance, nullptr) << error;
        return instance;
    }

private:
    juce::File bundle;
    std::unique_ptr<juce::AudioPluginFormat> format;
    juce::OwnedArray<juce::PluginDescription> descriptions;
};

/// Formats sort their parameters differently and add some of their own.
juce::AudioProcessorParameter* find(juce::AudioPluginInstance& instance, const juce::String& name)
{
    for (juce::AudioProcessorParameter* parameter : instance.getParameters())
        if (parameter->getName(100) == name)
            return parameter;
    ADD_FAILURE() << "No parameter " << name;
    return nullptr;
}

/// Formats number programs differently.
int findProgram(juce::AudioPluginInstance& instance, const juce::String& name)
{
    for (int program = 0; program < instance.getNumPrograms(); ++program)
        if (instance.getProgramName(program) == name)
            return program;
    ADD_FAILURE() << "No program " << name;
    return 0;
}

void set(juce::AudioPluginInstance& instance, const Values& values)
{
    for (const auto& [name, value] : values)
        find(instance, name)->setValue(value);
}

void set(KalimAudioProcessor& plugIn, const Values& values)
{
    for (int index = 0; index < plugIn.getNumParameters(); ++index)
        if (const auto value = values.find(plugIn.getParameterName(index)); value != values.end())
            plugIn.setParameter(index, value->second);
}

juce::MemoryBlock stateOf(juce::AudioPluginInstance& instance)
{
    juce::MemoryBlock state;
    instance.getStateInformation(state);
    return state;
}

const Signal32& getRecording()
{
    using namespace testing_support;
    static const Signal32 recording =
        mix(makeHum({.startFrequency = 50.0, .endFrequency = 50.4}, sampleRate, 1.0, 2),
            makeNoise(-40.0, sampleRate, 1.0, 2));
    return recording;
}

using BlockSizes = std::vector<int>;

BlockSizes makeRandomSizes()
{
    juce::Random random(1);
    BlockSizes sizes(1000);
    std::generate(sizes.begin(), sizes.end(), [&] { return 1 + random.nextInt(largestBlock); });
    return sizes;
}

/// What a prepared plug-in makes of the recording's first part.
Signal32 play(juce::AudioProcessor& plugIn, const BlockSizes& sizes, int length)
{
    return testing_support::play(plugIn, cut(getRecording(), 0, length), sizes);
}

/// Values reach a bundle with its first block.
template <typename PlugIn>
void start(PlugIn& plugIn, const Values& values)
{
    plugIn.prepareToPlay(sampleRate, largestBlock);
    set(plugIn, values);
}

class Hosting : public ::testing::TestWithParam<bool>
{
protected:
    static bool isLv2() { return GetParam(); }

    Host host{isLv2()};
};

std::string nameOf(const ::testing::TestParamInfo<bool>& info)
{
    return info.param ? "lv2" : "vst3";
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Formats, Hosting, ::testing::Values(true, false), nameOf);

TEST_P(Hosting, findsOneStereoEffect)
{
    ASSERT_EQ(host.getDescriptions().size(), 1);
    const juce::PluginDescription& description = *host.getDescriptions()[0];
    EXPECT_EQ(description.name, "Kalim");
    EXPECT_EQ(description.manufacturerName, "Orvotech");
    EXPECT_FALSE(description.isInstrument);
    EXPECT_EQ(description.numInputChannels, 2);
    EXPECT_EQ(description.numOutputChannels, 2);
}

TEST_P(Hosting, givesEverySampleThatTheProcessorGivesAtTheReportedLatency)
{
    // Both run the same code on the same blocks after the same calls, so no bit may differ.
    for (const bool aggressive : {false, true})
        for (const BlockSizes& sizes : {BlockSizes{64}, BlockSizes{512}, makeRandomSizes()})
        {
            const Values values{{"FundamentalFrequency", 0.03F},
                                {"NumberOfHarmonics", 20.0F / 96.0F},
                                {"AggressiveMode", aggressive ? 1.0F : 0.0F}};
            const Instance hosted = host.load();
            KalimAudioProcessor direct;
            start(*hosted, values);
            start(direct, values);
            const int length = getRecording().getNumSamples();
            const Signal32 expected = play(direct, sizes, length);
            EXPECT_FALSE(areIdentical(expected, getRecording()));
            EXPECT_TRUE(areIdentical(play(*hosted, sizes, length), expected))
                << "aggressive " << aggressive << ", first block " << sizes[0];
            EXPECT_EQ(getReportedLatency(*hosted), direct.getLatencySamples());
        }
}

TEST_P(Hosting, delaysUntouchedSoundByTheReportedLatency)
{
    const Instance hosted = host.load();
    start(*hosted, {{"NumberOfHarmonics", 0.0F}});
    constexpr int length = 20000;
    const Signal32 output = play(*hosted, {300}, length);
    EXPECT_EQ(getReportedLatency(*hosted), 2048);
    EXPECT_TRUE(isDelayed(output, cut(getRecording(), 0, length), 2048));
}

TEST_P(Hosting, listsTheParametersByName)
{
    const Instance hosted = host.load();
    KalimAudioProcessor direct;
    for (int index = 0; index < direct.getNumParameters(); ++index)
    {
        const juce::String name = direct.getParameterName(index);
        juce::AudioProcessorParameter* const parameter = find(*hosted, name);
        ASSERT_NE(parameter, nullptr);
        // One of the formats writes its defaults down with six or more decimals.
        EXPECT_NEAR(parameter->getDefaultValue(), direct.getParameterDefaultValue(index), 1.0e-6F)
            << name;
        EXPECT_EQ(parameter->getValue(), parameter->getDefaultValue()) << name;
        if (isLv2()) // which sorts them, and has no texts for their values
            continue;
        EXPECT_EQ(hosted->getParameters()[index], parameter) << name;
        EXPECT_EQ(parameter->getCurrentValueAsText(), direct.getParameterText(index));
    }
}

TEST_P(Hosting, loadsEveryFactoryPreset)
{
    const int numPrograms = KalimAudioProcessor().getNumPrograms();
    for (int program = 0; program < numPrograms; ++program)
    {
        const Instance hosted = host.load();
        ASSERT_EQ(hosted->getNumPrograms(), numPrograms);
        KalimAudioProcessor direct;
        hosted->setCurrentProgram(findProgram(*hosted, direct.getProgramName(program)));
        start(*hosted, {});
        if (!isLv2()) // which is prepared before it is given its state
            direct.setCurrentProgram(program);
        start(direct, {});
        direct.setCurrentProgram(program);
        constexpr int length = 12000;
        EXPECT_TRUE(areIdentical(play(*hosted, {512}, length), play(direct, {512}, length)))
            << direct.getProgramName(program);
    }
}

TEST_P(Hosting, bypassesWithTheHostsOwnSwitch)
{
    const Instance hosted = host.load();
    start(*hosted, {{"AggressiveMode", 1.0F}, {"NumberOfHarmonics", 0.25F}});
    ASSERT_NE(hosted->getBypassParameter(), nullptr);
    constexpr int length = 4800;
    const Signal32 input = cut(getRecording(), 0, length);
    EXPECT_FALSE(areIdentical(play(*hosted, {64}, length), input));
    hosted->getBypassParameter()->setValue(1.0F);
    EXPECT_TRUE(areIdentical(play(*hosted, {64}, length), input));
}

TEST_P(Hosting, bringsEveryParameterBack)
{
    const Values chosen{{"FundamentalFrequency", 0.123F},
                        {"Sensitivity", 0.77F},
                        {"Adaptivity", 0.5F},
                        {"NumberOfHarmonics", 0.25F},
                        {"OnlyOddHarmonics", 1.0F},
                        {"AggressiveMode", 1.0F},
                        {"ResidualMode", 1.0F}};
    const Instance hosted = host.load();
    const auto stateWith = [&](const Values& values)
    {
        set(*hosted, values);
        play(*hosted, {64}, 64);
        return stateOf(*hosted);
    };
    const auto valuesOf = [&](juce::AudioPluginInstance& instance)
    {
        Values values;
        for (const auto& [name, value] : chosen)
            values[name] = find(instance, name)->getValue();
        return values;
    };
    const Values defaults = valuesOf(*hosted);
    hosted->prepareToPlay(sampleRate, largestBlock);
    const juce::MemoryBlock saved = stateWith(chosen);
    const Values savedValues = valuesOf(*hosted);
    for (const auto& [name, value] : chosen)
    {
        // Every parameter is part of the state, so that equal states mean equal parameters.
        EXPECT_NE(stateWith({{name, defaults.at(name)}}), saved) << name;
        EXPECT_EQ(stateWith({{name, value}}), saved) << name;
    }
    stateWith(defaults);

    const Instance other = host.load();
    other->prepareToPlay(sampleRate, largestBlock);
    for (juce::AudioPluginInstance* restored : {hosted.get(), other.get()})
    {
        restored->setStateInformation(saved.getData(), static_cast<int>(saved.getSize()));
        play(*restored, {64}, 64);
        EXPECT_EQ(stateOf(*restored), saved);
        if (isLv2()) // whose hosts are not told of restored values
            continue;
        EXPECT_EQ(valuesOf(*restored), savedValues);
    }
}

TEST_P(Hosting, playsTwentyInstancesAtOnce)
{
    std::vector<Instance> instances;
    for (int i = 0; i < 20; ++i)
    {
        instances.push_back(host.load());
        start(*instances.back(), {{"NumberOfHarmonics", 0.25F}});
    }
    constexpr int length = 10000;
    const Signal32 first = play(*instances.front(), {512}, length);
    for (std::size_t i = 1; i < instances.size(); ++i)
        EXPECT_TRUE(areIdentical(play(*instances[i], {512}, length), first)) << i;
}

TEST_P(Hosting, loadsAndUnloadsAgainAndAgain)
{
    Signal32 first;
    for (int round = 0; round < 30; ++round)
    {
        Host cold(isLv2());
        const Instance hosted = cold.load();
        start(*hosted, {{"NumberOfHarmonics", 0.25F}});
        const Signal32 output = play(*hosted, {512}, 10000);
        if (round == 0)
            first = output;
        ASSERT_TRUE(areIdentical(output, first)) << round;
    }
    EXPECT_GT(testing_support::peakOf(first), 0.0F);
}

TEST(HostingVst3, playsUpToEightChannels)
{
    Host host(false);
    for (const auto& channels :
         {juce::AudioChannelSet::mono(), juce::AudioChannelSet::create5point1(),
          juce::AudioChannelSet::create7point1()})
    {
        const Instance hosted = host.load();
        EXPECT_TRUE(hosted->setBusesLayout({{channels}, {channels}}));
        start(*hosted, {{"NumberOfHarmonics", 0.0F}});
        const Signal32 ramp = testing_support::makeRamp(channels.size(), 6 * largestBlock);
        EXPECT_TRUE(isDelayed(testing_support::play(*hosted, ramp, {largestBlock}), ramp, 2048));
    }
    const Instance hosted = host.load();
    const auto nine = juce::AudioChannelSet::discreteChannels(9);
    EXPECT_FALSE(hosted->setBusesLayout({{nine}, {nine}}));
}

TEST(HostingVst3, reportsNoLatencyOnceStartedInAggressiveMode)
{
    Host host(false);
    const Instance hosted = host.load();
    start(*hosted, {{"AggressiveMode", 1.0F}});
    play(*hosted, {64}, 64);
    hosted->releaseResources();
    hosted->prepareToPlay(sampleRate, largestBlock);
    EXPECT_EQ(getReportedLatency(*hosted), 0);
}
