#pragma once

#include "dsp/hum/Kalimmer.h"

#include <vector>

/// Running the engine as a host would.
namespace testing_support
{

/// What the engine is set to; the rest has its default.
struct EngineSettings
{
    float fundamental = 50.0F;
    float adaptivity = 15.0F;
    int harmonics = 20;
    bool onlyOdd = false;
    bool aggressive = false;
    bool residual = false;
};

void apply(const EngineSettings& settings, orvo::audio::Kalimmer& engine);

/// A format with the usual speakers.
orvo::audio::AudioFormat makeFormat(int numChannels, double sampleRate);

/// An engine that is set and has its format.
struct PreparedEngine : orvo::audio::Kalimmer
{
    PreparedEngine(const EngineSettings& settings, int channels, double rate = 48000.0);
};

/// Feeds the whole signal in blocks of the given sizes, taken in turn, and returns everything that
/// comes out.
orvo::audio::Signal32 run(orvo::audio::Kalimmer& engine, const orvo::audio::Signal32& input,
                          const std::vector<int>& blockSizes = {512});

/// The same with a new engine and blocks of one size.
orvo::audio::Signal32 run(const EngineSettings& settings, const orvo::audio::Signal32& input,
                          double sampleRate = 48000.0, int blockSize = 512);

} // namespace testing_support
