#pragma once

#include "dsp/signal/Signals.h"

#include <array>
#include <span>
#include <vector>

namespace orvo::audio
{

/// Coefficients of a second-order section, b0..b2 and a0..a2, not normalised by a0.
struct SecondOrderSection
{
    std::array<double, 3> b;
    std::array<double, 3> a;
};

/// The taps of a second-order section divided by a0: y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] - a1
/// y[n-1]
/// - a2 y[n-2].
struct NormalisedSection
{
    double b0;
    double b1;
    double b2;
    double a1;
    double a2;
};

/// Any thread; allocates nothing.
NormalisedSection normalise(const SecondOrderSection& section);

/// Numerator and denominator of a recursive filter, b0..bN and a0..aN; a0 need not be 1.
class IirCoefficients
{
public:
    IirCoefficients(const std::vector<double>& numerator, const std::vector<double>& denominator);

    /// Second-order band-pass with 0 dB at `centreFrequency` (Hz) and quality `q` > 0. (R.
    /// Bristow-Johnson, "Cookbook formulae for audio EQ biquad filter coefficients", band-pass with
    /// constant 0 dB peak gain.) Allocates.
    static IirCoefficients createBandPass(double centreFrequency, double q, double sampleRate);

    /// The same design as a plain value, for the audio thread.
    static SecondOrderSection designBandPass(double centreFrequency, double q, double sampleRate);

    std::vector<double> b;
    std::vector<double> a;
};

/// Recursive filter over double-precision signals with one state per channel, in transposed direct
/// form II (A. V. Oppenheim and R. W. Schafer, "Discrete-Time Signal Processing"). New coefficients
/// of the same order continue from the present state. A copyable value; one thread at a time.
class IirFilter64
{
public:
    /// Order 0, no channels.
    IirFilter64() = default;

    /// Makes room for second-order sections of that many channels, so that setSection() up to it
    /// allocates nothing. Changes nothing else. Throws std::bad_alloc.
    void reserve(int mostChannels);

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

    /// The taps in use of a filter of order 2.
    NormalisedSection getSection() const { return {taps[0], taps[1], taps[2], taps[4], taps[5]}; }

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
