#pragma once

#include "dsp/signal/IirCoefficients.h"
#include "dsp/signal/Signals.h"

#include <span>
#include <vector>

namespace orvo::audio
{

/// Recursive filter over double-precision signals with one state per channel, in transposed direct
/// form II (A. V. Oppenheim and R. W. Schafer, "Discrete-Time Signal Processing"). New coefficients
/// of the same order continue from the present state. A copyable value; one thread at a time.
class IirFilter64
{
public:
    /// Order 0, no channels.
    IirFilter64() = default;

    /// Takes the coefficients and starts `numChannels` channels from rest. Allocates.
    void allocate(int newNumChannels, const IirCoefficients& coefficients);

    /// Takes the coefficients; starts from rest only if the order or the channel count changes.
    void setFilter(int newNumChannels, const IirCoefficients& coefficients);

    /// The same for a second-order section; without heap access while order and channels stay.
    void setSection(int newNumChannels, const SecondOrderSection& section);

    /// Brings all channels to rest; the coefficients stay.
    void reset();

    /// Filters every channel; the input must have at least the filter's channels. Returns a new
    /// signal of the filter's channels and the input's length.
    Signal64 process(const Signal64& input);

    /// The taps b0..bN, a0..aN; `a` must have as many coefficients as `b`.
    static std::vector<double> getIppTaps(const IirCoefficients& coefficients);

    int getNumChannels() const { return numChannels; }

    /// The taps in use, b0..bN, a0..aN, all divided by a0.
    std::span<const double> getNormalisedTaps() const { return taps; }

    /// The channel's state of `order` values, in units of the normalised taps; unchecked.
    std::span<double> getDelayLine(int channel);

private:
    void setTaps(int newNumChannels, std::span<const double> b, std::span<const double> a);
    void processChannel(const double* input, double* output, int numSamples, double* state) const;

    std::vector<double> taps;
    std::vector<double> delayLines;
    int order = 0;
    int numChannels = 0;
};

} // namespace orvo::audio
