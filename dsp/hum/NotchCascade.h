#pragma once

#include "dsp/hum/HarmonicSelection.h"
#include "dsp/hum/NotchKernel.h"
#include "dsp/signal/IirFilter64.h"
#include "dsp/signal/Signals.h"

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

    NotchCascade();

    /// Sets all filters up, from rest. Not for the audio thread.
    void setFormat(int newNumChannels, double newSampleRate);

    /// Brings all filters to rest.
    void reset();

    /// Tunes the selected stages to `fundamental` (Hz) and runs `samples` through them in place, in
    /// harmonic order. Harmonics from 0.49 of the sample rate on are left alone, and so is their
    /// filters' state. `samples` has the format's channels. Audio thread; allocates nothing.
    void process(Signal32& samples, float fundamental, HarmonicSelection selection);

private:
    struct Tuning
    {
        float fundamental;
        HarmonicSelection selection;

        bool operator==(const Tuning&) const = default;
    };

    void tune(const Tuning& wanted);
    void loadBlocks();
    void loadStates(int channel);
    void storeStates(int channel);
    std::span<kernels::NotchBlock> getBlocksInUse();
    kernels::NotchState* getStates(int channel);

    std::vector<IirFilter64> filters;
    std::vector<IirFilter64*> stages;
    std::vector<kernels::NotchBlock> blocks;
    std::optional<Tuning> tuning;
    std::vector<kernels::NotchState> states;
    std::vector<kernels::NotchChannel> channels;
    int numChannels = 0;
    double sampleRate = 0.0;
};

} // namespace orvo::audio
