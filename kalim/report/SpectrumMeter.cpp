#include "kalim/report/SpectrumMeter.h"

#include "dsp/signal/VectorOperations.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <numbers>

namespace kalim::program
{
namespace
{

using orvo::audio::Signal32;

constexpr std::int64_t segmentSeconds = 4;
constexpr std::int64_t shortestSegment = 16;
constexpr std::int64_t longestSegment = 1 << 22;

/// As in the hum engine, which limits what it is given.
constexpr float largestSample = 1.0e6F;

/// What is no louder counts as silence.
constexpr double lowestLevel = -200.0;

/// Mean of the Hann window.
constexpr double windowMean = 0.5;

/// The strongest line this close to a harmonic is taken for it, in Hz; for each harmonic a little
/// more, since an error of the tracking counts once per harmonic.
constexpr double fixedReach = 1.0;
constexpr double reachPerHarmonic = 0.1;

/// Long enough to tell a line of hum from what plays beside it, but no longer than there is to
/// measure.
int segmentLengthFor(int sampleRate, std::int64_t numSamples)
{
    const std::int64_t wanted = std::min(segmentSeconds * sampleRate, numSamples);
    return static_cast<int>(std::clamp(wanted, shortestSegment, longestSegment));
}

Signal32 makeHannWindow(int length)
{
    Signal32 window(1, length);
    float* const samples = window.getWriteChannelPtr(0);
    for (int n = 0; n < length; ++n)
        samples[n] = static_cast<float>(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * n / length));
    return window;
}

double toLevel(double power)
{
    const double level = power > 0.0 ? 10.0 * std::log10(power) : lowestLevel;
    return level > lowestLevel ? level : SpectrumMeter::silence;
}

/// The bin of the highest level between two bins, which may lie between whole ones.
std::size_t findStrongest(const std::vector<double>& levels, double from, double to)
{
    const double last = static_cast<double>(levels.size()) - 1.0;
    const double low = std::clamp(std::floor(from), 0.0, last);
    const double high = std::clamp(std::ceil(to), low, last);
    const auto first = levels.begin() + static_cast<std::ptrdiff_t>(low);
    const auto end = levels.begin() + static_cast<std::ptrdiff_t>(high) + 1;
    return static_cast<std::size_t>(std::max_element(first, end) - levels.begin());
}

} // namespace

SpectrumMeter::SpectrumMeter(int channels, int sampleRate, std::int64_t numSamples)
    : numChannels(static_cast<std::size_t>(channels))
    , segmentLength(segmentLengthFor(sampleRate, numSamples))
    , transformLength(static_cast<int>(std::bit_ceil(static_cast<unsigned int>(segmentLength))))
    , binSpacing(static_cast<double>(sampleRate) / transformLength)
    , window(makeHannWindow(segmentLength))
    , segment(channels, segmentLength, 0.0F)
    , weighted(1, transformLength, 0.0F)
    , spectrum(1, transformLength / 2 + 1)
    , power(static_cast<std::size_t>(transformLength) / 2 + 1)
{
}

void SpectrumMeter::add(std::span<const float> interleaved)
{
    while (!interleaved.empty())
    {
        const std::size_t count = std::min(interleaved.size() / numChannels,
                                           static_cast<std::size_t>(segmentLength - filled));
        for (std::size_t channel = 0; channel < numChannels; ++channel)
        {
            float* const samples = segment.getWriteChannelPtr(static_cast<int>(channel)) + filled;
            for (std::size_t n = 0; n < count; ++n)
                samples[n] = interleaved[n * numChannels + channel];
            // One sample out of all range must not blot out the rest of the recording.
            orvo::vo::limitToFinite(samples, samples, largestSample, static_cast<int>(count));
        }
        interleaved = interleaved.subspan(count * numChannels);
        filled += static_cast<int>(count);
        if (filled == segmentLength)
            measureSegment();
    }
}

void SpectrumMeter::finish()
{
    if (numSegments > 0 || filled == 0)
        return;
    for (int channel = 0; channel < segment.getNumChannels(); ++channel)
        orvo::vo::setToZero(segment.getWriteChannelPtr(channel) + filled, segmentLength - filled);
    measureSegment();
}

double SpectrumMeter::getResolution() const
{
    // The main lobe of a Hann window is four bins of its own length wide.
    return 4.0 * binSpacing * transformLength / segmentLength;
}

std::vector<double> SpectrumMeter::getLevels() const
{
    // |X| = amplitude * length * windowMean / 2 for a sine in the centre of a bin.
    const double perAmplitude = segmentLength * windowMean / 2.0;
    const double scale = 1.0 / (perAmplitude * perAmplitude * static_cast<double>(numChannels) *
                                static_cast<double>(std::max<std::int64_t>(numSegments, 1)));
    std::vector<double> levels(power.size());
    std::ranges::transform(power, levels.begin(), [scale](double p) { return toLevel(p * scale); });
    return levels;
}

void SpectrumMeter::measureSegment()
{
    float* const samples = weighted.getWriteChannelPtr(0);
    for (int channel = 0; channel < segment.getNumChannels(); ++channel)
    {
        orvo::vo::multiply(segment.getReadChannelPtr(channel), window.getReadChannelPtr(0), samples,
                           segmentLength);
        transform.forwardReal(weighted, spectrum);
        const std::complex<float>* const bins = spectrum.getReadChannelPtr(0);
        for (std::size_t bin = 0; bin < power.size(); ++bin)
            power[bin] += std::norm(std::complex<double>(bins[bin]));
    }
    ++numSegments;
    // The next segment starts in the middle of this one.
    const int half = segmentLength / 2;
    for (int channel = 0; channel < segment.getNumChannels(); ++channel)
    {
        float* const all = segment.getWriteChannelPtr(channel);
        orvo::vo::copy(all + segmentLength - half, all, half);
    }
    filled = half;
}

std::vector<HarmonicLevels> measureHarmonics(const SpectrumMeter& before,
                                             const SpectrumMeter& after,
                                             orvo::audio::HarmonicSelection selection,
                                             double fundamental)
{
    if (before.getResolution() > fundamental)
        return {};
    const std::vector<double> levelsBefore = before.getLevels();
    const std::vector<double> levelsAfter = after.getLevels();
    const double spacing = before.getBinSpacing();
    const double highest = spacing * (static_cast<double>(levelsBefore.size()) - 1.0);
    std::vector<HarmonicLevels> harmonics;
    for (int index = 0; index < selection.count; ++index)
    {
        const int number = selection.getHarmonicNumber(index);
        const double frequency = number * fundamental;
        const double reach = fixedReach + reachPerHarmonic * number;
        if (frequency + reach > highest)
            break;
        const std::size_t bin = findStrongest(levelsBefore, (frequency - reach) / spacing,
                                              (frequency + reach) / spacing);
        harmonics.push_back(
            {number, static_cast<double>(bin) * spacing, levelsBefore[bin], levelsAfter[bin]});
    }
    return harmonics;
}

} // namespace kalim::program
