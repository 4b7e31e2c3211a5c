#pragma once

#include "dsp/hum/HarmonicSelection.h"
#include "dsp/hum/NotchKernel.h"

#include <array>
#include <optional>
#include <span>
#include <vector>

namespace orvo::audio
{

/// A cascade of notches without latency, one stage per selected harmonic: each runs a band-pass on
/// what the stages before it left and subtracts its output. Narrower than the band-passes that only
/// measure, since whatever passes here is gone.
class NotchCascade
{
public:
    /// Quality of the band-passes.
    static constexpr double notchQ = 25.0;

    /// Makes room for that many channels, so that setFormat() up to it allocates nothing. Changes
    /// nothing else. Throws std::bad_alloc. Not for the audio thread.
    void reserve(int mostChannels);

    /// Sets all stages up, from rest. Allocates where no room was made. Not for the audio thread.
    void setFormat(int newNumChannels, double newSampleRate);

    /// Brings all stages to rest.
    void reset();

    /// Tunes the selected stages to `fundamental` (Hz) and runs `numSamples` samples through them
    /// in place, in harmonic order. Harmonics from 0.49 of the sample rate on are left alone, and
    /// so is their stages' state. `samples` has the first sample of each channel of the format.
    /// Audio thread; allocates nothing.
    void process(std::span<float* const> samples, int numSamples, float fundamental,
                 HarmonicSelection selection);

private:
    static constexpr std::size_t numGroups =
        (HarmonicSelection::maximum + kernels::stagesPerGroup - 1) / kernels::stagesPerGroup;

    /// Of one channel, by harmonic.
    using States = std::array<kernels::NotchState, numGroups>;

    struct Tuning
    {
        float fundamental;
        HarmonicSelection selection;

        bool operator==(const Tuning&) const = default;
    };

    void tune(const Tuning& wanted);
    void run(int numSamples);
    void sanitise(States& channelStates) const;

    std::array<kernels::NotchGroup, numGroups> groups;
    std::size_t numStages = 0;
    std::optional<Tuning> tuning;
    std::vector<States> states;
    std::vector<kernels::NotchState> idleStates;
    std::vector<kernels::NotchChannel> channels;
    double sampleRate = 0.0;
};

} // namespace orvo::audio
