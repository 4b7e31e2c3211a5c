#include "kalim/report/Spectrogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace kalim::program
{
namespace
{

/// At least; long enough to tell the harmonics of 50 Hz apart.
constexpr double shortSegment = 0.25;

int segmentLengthFor(int sampleRate)
{
    const int wanted = limitSegmentLength(shortSegment * sampleRate);
    return static_cast<int>(std::bit_ceil(static_cast<unsigned int>(wanted)));
}

float shownLevel(double power)
{
    const double level = power > 0.0 ? 10.0 * std::log10(power) : Spectrogram::lowestLevel;
    return std::max(static_cast<float>(level), Spectrogram::lowestLevel);
}

} // namespace

/// A quarter of silence in front centres the first segment on the first hop.
Spectrogram::Spectrogram(int channels, int rate)
    : numChannels(channels)
    , sampleRate(rate)
    , hop(segmentLengthFor(rate) / 2)
    , segments(channels, 2 * hop, hop / 2)
    , binSpacing(static_cast<double>(rate) / segments.getTransformLength())
    , numBins(static_cast<std::size_t>(std::min<double>(hop, highestFrequency / binSpacing)) + 1)
    , columns(static_cast<double>(hop) / rate)
{
}

void Spectrogram::add(std::span<const float> interleaved)
{
    numSamples += static_cast<std::int64_t>(interleaved.size()) / numChannels;
    segments.add(interleaved, [this](std::span<const double> power) { take(power); });
}

void Spectrogram::finish()
{
    while (numSpectra * hop < numSamples)
        segments.fillUp([this](std::span<const double> power) { take(power); });
}

std::vector<std::vector<float>> Spectrogram::getLevels() const
{
    std::vector<std::vector<float>> levels;
    for (const Column& column : columns.getColumns())
    {
        const double scale = 1.0 / (segments.getFullScale() * std::max(column.numSpectra, 1));
        std::vector<float>& bins = levels.emplace_back(numBins, lowestLevel);
        std::ranges::transform(column.power, bins.begin(),
                               [scale](float power) { return shownLevel(scale * power); });
    }
    return levels;
}

void Spectrogram::Column::merge(const Column& other)
{
    power.resize(std::max(power.size(), other.power.size()));
    for (std::size_t bin = 0; bin < other.power.size(); ++bin)
        power[bin] += other.power[bin];
    numSpectra += other.numSpectra;
}

void Spectrogram::take(std::span<const double> power)
{
    const double centre = (static_cast<double>(numSpectra) + 0.5) * hop / sampleRate;
    const auto bins = power.first(numBins);
    columns.at(centre).merge({{bins.begin(), bins.end()}, 1});
    ++numSpectra;
}

std::vector<double> FundamentalCourse::getFrequencies() const
{
    std::vector<double> frequencies;
    for (const Column& column : columns.getColumns())
        frequencies.push_back(column.count > 0 ? column.sum / column.count : 0.0);
    return frequencies;
}

} // namespace kalim::program
