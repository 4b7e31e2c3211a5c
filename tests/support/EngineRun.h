#pragma once

#include "dsp/hum/Kalimmer.h"

#include <span>

/// Running the hum remover as a host would.
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

/// Feeds the whole signal in blocks of the given sizes, taken in turn, and returns everything that
/// comes out.
orvo::audio::Signal32 run(orvo::audio::Kalimmer& engine, const orvo::audio::Signal32& input,
                          std::span<const int> blockSizes);

/// The same with a new engine and blocks of one size.
orvo::audio::Signal32 run(const EngineSettings& settings, const orvo::audio::Signal32& input,
                          double sampleRate, int blockSize = 512);

} // namespace testing_support
