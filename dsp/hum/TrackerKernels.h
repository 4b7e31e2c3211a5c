#pragma once

#include "dsp/hum/SinusoidalSynthesis.h"

#include <array>
#include <cstddef>
#include <span>

/// The loops that run many harmonics at once, compiled once per instruction set. Each call uses the
/// best one for the processor. They check nothing and allocate nothing.
namespace orvo::audio::kernels
{

/// Harmonics that share a group; the widest vector holds that many doubles.
inline constexpr std::size_t lanesPerGroup = 8;

/// Band-passes and single-bin transforms of several harmonics of one channel, one lane each. Each
/// lane computes with the normalised taps b0, 0, -b0 and a1, a2 of a band-pass.
struct alignas(64) TrackerGroup
{
    using Lanes = std::array<double, lanesPerGroup>;

    Lanes b0{};
    Lanes a1{};
    Lanes a2{};

    /// State of the band-pass in transposed direct form II.
    Lanes s1{};
    Lanes s2{};

    /// 2 cos(w), with w the radians per sample of the transform.
    Lanes coefficient{};

    /// How many samples of the frame the transform covers; for the rest it is fed zeros.
    Lanes transformLength{};

    /// The recursion's last two values after the whole frame.
    Lanes w1{};
    Lanes w2{};
};

/// Runs every lane over the `numSamples` samples of `input`: the band-pass, its output rounded to
/// single precision, and the transform's recursion from rest.
void isolateAndTransform(std::span<TrackerGroup> groups, const double* input,
                         std::size_t numSamples);

/// Runs the band-passes alone.
void isolate(std::span<TrackerGroup> groups, const double* input, std::size_t numSamples);

/// Renders the oscillations one after the other and subtracts each from `output`. `crossfade` holds
/// SinusoidalSynthesis::crossfade() for the `numSamples` samples of the frame.
void subtractOscillations(std::span<const SinusoidalSynthesis::Oscillation> oscillations,
                          const float* crossfade, float* output, std::size_t numSamples);

} // namespace orvo::audio::kernels
