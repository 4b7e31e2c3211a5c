#include "audiofile/Quantiser.h"

#include <algorithm>
#include <cmath>

namespace kalim
{
namespace
{

/// Finer steps than those of 24 bits nobody computes: such is the precision of a sample.
constexpr int computedBits = 24;

/// The library's tables for companded samples have no place for the lowest one: it flips over.
double lowestStep(double fullScale, const AudioFileFormat& format)
{
    const bool isCompanded =
        format.getSubtype() == SF_FORMAT_ULAW || format.getSubtype() == SF_FORMAT_ALAW;
    return isCompanded ? 1 - fullScale : -fullScale;
}

/// Codes of few bits with steps of their own are integers only for the library.
bool isPlain(SampleFormat format)
{
    return format == SampleFormat::pcm8 || format == SampleFormat::pcm16 ||
           format == SampleFormat::pcm24 || format == SampleFormat::pcm32;
}

/// To the nearest integer, ties to even, below 2^51: adding this number leaves no bits behind the
/// point. The library function of the same meaning is a call for each sample.
double rounded(double value)
{
    constexpr double noFraction = 6755399441055744.0;
    return value + noFraction - noFraction;
}

} // namespace

Quantiser::Quantiser(const AudioFileFormat& format, int bits)
    : fullScale(std::ldexp(1.0, bits - 1))
    , lowest(lowestStep(fullScale, format))
    , alignment(std::int64_t{1} << (32 - bits))
    , isDithered(isPlain(format.getSampleFormat()) && bits < computedBits)
    // Always the same noise, so that two runs give the same file.
    , noise(0x9e3779b97f4a7c15)
{
}

/// Marsaglia's generator (Xorshift RNGs, 2003); its halves are two even distributions, whose
/// difference is triangular.
double Quantiser::nextNoise()
{
    noise ^= noise << 13;
    noise ^= noise >> 7;
    noise ^= noise << 17;
    constexpr double range = 4294967296.0;
    const auto first = static_cast<double>(noise >> 32);
    const auto second = static_cast<double>(noise & 0xffffffffU);
    return (first - second) / range;
}

int Quantiser::quantise(double sample)
{
    const double scaled = std::isnan(sample) ? 0.0 : sample * fullScale;
    const double inRange = std::clamp(scaled, -2 * fullScale, 2 * fullScale);
    double step = rounded(inRange);
    const double limited = std::clamp(step, lowest, fullScale - 1);
    // Exactly +1 is the peak of every normalised file and loses one step only: no clipping.
    clipped += std::abs(scaled) > fullScale && step != limited ? 1 : 0;
    if (isDithered && step != inRange)
        step = rounded(inRange + nextNoise());
    const auto result = static_cast<std::int64_t>(std::clamp(step, lowest, fullScale - 1));
    return static_cast<int>(result * alignment);
}

} // namespace kalim
