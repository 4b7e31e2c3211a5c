#include "dsp/signal/DspCore.h"
#include "dsp/signal/FourierTransform.h"
#include "lv2/Bypass.h"
#include "lv2/Plugins.h"
#include "lv2/Remover.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <lv2/core/lv2.h>
#include <string_view>
#include <vector>

namespace kalim::lv2
{
namespace
{

/// One loaded plug-in. Needs nothing of its host but its ports: blocks may have any length and be
/// replaced in place.
class Plugin
{
public:
    Plugin(const PluginKind& pluginKind, double sampleRate)
        : kind(pluginKind)
        , order(kind)
        , ports(order.getCount())
        , values(order.numControls)
        , inputs(order.numChannels)
        , outputs(order.numChannels)
        , remover(kind.method == Method::tracking
                      ? makeTrackingRemover(sampleRate, kind.numChannels)
                      : makePreciseRemover(sampleRate, kind.numChannels))
        , blocks(order.numChannels)
    {
        const int longestBlock = remover->getLongestBlock();
        bypass.prepare(sampleRate, order.numChannels, longestBlock, remover->getLongestLatency());
        for (std::size_t channel = 0; channel < order.numChannels; ++channel)
        {
            memory.emplace_back(static_cast<std::size_t>(longestBlock));
            blocks[channel] = memory[channel].data();
        }
    }

    void connect(std::size_t port, float* data)
    {
        if (port < ports.size())
            ports[port] = data;
    }

    /// The controls may not be connected yet, so the next block starts everything anew.
    void activate() { isFresh = true; }

    void run(std::size_t numSamples)
    {
        const orvo::audio::ScopedFlushToZero flushToZero;
        const bool isEnabled = getValue(order.getEnabled(), 1.0F) > 0.0F;
        takeControls(isEnabled);
        tell(order.getLatency(), static_cast<float>(remover->getLatency()));
        const bool hasSound = std::ranges::none_of(std::span(ports).first(2 * order.numChannels),
                                                   [](float* port) { return !port; });
        const auto longest = static_cast<std::size_t>(remover->getLongestBlock());
        for (std::size_t done = 0; done < numSamples && hasSound; done += longest)
            runPiece(done, std::min(longest, numSamples - done), isEnabled);
        tell(order.getFundamental(), remover->getFundamental());
    }

private:
    float getValue(std::size_t port, float fallback) const
    {
        const float* const data = ports[port];
        return data != nullptr && std::isfinite(*data) ? *data : fallback;
    }

    void tell(std::size_t port, float value)
    {
        if (ports[port] != nullptr)
            *ports[port] = value;
    }

    void takeControls(bool isEnabled)
    {
        const auto controls = kind.getControls();
        for (std::size_t i = 0; i < values.size(); ++i)
        {
            const Control& control = controls[i];
            const float value = getValue(order.getControl(i), control.defaultValue);
            values[i] = control.kind == Control::Kind::toggle
                            ? static_cast<float>(value > 0.0F)
                            : std::clamp(value, control.min, control.max);
        }
        const int silence = remover->setControls(values);
        if (isFresh)
        {
            remover->reset();
            bypass.reset(isEnabled);
        }
        else
            bypass.hold(silence);
    }

    /// All input is taken before any output is written, since they may share their memory.
    void runPiece(std::size_t start, std::size_t count, bool isEnabled)
    {
        for (std::size_t channel = 0; channel < order.numChannels; ++channel)
        {
            inputs[channel] = ports[order.getInput(channel)] + start;
            outputs[channel] = ports[order.getOutput(channel)] + start;
            std::copy_n(inputs[channel], count, blocks[channel]);
        }
        const auto numSamples = static_cast<int>(count);
        bypass.add(inputs, numSamples);
        remover->process(blocks, numSamples);
        bypass.mix(blocks, outputs, numSamples, remover->getLatency(), isEnabled);
        isFresh = false;
    }

    const PluginKind& kind;
    PortOrder order;
    std::vector<float*> ports;
    std::vector<float> values;
    std::vector<const float*> inputs;
    std::vector<float*> outputs;
    std::unique_ptr<Remover> remover;
    Bypass bypass;
    std::vector<std::vector<float>> memory;
    std::vector<float*> blocks;

    /// Whether no sound has come since the plug-in was activated.
    bool isFresh = true;
};

Plugin& getPlugin(LV2_Handle instance)
{
    return *static_cast<Plugin*>(instance);
}

LV2_Handle instantiate(const LV2_Descriptor* descriptor, double sampleRate, const char* /*bundle*/,
                       const LV2_Feature* const* /*features*/)
{
    try
    {
        const std::string_view uri = descriptor->URI;
        const auto kind = std::ranges::find(plugins, uri, &PluginKind::uri);
        if (kind == plugins.end() || !std::isfinite(sampleRate) || sampleRate <= 0.0)
            return nullptr;
        return std::make_unique<Plugin>(*kind, sampleRate).release();
    }
    catch (const std::exception&)
    {
        return nullptr;
    }
}

void connectPort(LV2_Handle instance, std::uint32_t port, void* data)
{
    getPlugin(instance).connect(port, static_cast<float*>(data));
}

void activate(LV2_Handle instance)
{
    getPlugin(instance).activate();
}

void run(LV2_Handle instance, std::uint32_t numSamples)
{
    getPlugin(instance).run(numSamples);
}

void cleanUp(LV2_Handle instance)
{
    const std::unique_ptr<Plugin> plugin(static_cast<Plugin*>(instance));
}

constexpr auto descriptors = []
{
    std::array<LV2_Descriptor, plugins.size()> result{};
    for (std::size_t i = 0; i < result.size(); ++i)
        result[i] = {plugins[i].uri, instantiate, connectPort, activate, run,
                     nullptr,        cleanUp,     nullptr};
    return result;
}();

/// Hosts load and unload plug-ins just to look at them, and would lose the planner's tables each
/// time.
const struct AtUnloading
{
    ~AtUnloading() { orvo::audio::FourierTransform::releasePlanner(); }
} atUnloading;

} // namespace
} // namespace kalim::lv2

/// What hosts ask for first.
LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(std::uint32_t index)
{
    using kalim::lv2::descriptors;
    return index < descriptors.size() ? &descriptors[index] : nullptr;
}
