#pragma once

#include "dsp/signal/Signals.h"
#include "lv2/Plugins.h"

#include <lilv/lilv.h>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace testing_support
{

struct FreeNode
{
    void operator()(LilvNode* node) const { lilv_node_free(node); }
};

struct FreeWorld
{
    void operator()(LilvWorld* world) const { lilv_world_free(world); }
};

struct FreeInstance
{
    void operator()(LilvInstance* instance) const { lilv_instance_free(instance); }
};

using Node = std::unique_ptr<LilvNode, FreeNode>;

/// What a host knows of the built bundle, and of no other.
class Bundle
{
public:
    Bundle();

    /// Null where there is none.
    const LilvPlugin* find(const std::string& uri) const;

    int getNumPlugins() const;

    Node makeUri(const std::string& uri) const;

private:
    std::unique_ptr<LilvWorld, FreeWorld> world;
};

/// A value of a control port from a sample of the recording on.
struct Change
{
    int position;
    const char* symbol;
    float value;
};

/// A running plug-in. Its ports are found by their symbols.
class PluginInHost
{
public:
    /// Throws std::runtime_error where it cannot be made.
    PluginInHost(const Bundle& bundle, const kalim::lv2::PluginKind& kind, double sampleRate);

    void set(const std::string& symbol, float value) { controls.at(symbol) = value; }

    float get(const std::string& symbol) const { return controls.at(symbol); }

    /// Calls the plug-in once, in place: the output is where the input was.
    void run(std::span<float* const> channels, int numSamples);

    /// The whole recording in blocks of the given sizes, taken in turn, which are cut where a
    /// control changes. `latencies`, if given, gets what was reported for each sample.
    orvo::audio::Signal32 play(orvo::audio::Signal32 recording, const std::vector<int>& sizes,
                               const std::vector<Change>& changes = {},
                               std::vector<int>* latencies = nullptr);

    void activate() { lilv_instance_activate(instance.get()); }

private:
    std::unique_ptr<LilvInstance, FreeInstance> instance;
    std::vector<std::uint32_t> inputs;
    std::vector<std::uint32_t> outputs;
    std::map<std::string, float> controls;
};

} // namespace testing_support
