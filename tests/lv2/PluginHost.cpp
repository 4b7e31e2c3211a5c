#include "tests/lv2/PluginHost.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace testing_support
{

using orvo::audio::Signal32;

Bundle::Bundle()
    : world(lilv_world_new())
{
    const Node path(lilv_new_file_uri(world.get(), nullptr, KALIM_CORE_LV2_BUNDLE "/"));
    lilv_world_load_bundle(world.get(), path.get());
}

const LilvPlugin* Bundle::find(const std::string& uri) const
{
    return lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world.get()), makeUri(uri).get());
}

int Bundle::getNumPlugins() const
{
    return static_cast<int>(lilv_plugins_size(lilv_world_get_all_plugins(world.get())));
}

Node Bundle::makeUri(const std::string& uri) const
{
    return Node(lilv_new_uri(world.get(), uri.c_str()));
}

PluginInHost::PluginInHost(const Bundle& bundle, const kalim::lv2::PluginKind& kind,
                           double sampleRate)
{
    const LilvPlugin* const plugin = bundle.find(kind.uri);
    if (plugin == nullptr)
        throw std::runtime_error("not listed");
    // A host that offers no feature at all.
    instance.reset(lilv_plugin_instantiate(plugin, sampleRate, nullptr));
    if (!instance)
        throw std::runtime_error("not instantiated");
    const Node audio = bundle.makeUri(LILV_URI_AUDIO_PORT);
    const Node input = bundle.makeUri(LILV_URI_INPUT_PORT);
    const std::uint32_t count = lilv_plugin_get_num_ports(plugin);
    std::vector<float> defaults(count);
    lilv_plugin_get_port_ranges_float(plugin, nullptr, nullptr, defaults.data());
    for (std::uint32_t index = 0; index < count; ++index)
    {
        const LilvPort* const port = lilv_plugin_get_port_by_index(plugin, index);
        const bool isInput = lilv_port_is_a(plugin, port, input.get());
        if (lilv_port_is_a(plugin, port, audio.get()))
        {
            (isInput ? inputs : outputs).push_back(index);
            continue;
        }
        const char* const symbol = lilv_node_as_string(lilv_port_get_symbol(plugin, port));
        float& value = controls[symbol] = isInput ? defaults[index] : NAN;
        lilv_instance_connect_port(instance.get(), index, &value);
    }
    activate();
}

void PluginInHost::run(std::span<float* const> channels, int numSamples)
{
    for (std::size_t channel = 0; channel < channels.size(); ++channel)
    {
        lilv_instance_connect_port(instance.get(), inputs.at(channel), channels[channel]);
        lilv_instance_connect_port(instance.get(), outputs.at(channel), channels[channel]);
    }
    lilv_instance_run(instance.get(), static_cast<std::uint32_t>(numSamples));
}

Signal32 PluginInHost::play(Signal32 recording, const std::vector<int>& sizes,
                            const std::vector<Change>& changes, std::vector<int>* latencies)
{
    std::vector<float*> channels(static_cast<std::size_t>(recording.getNumChannels()));
    auto change = changes.begin();
    std::size_t call = 0;
    for (int position = 0; position < recording.getNumSamples();)
    {
        for (; change != changes.end() && change->position == position; ++change)
            set(change->symbol, change->value);
        const int end = change != changes.end() ? change->position : recording.getNumSamples();
        const int count = std::min(sizes[call++ % sizes.size()], end - position);
        for (std::size_t channel = 0; channel < channels.size(); ++channel)
            channels[channel] = recording.getWriteChannelPtr(static_cast<int>(channel)) + position;
        run(channels, count);
        if (latencies != nullptr)
            latencies->insert(latencies->end(), static_cast<std::size_t>(count),
                              static_cast<int>(get("latency")));
        position += count;
    }
    return recording;
}

} // namespace testing_support
