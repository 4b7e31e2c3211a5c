#include "dsp/precise/LiveDetector.h"

#include <algorithm>
#include <cmath>

namespace orvo::audio::precise
{
namespace
{

constexpr int detectedHarmonics = 10;
constexpr int numBlocks = 4;

/// Frames of a block, which is a second long where these allow.
constexpr int shortestBlock = 6;
constexpr int longestBlock = 30;

/// Share of the nominal to either side, and the step as a share of it: 0.02 Hz of 50.
constexpr double searchRange = 0.018;
constexpr double searchStep = 0.0004;
constexpr int numCandidates = 91;

/// No single harmonic of a block may say more than this.
constexpr double mostPerLiveHarmonic = 60.0;

} // namespace

void LiveDetector::prepare(const LiveLayout& newLayout)
{
    layout = newLayout;
    numHarmonics = std::min(detectedHarmonics, layout.numHarmonics);
    blockLength = std::clamp(static_cast<int>(std::lround(1.0 / layout.getHopSeconds())),
                             shortestBlock, longestBlock);
    scores.assign(numCandidates, 0.0);
    weighted.resize(static_cast<std::size_t>(blockLength));
}

void LiveDetector::begin()
{
    std::fill(scores.begin(), scores.end(), 0.0);
}

void LiveDetector::search(const LiveHistory& history, int part)
{
    const int harmonic = part / layout.numChannels + 1;
    const int channel = part % layout.numChannels;
    const auto line = static_cast<std::size_t>(channel * layout.numHarmonics + harmonic - 1);
    const int available = std::min(history.getSize(), numBlocks * blockLength);
    searchBlock(history, harmonic, line, 0, std::min(blockLength, available));
    for (int end = 2 * blockLength; end <= available; end += blockLength)
        searchBlock(history, harmonic, line, end - blockLength, blockLength);
}

void LiveDetector::searchBlock(const LiveHistory& history, int harmonic, std::size_t line,
                               int begin, int count)
{
    double total = 1e-30;
    for (int i = 0; i < count; ++i)
    {
        const auto& observation = history[begin + i];
        const Complex value = observation.lines[line];
        const double hann = 0.5 - 0.5 * std::cos(2.0 * pi * (i + 1) / (count + 1));
        const double weight = observation.isValid
                                  ? hann / std::max(observation.noise[line], 1e-3 * getPower(value))
                                  : 0.0;
        weighted[static_cast<std::size_t>(i)] = weight * value;
        total += hann * weight;
    }
    for (int candidate = 0; candidate < numCandidates; ++candidate)
    {
        const double deviation = (searchStep * candidate - searchRange) * layout.nominal;
        const Complex turn = makePhasor(2.0 * pi * harmonic * deviation * layout.getHopSeconds());
        Complex sum;
        for (int i = count; i-- > 0;)
            sum = multiply(sum, turn) + weighted[static_cast<std::size_t>(i)];
        const double score = getPower(sum) / total;
        scores[static_cast<std::size_t>(candidate)] += score / (1.0 + score / mostPerLiveHarmonic);
    }
}

LiveDetector::Finding LiveDetector::find(double current) const
{
    const auto best = std::max_element(scores.begin(), scores.end());
    const auto at = [this](double index)
    {
        const double inside = std::clamp(index, 0.0, numCandidates - 1.001);
        const auto i = static_cast<std::size_t>(inside);
        return scores[i] + (inside - static_cast<double>(i)) * (scores[i + 1] - scores[i]);
    };
    const double unit = searchStep * layout.nominal;
    double place = static_cast<double>(best - scores.begin());
    const double followed = (current / layout.nominal + searchRange) / searchStep;
    double near = 0.0;
    for (const double offset : {-0.06, -0.03, 0.0, 0.03, 0.06})
        near = std::max(near, at(followed + offset / unit));
    const double left = at(place - 1.0);
    const double right = at(place + 1.0);
    const double curvature = left - 2.0 * *best + right;
    if (curvature < 0.0 && place > 0.0 && place < numCandidates - 1.0)
        place += std::clamp(0.5 * (left - right) / curvature, -0.5, 0.5);
    return {place * unit - searchRange * layout.nominal, *best - near};
}

} // namespace orvo::audio::precise
