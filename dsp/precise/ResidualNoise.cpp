#include "dsp/precise/HumModel.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orvo::audio::precise
{
namespace
{

/// The residual is a little less than the noise, since the amplitudes followed some of it.
constexpr double shareOfResidual = 1.2;

/// The partials of a chord may lie half-way between harmonics, where noise is read. Where the model
/// leaves less than a quarter of that, no more is taken; but a 30th at least.
constexpr double mostDoubtfulShare = 0.25;
constexpr double leastShareOfNoise = 0.03;

constexpr std::size_t linesAtATime = 8;

/// Of powers of noise.
constexpr double meanOverMedian = 1.44;

/// The amplitudes may have followed no more than this share of the noise.
constexpr double mostFollowed = 0.7;

/// By what is left of the noise that was read, frame by frame.
double toShareOfNoise(Series<double>& ratios)
{
    if (ratios.empty())
        return 1.0;
    const double share = meanOverMedian * shareOfResidual * takeMedian(ratios);
    return share < mostDoubtfulShare ? std::max(share, leastShareOfNoise) : 1.0;
}

} // namespace

/// The common gain of power in each frame.
Series<double> HumModel::getPowerGains() const
{
    Series<double> gains;
    for (const double gain : logGain)
        gains.push_back(std::exp(2.0 * gain));
    return gains;
}

/// Power of what the model leaves, laid out as the lines.
Series<double> HumModel::getResidual(const Series<double>& gains) const
{
    const HarmonicLines& aligned = prepare().aligned.lines;
    Series<double> residual(readNoise.size());
    for (int frame = 0; frame < lines.numFrames; ++frame)
        for (int line = 0; line < lines.getNumLines(); ++line)
        {
            const std::size_t at = lines.at(frame, line);
            residual[at] = gains[frame] * getPower(aligned.amplitudes[at] - smooth.amplitudes[at]);
        }
    return residual;
}

/// How much of the noise that was read beside each line lies on it, going by what the model leaves
/// and by what its amplitudes followed.
Series<double> HumModel::getSharesOfNoise(const Series<double>& gains,
                                          const Series<double>& residual,
                                          const Series<char>& isSkipped) const
{
    Series<double> shares(static_cast<std::size_t>(lines.getNumLines()), 1.0);
    Series<int> present;
    for (int line = 0; line < lines.getNumLines(); ++line)
        if (smooth.isPresent[line] != 0)
            present.push_back(line);
    // Some lines at a time: those of a frame lie side by side.
    std::array<Series<double>, linesAtATime> ratios;
    for (std::size_t first = 0; first < present.size(); first += linesAtATime)
    {
        const std::size_t count = std::min(linesAtATime, present.size() - first);
        for (int frame = 0; frame < lines.numFrames; ++frame)
            for (std::size_t i = 0; isSkipped[frame] == 0 && i < count; ++i)
            {
                const std::size_t at = lines.at(frame, present[first + i]);
                const double followed = gains[frame] * smooth.variances[at];
                const double left =
                    readNoise[at] - std::min(followed, mostFollowed * readNoise[at]);
                ratios[i].push_back(residual[at] / (left + tiny));
            }
        for (std::size_t i = 0; i < count; ++i)
        {
            shares[present[first + i]] = toShareOfNoise(ratios[i]);
            ratios[i].clear();
        }
    }
    return shares;
}

void HumModel::takeNoiseFromResidual()
{
    Series<char> isSkipped = prepare().aligned.isSkipped;
    for (const int jump : smooth.jumps)
        isSkipped[jump - 1] = isSkipped[jump] = 1;
    const Series<double> gains = getPowerGains();
    const Series<double> residual = getResidual(gains);
    const Series<double> shares = getSharesOfNoise(gains, residual, isSkipped);
    smoothPower(
        lines, isSkipped,
        [&](int frame, int first, int count, double* powers)
        { std::copy_n(&residual[lines.at(frame, first)], count, powers); },
        [&](int frame, int first, int count, const double* powers)
        {
            for (int i = 0; i < count; ++i)
            {
                const std::size_t at = lines.at(frame, first + i);
                lines.noise[at] =
                    std::max(shares[first + i] * readNoise[at], shareOfResidual * powers[i]);
            }
        });
    prepared.reset();
}

} // namespace orvo::audio::precise
