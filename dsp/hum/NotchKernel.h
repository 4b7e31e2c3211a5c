#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace orvo::audio::kernels
{

/// Stages that share a group: consecutive notches of a cascade, one lane each.
inline constexpr std::size_t stagesPerGroup = 16;

/// Consecutive stages of a notch cascade. Every stage runs a band-pass with the normalised taps b0,
/// 0, -b0 and a1, a2 over the output of the stage before it and subtracts the result. A stage of
/// zeros passes its input on.
struct alignas(64) NotchGroup
{
    using Lanes = std::array<double, stagesPerGroup>;

    Lanes b0{};
    Lanes a1{};
    Lanes a2{};

    /// How many of the stages are used, from the first; the others must be zeros.
    std::size_t numStages = 0;
};

/// State of one channel's band-passes in a group, in transposed direct form II.
struct alignas(64) NotchState
{
    NotchGroup::Lanes s1{};
    NotchGroup::Lanes s2{};
};

/// What a cascade works on: samples in place, and one state for every group.
struct NotchChannel
{
    float* samples = nullptr;
    NotchState* states = nullptr;
};

/// Runs `numSamples` samples of every channel through all groups, one after the other. Signals
/// between stages and the band-passes' outputs are rounded to single precision. Compiled once per
/// instruction set; checks nothing and allocates nothing.
void runNotches(std::span<const NotchGroup> groups, std::span<const NotchChannel> channels,
                std::size_t numSamples);

} // namespace orvo::audio::kernels
