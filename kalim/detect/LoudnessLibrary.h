#pragma once

#include <ebur128.h>
#include <memory>
#include <new>
#include <vector>

namespace kalim::program
{

struct LoudnessCloser
{
    void operator()(ebur128_state* state) const { ebur128_destroy(&state); }
};

/// Owner of a measurement of the loudness library.
using LoudnessState = std::unique_ptr<ebur128_state, LoudnessCloser>;

/// Whether the library measures at a rate in Hz.
inline bool isLoudnessRate(double sampleRate)
{
    constexpr double lowest = 16.0;
    constexpr double highest = 2822400.0;
    return sampleRate >= lowest && sampleRate <= highest;
}

/// Throws std::bad_alloc.
inline LoudnessState makeLoudnessState(int numChannels, double sampleRate, int mode)
{
    LoudnessState state(ebur128_init(static_cast<unsigned>(numChannels),
                                     static_cast<unsigned long>(sampleRate), mode));
    if (state == nullptr)
        throw std::bad_alloc();
    return state;
}

/// Takes whole frames. Throws std::bad_alloc.
inline void addFrames(ebur128_state& state, const std::vector<float>& interleaved)
{
    if (ebur128_add_frames_float(&state, interleaved.data(), interleaved.size() / state.channels) !=
        EBUR128_SUCCESS)
        throw std::bad_alloc();
}

/// Puts samples of each channel, given by its own pointer, side by side.
inline void interleave(const float* const* channels, int numChannels, int numSamples, float* frames)
{
    for (int channel = 0; channel < numChannels; ++channel)
        for (int n = 0; n < numSamples; ++n)
            frames[static_cast<std::size_t>(n) * static_cast<std::size_t>(numChannels) +
                   static_cast<std::size_t>(channel)] = channels[channel][n];
}

} // namespace kalim::program
