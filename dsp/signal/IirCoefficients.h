#pragma once

#include <array>
#include <vector>

namespace orvo::audio
{

/// Coefficients of a second-order section, b0..b2 and a0..a2, not normalised by a0.
struct SecondOrderSection
{
    std::array<double, 3> b;
    std::array<double, 3> a;
};

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

} // namespace orvo::audio
