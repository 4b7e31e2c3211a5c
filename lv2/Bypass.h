#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace kalim::lv2
{

/// Plays what was made of the input, or the input itself as late as that is, and fades from one to
/// the other, since the hum that begins or ends would click. All but prepare() is for the audio
/// thread.
class Bypass
{
public:
    /// Throws std::bad_alloc.
    void prepare(double sampleRate, std::size_t numChannels, int longestBlock, int longestDelay);

    /// Forgets all input and takes one side without a fade.
    void reset(bool isEnabled);

    /// The next samples are played from the input whatever is asked for, as there is nothing else.
    void hold(int numSamples);

    /// Remembers a block of input.
    void add(std::span<const float* const> input, int numSamples);

    /// Writes the block that was added last, late by `delay` samples, to `output`; or of `made`, as
    /// many samples that are as late already.
    void mix(std::span<float* const> made, std::span<float* const> output, int numSamples,
             int delay, bool isEnabled);

private:
    void advance(int numSamples, bool isEnabled);

    std::vector<std::vector<float>> rings;
    std::size_t mask = 0;
    std::size_t position = 0;

    /// The share of what was made, for each sample of the block.
    std::vector<float> shares;
    float share = 1.0F;
    float step = 1.0F;
    int numHeld = 0;
};

} // namespace kalim::lv2
