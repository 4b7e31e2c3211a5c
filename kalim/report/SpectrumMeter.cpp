#include "kalim/report/SpectrumMeter.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace kalim::program
{
namespace
{

constexpr double segmentSeconds = 4.0;

/// What is no louder counts as silence.
constexpr double lowestLevel = -200.0;

/// The strongest line this close to a harmonic is taken for it, in Hz; for each harmonic a little
/// more, since an error of the tracking counts once per harmonic.
constexpr double fixedReach = 1.0;
constexpr double reachPerHarmonic = 0.1;

/// Long enough to tell a line of hum from what plays beside it, but no longer than there is to
/// measure.
int segmentLengthFor(int sampleRate, std::int64_t numSamples)
{
    return limitSegmentLength(
        std::min(segmentSeconds * sampleRate, static_cast<double>(numSamples)));
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
    : segments(channels, segmentLengthFor(sampleRate, numSamples), 0)
    , binSpacing(static_cast<double>(sampleRate) / segments.getTransformLength())
    , power(static_cast<std::size_t>(segments.getTransformLength()) / 2 + 1)
{
}

void SpectrumMeter::add(std::span<const float> interleaved)
{
    segments.add(interleaved, [this](std::span<const double> measured) { take(measured); });
}

void SpectrumMeter::finish()
{
    if (numSegments == 0 && segments.getNumFilled() > 0)
        segments.fillUp([this](std::span<const double> measured) { take(measured); });
}

double SpectrumMeter::getResolution() const
{
    // The main lobe of a Hann window is four bins of its own length wide.
    return 4.0 * binSpacing * segments.getTransformLength() / segments.getSegmentLength();
}

std::vector<double> SpectrumMeter::getLevels() const
{
    const double scale = 1.0 / (segments.getFullScale() *
                                static_cast<double>(std::max<std::int64_t>(numSegments, 1)));
    std::vector<double> levels(power.size());
    std::ranges::transform(power, levels.begin(), [scale](double p) { return toLevel(p * scale); });
    return levels;
}

void SpectrumMeter::take(std::span<const double> measured)
{
    std::ranges::transform(measured, power, power.begin(), std::plus());
    ++numSegments;
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
