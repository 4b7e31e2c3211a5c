#include "dsp/precise/LiveRemover.h"
#include "tests/lv2/PluginHost.h"
#include "tests/support/EngineRun.h"
#include "tests/support/Heap.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace
{

using namespace testing_support;
using namespace kalim::lv2;
using orvo::audio::precise::LiveRemover;

constexpr double sampleRate = 48000.0;
constexpr int hop = 2048;

/// Samples from one side of the bypass to the other.
constexpr int fade = 256;

const PluginKind& getKind(Method method, int numChannels)
{
    return *std::ranges::find_if(
        plugins, [=](const PluginKind& kind)
        { return kind.method == method && kind.numChannels == numChannels; });
}

Signal32 makeRecording(int numChannels, double seconds, double frequency = 50.1)
{
    return mix(makeHum({.startFrequency = frequency, .endFrequency = frequency}, sampleRate,
                       seconds, numChannels),
               makeNoise(-40.0, sampleRate, seconds, numChannels));
}

Signal32 delayed(const Signal32& signal, int delay)
{
    return makeSignal(signal.getNumChannels(), signal.getNumSamples(),
                      [&](int channel, int n)
                      { return n < delay ? 0.0F : signal.getReadChannelPtr(channel)[n - delay]; });
}

/// Toggles of the switch at random places, the first of which switches off.
std::vector<Change> makeToggles(int count, int numSamples)
{
    std::mt19937 generator(5);
    std::vector<int> places(static_cast<std::size_t>(count));
    std::ranges::generate(places, [&] { return static_cast<int>(generator()) & 0xFFFFFF; });
    for (int& place : places)
        place %= numSamples;
    std::ranges::sort(places);
    std::vector<Change> changes;
    for (const int place : places)
        changes.push_back({place, "enabled", changes.size() % 2 == 0 ? 0.0F : 1.0F});
    return changes;
}

/// Between neighbouring samples, from the time on when hum is removed for certain.
float getLargestStep(const Signal32& signal)
{
    const int start = 40000;
    const int count = signal.getNumSamples() - start - 1;
    return peakOf(difference(cut(signal, start + 1, count), cut(signal, start, count)));
}

class CoreLv2 : public ::testing::Test
{
protected:
    std::unique_ptr<PluginInHost> load(Method method, int numChannels = 2) const
    {
        return std::make_unique<PluginInHost>(bundle, getKind(method, numChannels), sampleRate);
    }

    Bundle bundle;
};

class CoreLv2OfAnyKind : public CoreLv2, public ::testing::WithParamInterface<PluginKind>
{
};

std::string getTestName(const ::testing::TestParamInfo<PluginKind>& info)
{
    return (info.param.method == Method::tracking ? "tracking" : "precise") +
           std::to_string(info.param.numChannels);
}

/// What the engine makes of the recording in the blocks of a host, late by a hop.
Signal32 runEngine(const Signal32& recording, const EngineSettings& settings, int blockSize)
{
    // The plug-in gives it no more than a hop at a time.
    std::vector<int> sizes;
    for (int left = blockSize; left > 0; left -= hop)
        sizes.push_back(std::min(left, hop));
    PreparedEngine engine(settings, recording.getNumChannels());
    const Signal32 made = run(engine, recording, sizes);
    return makeSignal(recording.getNumChannels(), recording.getNumSamples(),
                      [&](int channel, int n)
                      { return n < hop ? 0.0F : made.getReadChannelPtr(channel)[n - hop]; });
}

Signal32 runLive(Signal32 signal, const LiveRemover::Settings& settings)
{
    LiveRemover remover;
    remover.prepare(sampleRate, signal.getNumChannels(), settings);
    std::vector<float*> channels;
    for (int channel = 0; channel < signal.getNumChannels(); ++channel)
        channels.push_back(signal.getWriteChannelPtr(channel));
    remover.process(channels.data(), signal.getNumSamples());
    return signal;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Bundle, CoreLv2OfAnyKind, ::testing::ValuesIn(plugins), getTestName);

TEST_P(CoreLv2OfAnyKind, isDescribedAsItIs)
{
    const LilvPlugin* const plugin = bundle.find(GetParam().uri);
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(bundle.getNumPlugins(), static_cast<int>(plugins.size()));
    const PortOrder order(GetParam());
    ASSERT_EQ(lilv_plugin_get_num_ports(plugin), order.getCount());
    EXPECT_EQ(lilv_plugin_get_latency_port_index(plugin), order.getLatency());
    std::vector<float> low(order.getCount());
    std::vector<float> high(order.getCount());
    std::vector<float> usual(order.getCount());
    lilv_plugin_get_port_ranges_float(plugin, low.data(), high.data(), usual.data());
    const auto controls = GetParam().getControls();
    for (std::size_t i = 0; i < controls.size(); ++i)
    {
        const std::size_t index = order.getControl(i);
        const LilvPort* const port =
            lilv_plugin_get_port_by_index(plugin, static_cast<std::uint32_t>(index));
        EXPECT_STREQ(lilv_node_as_string(lilv_port_get_symbol(plugin, port)), controls[i].symbol);
        EXPECT_EQ(low[index], controls[i].min);
        EXPECT_EQ(high[index], controls[i].max);
        EXPECT_EQ(usual[index], controls[i].defaultValue);
    }
    LilvNodes* const required = lilv_plugin_get_required_features(plugin);
    EXPECT_EQ(lilv_nodes_size(required), 0U);
    lilv_nodes_free(required);
}

TEST_P(CoreLv2OfAnyKind, equalsTheCoreInPlace)
{
    const Signal32 recording = makeRecording(GetParam().numChannels, 1.0);
    PluginInHost plugin(bundle, GetParam(), sampleRate);
    if (GetParam().method == Method::tracking)
    {
        plugin.set("harmonics", 20.0F);
        EXPECT_TRUE(areIdentical(plugin.play(recording, {64}), runEngine(recording, {}, 64)));
        EXPECT_NEAR(plugin.get("followed"), 50.1, 0.2);
    }
    else
    {
        EXPECT_TRUE(areIdentical(plugin.play(recording, {64}), runLive(recording, {})));
        EXPECT_NEAR(plugin.get("followed"), 50.1, 0.05);
    }
}

TEST_P(CoreLv2OfAnyKind, isLateByWhatItSaysAtAnyMoment)
{
    // Neither changes sound without hum, so that all of it can be compared.
    const Signal32 sound = makeNoise(-20.0, sampleRate, 0.7, GetParam().numChannels);
    const int numSamples = sound.getNumSamples();
    for (const int blockSize : {1, 64, 480, 5000})
    {
        std::vector<Change> changes = makeToggles(50, numSamples);
        const char* const shifter =
            GetParam().method == Method::tracking ? "aggressive" : "lookahead";
        const float shifted = GetParam().method == Method::tracking ? 1.0F : 50.0F;
        for (const auto& [place, value] :
             {std::pair{9000, shifted}, {13333, 0.0F}, {14000, shifted}, {24000, 0.0F}})
            changes.push_back({place, shifter, value});
        std::ranges::stable_sort(changes, {}, &Change::position);
        PluginInHost plugin(bundle, GetParam(), sampleRate);
        if (GetParam().method == Method::tracking)
            plugin.set("harmonics", 0.0F);
        std::vector<int> latencies;
        const Signal32 output = plugin.play(sound, {blockSize}, changes, &latencies);
        for (int channel = 0; channel < sound.getNumChannels(); ++channel)
            for (int n = 0; n < numSamples; ++n)
            {
                const int source = n - latencies[static_cast<std::size_t>(n)];
                ASSERT_EQ(output.getReadChannelPtr(channel)[n],
                          source < 0 ? 0.0F : sound.getReadChannelPtr(channel)[source])
                    << n << " of channel " << channel << ", blocks of " << blockSize;
            }
    }
}

TEST_P(CoreLv2OfAnyKind, leavesTheHeapAlone)
{
    if (!canSeeHeap)
        GTEST_SKIP() << "the heap cannot be seen";
    Signal32 recording = makeRecording(GetParam().numChannels, 0.6);
    std::vector<float*> channels;
    for (int channel = 0; channel < recording.getNumChannels(); ++channel)
        channels.push_back(recording.getWriteChannelPtr(channel));
    const HeapCount loading;
    PluginInHost plugin(bundle, GetParam(), sampleRate);
    ASSERT_GT(loading.getNumCalls(), 50) << "its heap calls cannot be seen";
    const bool isTracking = GetParam().method == Method::tracking;
    const std::string shifter = isTracking ? "aggressive" : "lookahead";
    const HeapCount heap;
    for (const int blockSize : {0, 1, 64, 5000, 20000})
        for (const float value : {0.0F, 1.0F, 200.0F})
        {
            plugin.set(shifter, value);
            plugin.set("enabled", value > 1.0F ? 0.0F : 1.0F);
            plugin.set(isTracking ? "fundamental" : "mains", value > 0.0F ? 60.0F : 50.0F);
            plugin.run(channels, blockSize);
        }
    EXPECT_EQ(heap.getNumCalls(), 0);
}

TEST_F(CoreLv2, tracksAsTheEngineDoesInBlocksOfAnySize)
{
    const Signal32 recording = makeRecording(2, 2.0, 60.3);
    const EngineSettings settings = {
        .fundamental = 60.0F, .adaptivity = 5.0F, .harmonics = 14, .onlyOdd = true};
    for (const int blockSize : {1, 480, hop, 5000})
    {
        const auto plugin = load(Method::tracking);
        plugin->set("fundamental", 60.0F);
        plugin->set("adaptivity", 5.0F);
        plugin->set("harmonics", 14.0F);
        plugin->set("odd", 1.0F);
        EXPECT_TRUE(areIdentical(plugin->play(recording, {blockSize}),
                                 runEngine(recording, settings, blockSize)))
            << blockSize;
    }
}

TEST_F(CoreLv2, cutsNotchesAndPlaysWhatIsRemoved)
{
    const Signal32 recording = makeRecording(2, 1.0);
    const auto plugin = load(Method::tracking);
    plugin->set("harmonics", 5.0F);
    plugin->set("aggressive", 1.0F);
    plugin->set("residual", 1.0F);
    const EngineSettings settings = {.harmonics = 5, .aggressive = true, .residual = true};
    EXPECT_TRUE(areIdentical(plugin->play(recording, {512}), run(settings, recording)));
    EXPECT_EQ(plugin->get("latency"), 0.0F);
}

TEST_F(CoreLv2, removesPreciselyWithEveryChoice)
{
    for (const float mains : {50.0F, 60.0F})
        for (const float lookAhead : {0.0F, 50.0F, 200.0F})
        {
            const Signal32 recording = makeRecording(2, 1.5, mains * 1.001);
            const auto plugin = load(Method::precise);
            plugin->set("mains", mains);
            plugin->set("lookahead", lookAhead);
            plugin->set("strength", 75.0F);
            plugin->set("residual", lookAhead == 50.0F ? 1.0F : 0.0F);
            const LiveRemover::Settings settings = {.fundamental = mains,
                                                    .lookAhead = lookAhead / 1000.0,
                                                    .strength = 0.75,
                                                    .residual = lookAhead == 50.0F};
            const Signal32 output = plugin->play(recording, {480, 1, 5000});
            EXPECT_TRUE(areIdentical(output, runLive(recording, settings)));
            EXPECT_FALSE(areIdentical(output, delayed(recording, 0)));
            EXPECT_EQ(plugin->get("latency"), std::round(sampleRate * lookAhead / 1000.0));
        }
}

TEST_F(CoreLv2, bypassesByItselfAndComesBackAsIfItHadNot)
{
    const Signal32 recording = makeRecording(2, 3.0);
    for (const Method method : {Method::tracking, Method::precise})
    {
        const auto load50 = [&]
        {
            auto plugin = load(method);
            if (method == Method::tracking)
                plugin->set("harmonics", 20.0F);
            else
                plugin->set("lookahead", 50.0F);
            return plugin;
        };
        const Signal32 cleaned = load50()->play(recording, {480});
        const auto plugin = load50();
        // The engine's result depends on how its input is cut, which the toggles must not change.
        const int off = 125 * 480;
        const int on = 209 * 480;
        const Signal32 output =
            plugin->play(recording, {480}, {{off, "enabled", 0.0F}, {on, "enabled", 1.0F}});
        const Signal32 late = delayed(recording, static_cast<int>(plugin->get("latency")));
        const auto areSame = [&](const Signal32& expected, int from, int to)
        { return areIdentical(cut(output, from, to - from), cut(expected, from, to - from)); };
        EXPECT_TRUE(areSame(cleaned, 0, off));
        EXPECT_TRUE(areSame(late, off + fade, on));
        EXPECT_TRUE(areSame(cleaned, on + fade, output.getNumSamples()));
        // What is taken off ends and begins no more steeply than the fade is long.
        const Signal32 removed = difference(late, cleaned);
        const Signal32 removedHere = difference(late, output);
        const float steepest = getLargestStep(removed) + 1.01F * peakOf(removed) / fade;
        EXPECT_LE(getLargestStep(removedHere), steepest);
    }
}

TEST_F(CoreLv2, startsAnewWhenItIsActivatedAgain)
{
    const Signal32 recording = makeRecording(2, 1.0);
    for (const Method method : {Method::tracking, Method::precise})
    {
        const auto plugin = load(method);
        const Signal32 first = plugin->play(recording, {64});
        EXPECT_FALSE(areIdentical(plugin->play(recording, {64}), first));
        plugin->activate();
        EXPECT_TRUE(areIdentical(plugin->play(recording, {64}), first));
    }
}

TEST_F(CoreLv2, leavesNothingBehindWhenItIsUnloaded)
{
    for (const Method method : {Method::tracking, Method::precise})
        // The planner's tables took 160 kB; the system's loader remembers less than one.
        EXPECT_LT(getLossPerCall([&] { load(method); }), 2000.0);
}

TEST_F(CoreLv2, tellsItsLatencyWithoutSound)
{
    const auto plugin = load(Method::tracking);
    plugin->run({}, 0);
    EXPECT_EQ(plugin->get("latency"), hop);
    plugin->set("aggressive", 1.0F);
    plugin->run({}, 0);
    EXPECT_EQ(plugin->get("latency"), 0.0F);
}

TEST_F(CoreLv2, takesAnyValueAndAnySampleRate)
{
    const Signal32 recording = makeRecording(2, 0.3);
    for (const Method method : {Method::tracking, Method::precise})
        for (const double rate : {8000.0, 192000.0, 384000.0})
        {
            PluginInHost plugin(bundle, getKind(method, 2), rate);
            for (const float value : {NAN, INFINITY, -INFINITY, 1e30F, -1e30F, 54.9F})
            {
                for (const Control& control : getKind(method, 2).getControls())
                    plugin.set(control.symbol, value);
                EXPECT_TRUE(isFinite(plugin.play(recording, {777})));
            }
        }
    // Where hum cannot be removed the engine lets the sound pass; the precise remover is not made.
    PluginInHost engine(bundle, getKind(Method::tracking, 2), 1e9);
    EXPECT_TRUE(areIdentical(engine.play(recording, {512}), recording));
    for (const double rate : {4000.0, 0.0, -1.0, static_cast<double>(NAN)})
        EXPECT_THROW(PluginInHost(bundle, getKind(Method::precise, 2), rate), std::runtime_error);
}
