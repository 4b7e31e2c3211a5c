#include "tests/plugin/HostSide.h"
#include "tests/support/Heap.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <link.h>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace
{

using namespace testing_support;
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

/// The files from which the libraries in this process were loaded.
std::vector<juce::File> findLoadedLibraries()
{
    std::vector<juce::File> files;
    const auto add = [](dl_phdr_info* info, std::size_t, void* found)
    {
        if (*info->dlpi_name == '/')
            static_cast<std::vector<juce::File>*>(found)->emplace_back(
                std::filesystem::canonical(info->dlpi_name).string());
        return 0;
    };
    dl_iterate_phdr(add, &files);
    return files;
}

/// Lets the framework find the LV2 bundle, which it looks for in folders of its own choice: one of
/// them is in the home of the test. Of plug-ins that share a URI it takes the one of the highest
/// version, so that ours gets one that no other has.
void install(const juce::File& bundle)
{
    const juce::File place = juce::File("~/.lv2").getChildFile(bundle.getFileName());
    place.createDirectory();
    for (const juce::File& part : bundle.findChildFiles(juce::File::findFilesAndDirectories, false))
        part.createSymbolicLink(place.getChildFile(part.getFileName()), true);
    const juce::String description = bundle.getChildFile("dsp.ttl").loadFileAsString();
    const juce::String version = "lv2:minorVersion ";
    EXPECT_TRUE(description.contains(version));
    const juce::File own = place.getChildFile("dsp.ttl");
    own.deleteFile();
    own.replaceWithText(description.replace(version, version + "999"));
}

/// A bundle of this build, unless the environment names one that is installed.
juce::File findBundle(bool isLv2)
{
    return juce::File(
        isLv2 ? juce::SystemStats::getEnvironmentVariable("KALIM_LV2_BUNDLE", KALIM_LV2_BUNDLE)
              : juce::SystemStats::getEnvironmentVariable("KALIM_VST3_BUNDLE", KALIM_VST3_BUNDLE));
}

/// A host of one plug-in format that plays that bundle, whatever else is installed.
class Host
{
public:
    explicit Host(bool isLv2)
        : bundle(findBundle(isLv2))
        , library(isLv2 ? "libKalim.so" : "Kalim.so")
    {
        if (isLv2)
        {
            install(bundle);
            format = std::make_unique<juce::LV2PluginFormat>();
        }
        else
            format = std::make_unique<juce::VST3PluginFormat>();
        format->findAllTypesForFile(descriptions,
                                    isLv2 ? "urn:orvotech:kalim" : bundle.getFullPathName());
    }

    /// Throws where the plug-in is not found, or another one in its stead.
    Instance load()
    {
        if (descriptions.size() != 1)
            throw std::runtime_error("not found once: " + bundle.getFullPathName().toStdString());
        juce::String error;
        Instance instance = format->createInstanceFromDescription(*descriptions[0], sampleRate,
                                                                  largestBlock, error);
        if (instance == nullptr)
            throw std::runtime_error(error.toStdString());
        for (const juce::File& loaded : findLoadedLibraries())
            if (loaded.getFileName() == library && !loaded.isAChildOf(bundle))
                throw std::runtime_error("from elsewhere: " +
                                         loaded.getFullPathName().toStdString());
        return instance;
    }

    juce::OwnedArray<juce::PluginDescription> descriptions;

private:
    juce::File bundle;
    juce::String library;
    std::unique_ptr<juce::AudioPluginFormat> format;
};

/// Formats sort their parameters differently and add some of their own.
juce::AudioProcessorParameter* find(juce::AudioPluginInstance& instance, const juce::String& name)
{
    for (juce::AudioProcessorParameter* parameter : instance.getParameters())
        if (parameter->getName(100) == name)
            return parameter;
    throw std::out_of_range("no parameter " + name.toStdString());
}

/// Formats number programs differently.
int findProgram(juce::AudioPluginInstance& instance, const juce::String& name)
{
    for (int program = 0; program < instance.getNumPrograms(); ++program)
        if (instance.getProgramName(program) == name)
            return program;
    throw std::out_of_range("no program " + name.toStdString());
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

const Signal32& getRecording()
{
    static const Signal32 recording =
        mix(makeHum({.startFrequency = 50.0, .endFrequency = 50.4}, sampleRate, 1.0, 2),
            makeNoise(-40.0, sampleRate, 1.0, 2));
    return recording;
}

using BlockSizes = std::vector<int>;

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

} // namespace

INSTANTIATE_TEST_SUITE_P(Formats, Hosting, ::testing::Values(true, false),
                         [](const auto& format) { return format.param ? "lv2" : "vst3"; });

TEST_P(Hosting, findsOneStereoEffect)
{
    ASSERT_EQ(host.descriptions.size(), 1);
    const juce::PluginDescription& description = *host.descriptions[0];
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
        for (const BlockSizes& sizes : {BlockSizes{64}, {512}, {1, 300, 7, 512, 63, 2, 499}})
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
            EXPECT_EQ(direct.getLatencySamples(), 2048);
        }
}

TEST_P(Hosting, listsTheParametersByName)
{
    const Instance hosted = host.load();
    KalimAudioProcessor direct;
    for (int index = 0; index < direct.getNumParameters(); ++index)
    {
        const juce::String name = direct.getParameterName(index);
        juce::AudioProcessorParameter* const parameter = find(*hosted, name);
        // One of the formats writes its defaults down with six or more decimals.
        EXPECT_NEAR(parameter->getDefaultValue(), direct.getParameterDefaultValue(index), 1.0e-6F)
            << name;
        EXPECT_EQ(parameter->getValue(), parameter->getDefaultValue()) << name;
        const auto& known = *direct.getParameters()[index];
        EXPECT_EQ(parameter->isDiscrete(), known.isDiscrete()) << name;
        EXPECT_TRUE(!known.isDiscrete() || parameter->getNumSteps() == known.getNumSteps()) << name;
        if (isLv2()) // which sorts them, and has no texts for their values but numbers
        {
            EXPECT_EQ(parameter->getText(0.5F, 100).getFloatValue() == 0.0F, known.isBoolean());
            continue;
        }
        EXPECT_EQ(parameter->getLabel(), known.getLabel());
        EXPECT_EQ(parameter->getText(0.75F, 100), known.getText(0.75F, 100));
        EXPECT_FLOAT_EQ(parameter->getValueForText("60,5"), known.getValueForText("60,5"));
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

TEST_P(Hosting, bypassesWithTheHostsOwnSwitchAndStartsAggressivelyWithoutLatency)
{
    const Instance hosted = host.load();
    start(*hosted, {{"AggressiveMode", 1.0F}, {"NumberOfHarmonics", 0.25F}});
    ASSERT_NE(hosted->getBypassParameter(), nullptr);
    constexpr int length = 4800;
    const Signal32 input = cut(getRecording(), 0, length);
    EXPECT_FALSE(areIdentical(play(*hosted, {64}, length), input));
    hosted->getBypassParameter()->setValue(1.0F);
    EXPECT_TRUE(areIdentical(play(*hosted, {64}, length), input));
    if (isLv2()) // which keeps the latency of its first start
        return;
    hosted->releaseResources();
    start(*hosted, {});
    EXPECT_EQ(getReportedLatency(*hosted), 0);
}

TEST_P(Hosting, bringsEveryParameterBack)
{
    Values chosen;
    KalimAudioProcessor direct;
    for (int index = 0; index < 7; ++index)
        chosen[direct.getParameterName(index)] = index < 4 ? 0.75F : 1.0F;
    const auto stateOf = [](juce::AudioPluginInstance& instance)
    {
        play(instance, {64}, 64);
        juce::MemoryBlock state;
        instance.getStateInformation(state);
        return state;
    };
    const Instance hosted = host.load();
    start(*hosted, chosen);
    const juce::MemoryBlock saved = stateOf(*hosted);
    for (const auto& [name, value] : chosen)
    {
        // Every parameter is part of the state, so that equal states mean equal parameters.
        set(*hosted, {{name, find(*hosted, name)->getDefaultValue()}});
        EXPECT_NE(stateOf(*hosted), saved) << name;
        set(*hosted, {{name, value}});
        EXPECT_EQ(stateOf(*hosted), saved) << name;
    }
    const Instance other = host.load();
    start(*other, {});
    other->setStateInformation(saved.getData(), static_cast<int>(saved.getSize()));
    EXPECT_EQ(stateOf(*other), saved);
    EXPECT_EQ(getReportedLatency(*other), 0); // since the mode is aggressive now
    if (isLv2())                              // whose hosts are not told of restored values
        return;
    for (const auto& [name, value] : chosen)
        EXPECT_EQ(find(*other, name)->getValue(), find(*hosted, name)->getValue()) << name;
}

TEST_P(Hosting, playsManyInstancesAtOnceAndOneAfterTheOther)
{
    Signal32 first;
    std::vector<Instance> instances;
    for (int round = 0; round < 50; ++round)
    {
        Host cold(isLv2());
        Instance instance = round < 20 ? host.load() : cold.load();
        start(*instance, {{"NumberOfHarmonics", 0.25F}});
        const Signal32 output = play(*instance, {512}, 10000);
        if (round == 0)
            first = output;
        ASSERT_TRUE(areIdentical(output, first)) << round;
        if (round < 20)
            instances.push_back(std::move(instance));
    }
    EXPECT_GT(peakOf(first), 0.0F);
}

// The framework never unloads the other format.
TEST(HostingLv2, leavesNothingBehindWhenItIsUnloaded)
{
    // The planner's tables took 160 kB.
    EXPECT_LT(getLossPerCall([] { start(*Host(true).load(), {}); }), 2000.0);
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
        const Signal32 ramp = makeRamp(channels.size(), 6 * largestBlock);
        EXPECT_TRUE(isDelayed(testing_support::play(*hosted, ramp, {largestBlock}), ramp, 2048));
    }
    const Instance hosted = host.load();
    const auto nine = juce::AudioChannelSet::discreteChannels(9);
    EXPECT_FALSE(hosted->setBusesLayout({{nine}, {nine}}));
}
