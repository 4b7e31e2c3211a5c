#include "dsp/precise/AmplitudeSmoother.h"

#include "dsp/precise/GridKernels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>

namespace orvo::audio::precise
{
namespace
{

/// Step of the walk per frame as a share of the amplitude, and what is added per harmonic: a phase
/// that trembles moves high harmonics more.
struct WalkSize
{
    double share;
    double sharePerHarmonic;
};

constexpr std::array<WalkSize, numWalkSizes> walkSizes{{{0.001, 0.0},
                                                        {0.001, 0.002},
                                                        {0.004, 0.0},
                                                        {0.004, 0.002},
                                                        {0.015, 0.002},
                                                        {0.04, 0.0},
                                                        {0.04, 0.002},
                                                        {0.12, 0.0}}};

constexpr double smallestNoiseShare = 0.4;
constexpr int reweightings = 3;

constexpr double tiny = 1e-30;
constexpr int framesPerLogarithm = 4; // products of so many factors stay within range

/// A jump may change an amplitude by about itself.
constexpr double jumpPowers = 2.0;

/// A line has a size of its own, a smaller one, when that is likelier by so much.
constexpr double ownSizeMargin = 20.0;

constexpr int mostJumps = 6;
constexpr int nearJump = 3; // frames around a jump in which no other is looked for
constexpr double jumpCost = 25.0;
constexpr double jumpCostPerLine = 1.5;
constexpr double mostDisagreement = 40.0;

constexpr double presentEvidence = 8.0;
constexpr double presentEvidencePerJump = 3.0;
constexpr double usedEvidence = 6.0;

/// The reciprocal of the density of Student's t, but for a factor.
double getTail(double squaredError, double noise)
{
    const double tail = 1.0 + squaredError / noise / noiseFreedom;
    return tail * tail * tail;
}

double getMedian(Series<double> values)
{
    if (values.empty())
        return 0.0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

bool isNear(const Series<int>& frames, int frame)
{
    return std::any_of(frames.begin(), frames.end(),
                       [frame](int other) { return std::abs(other - frame) <= nearJump; });
}

} // namespace

AmplitudeSmoother::AmplitudeSmoother(const HarmonicLines& linesToUse, const Series<char>& skipped)
    : lines(linesToUse)
    , isSkipped(skipped)
    , numLines(linesToUse.getNumLines())
    , powers(static_cast<std::size_t>(numLines))
    , startVariances(static_cast<std::size_t>(numLines))
{
    for (int line = 0; line < numLines; ++line)
    {
        double weighted = 0.0;
        double weights = tiny;
        double total = 0.0;
        Series<double> noise;
        for (int frame = 0; frame < lines.numFrames; ++frame)
        {
            if (isSkipped[frame] != 0)
                continue;
            const std::size_t at = lines.at(frame, line);
            const double power = getPower(lines.amplitudes[at]);
            weighted += (power - lines.noise[at]) / lines.noise[at];
            weights += 1.0 / lines.noise[at];
            total += power;
            noise.push_back(lines.noise[at]);
        }
        powers[line] = std::max({weighted / weights, 1e-3 * getMedian(noise), tiny});
        startVariances[line] =
            3.0 * total / std::max(1.0, static_cast<double>(noise.size())) + 1e-12;
    }
    likelihoods = getLikelihoods({});
    findLines();
}

double AmplitudeSmoother::getStepVariance(std::size_t size, int line) const
{
    const WalkSize walk = walkSizes[size];
    const double perHarmonic = walk.sharePerHarmonic * lines.getHarmonic(line);
    return (walk.share * walk.share + perHarmonic * perHarmonic) * powers[line];
}

Series<PerWalkSize> AmplitudeSmoother::getLikelihoods(const Series<int>& jumps) const
{
    Series<char> isJump(isSkipped.size());
    for (const int jump : jumps)
        isJump[jump] = 1;
    Series<LineWalk> walks;
    for (int line = 0; line < numLines; ++line)
    {
        LineWalk walk{
            &lines.amplitudes[line],   &lines.noise[line],   static_cast<std::size_t>(numLines),
            lines.numFrames,           isSkipped.data(),     isJump.data(),
            jumpPowers * powers[line], startVariances[line], {}};
        for (std::size_t size = 0; size < numWalkSizes; ++size)
            walk.stepVariances[size] = getStepVariance(size, line);
        walks.push_back(walk);
    }
    return getWalkLikelihoods(walks);
}

/// Sums of the logarithms of `factor(frame, line)` over the frames, for each line, times `sign`.
/// They are taken of a few factors at once, which is far faster than one by one.
template <typename Factor>
Series<double> AmplitudeSmoother::sumLogarithms(const Factor& factor, double sign) const
{
    Series<double> sums(powers.size());
    Series<double> products(powers.size(), 1.0);
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        for (int line = 0; line < numLines; ++line)
            products[line] *= factor(frame, line);
        if (frame % framesPerLogarithm == framesPerLogarithm - 1 || frame + 1 == lines.numFrames)
            collectLogarithms(-sign, numLines, products.data(), sums.data());
    }
    return sums;
}

AmplitudeSmoother::Estimates AmplitudeSmoother::makeEstimates() const
{
    const std::size_t count = lines.noise.size();
    return {Series<Complex>(count), Series<Complex>(count), Series<double>(count),
            Series<double>(count)};
}

/// One pass over the frames with one size of the walk.
void AmplitudeSmoother::filter(const Walk& walk, const Series<char>& skipped,
                               const Series<double>& noise, bool isRobust, Direction direction,
                               Estimates& estimates) const
{
    const Series<int>& jumps = walk.jumps;
    const bool isForward = direction == Direction::Forward;
    Series<double> steps;
    for (int line = 0; line < numLines; ++line)
        steps.push_back(getStepVariance(walk.sizes[line], line));
    Series<Complex> mean(steps.size());
    Series<double> variance = startVariances;
    for (int i = 0; i < lines.numFrames; ++i)
    {
        const int frame = isForward ? i : lines.numFrames - 1 - i;
        // Seen backward a jump before frame k is one after it.
        const bool isJump =
            std::find(jumps.begin(), jumps.end(), isForward ? frame : frame + 1) != jumps.end();
        for (int line = 0; line < numLines; ++line)
        {
            const std::size_t at = lines.at(frame, line);
            variance[line] += steps[line] + (isJump ? jumpPowers * powers[line] : 0.0);
            estimates.predicted[at] = mean[line];
            estimates.predictedVariances[at] = variance[line];
            if (skipped[frame] == 0)
            {
                const Complex error = lines.amplitudes[at] - mean[line];
                const double ratio = getPower(error) / (variance[line] + noise[at]);
                const double factor = isRobust
                                          ? std::max((noiseFreedom + ratio) / (noiseFreedom + 1.0),
                                                     smallestNoiseFactor)
                                          : 1.0;
                const double gain = variance[line] / (variance[line] + noise[at] * factor);
                mean[line] += gain * error;
                variance[line] -= gain * variance[line];
            }
            estimates.amplitudes[at] = mean[line];
            estimates.variances[at] = variance[line];
        }
    }
}

void AmplitudeSmoother::smoothBackward(Estimates& estimates) const
{
    for (std::size_t at = lines.at(lines.numFrames - 1, 0); at-- > 0;)
    {
        const std::size_t next = at + static_cast<std::size_t>(numLines);
        const double gain =
            estimates.variances[at] / std::max(estimates.predictedVariances[next], tiny);
        estimates.amplitudes[at] += gain * (estimates.amplitudes[next] - estimates.predicted[next]);
        estimates.variances[at] +=
            gain * gain * (estimates.variances[next] - estimates.predictedVariances[next]);
    }
}

/// Logarithms of the likelihood of each line without hum, less what all have.
Series<double> AmplitudeSmoother::getAbsentLikelihoods() const
{
    return sumLogarithms(
        [this](int frame, int line)
        {
            const std::size_t at = lines.at(frame, line);
            return lines.noise[at] * getTail(getPower(lines.amplitudes[at]), lines.noise[at]);
        },
        -1.0);
}

void AmplitudeSmoother::findLines()
{
    Series<double> gains = getAbsentLikelihoods();
    for (int line = 0; line < numLines; ++line)
        gains[line] =
            *std::max_element(likelihoods[line].begin(), likelihoods[line].end()) - gains[line];
    const double largest = *std::max_element(gains.begin(), gains.end());
    const double least = largest > usedEvidence ? usedEvidence : largest;
    for (const double gain : gains)
        isUsed.push_back(gain >= least ? 1 : 0);
    numUsed = static_cast<int>(std::count(isUsed.begin(), isUsed.end(), 1));
}

double AmplitudeSmoother::getScore() const
{
    PerWalkSize sums{};
    for (const PerWalkSize& likelihood : likelihoods)
        for (std::size_t size = 0; size < numWalkSizes; ++size)
            sums[size] += likelihood[size];
    return *std::max_element(sums.begin(), sums.end());
}

AmplitudeSmoother::Walk AmplitudeSmoother::findWalk(const Series<int>& jumps) const
{
    const Series<PerWalkSize> found = jumps.empty() ? likelihoods : getLikelihoods(jumps);
    PerWalkSize sums{};
    for (int line = 0; line < numLines; ++line)
        for (std::size_t size = 0; isUsed[line] != 0 && size < numWalkSizes; ++size)
            sums[size] += found[line][size];
    const auto* const best = std::max_element(sums.begin(), sums.end());
    const auto common = static_cast<std::size_t>(best - sums.begin());
    Walk walk{{}, jumps, *best};
    for (const PerWalkSize& likelihood : found)
    {
        const auto* const own = std::max_element(likelihood.begin(), likelihood.end());
        const auto size = static_cast<std::size_t>(own - likelihood.begin());
        const bool isOwn = size<common&& * own> likelihood[common] + ownSizeMargin;
        walk.sizes.push_back(isOwn ? size : common);
    }
    return walk;
}

/// The frame where the estimates from either side differ most, or -1 where they differ no more than
/// chance lets them.
int AmplitudeSmoother::findDisagreement(const Walk& walk, const Series<int>& tried) const
{
    Estimates before = makeEstimates();
    Estimates after = makeEstimates();
    filter(walk, isSkipped, lines.noise, true, Direction::Forward, before);
    filter(walk, isSkipped, lines.noise, true, Direction::Backward, after);
    int worst = -1;
    double most = numUsed + 3.0 * std::sqrt(static_cast<double>(numUsed)) + 10.0;
    for (int frame = nearJump; frame + nearJump < lines.numFrames; ++frame)
    {
        const auto* const around = &isSkipped[frame - nearJump];
        if (isNear(tried, frame) ||
            std::find(around, around + 2 * nearJump + 1, 1) != around + 2 * nearJump + 1)
            continue;
        double disagreement = 0.0;
        for (int line = 0; line < numLines; ++line)
            if (isUsed[line] != 0)
            {
                const std::size_t i = lines.at(frame - 2, line);
                const std::size_t j = lines.at(frame + 1, line);
                disagreement += std::min(getPower(before.amplitudes[i] - after.amplitudes[j]) /
                                             (before.variances[i] + after.variances[j] +
                                              3.0 * getStepVariance(walk.sizes[line], line) + tiny),
                                         mostDisagreement);
            }
        if (disagreement > most)
        {
            most = disagreement;
            worst = frame;
        }
    }
    return worst;
}

AmplitudeSmoother::Walk AmplitudeSmoother::addJump(const Walk& walk, int frame) const
{
    Walk best{{}, {}, -std::numeric_limits<double>::infinity()};
    for (int candidate = frame - 1; candidate <= frame + 1; ++candidate)
    {
        Series<int> jumps = walk.jumps;
        jumps.push_back(candidate);
        Walk trial = findWalk(jumps);
        if (trial.score > best.score)
            best = std::move(trial);
    }
    return best;
}

AmplitudeSmoother::Walk AmplitudeSmoother::findJumps() const
{
    Walk walk = findWalk({});
    Series<int> tried;
    for (int i = 0; i < mostJumps; ++i)
    {
        const int frame = findDisagreement(walk, tried);
        if (frame < 0)
            break;
        tried.push_back(frame);
        Walk trial = addJump(walk, frame);
        if (trial.score > walk.score + jumpCost + jumpCostPerLine * numUsed)
            walk = std::move(trial);
    }
    std::sort(walk.jumps.begin(), walk.jumps.end());
    return walk;
}

Series<double> AmplitudeSmoother::getEvidence(const Series<Complex>& amplitudes) const
{
    return sumLogarithms(
        [&](int frame, int line)
        {
            if (isSkipped[frame] != 0)
                return 1.0;
            const std::size_t at = lines.at(frame, line);
            const Complex value = lines.amplitudes[at];
            return getTail(getPower(value), lines.noise[at]) /
                   getTail(getPower(value - amplitudes[at]), lines.noise[at]);
        },
        1.0);
}

SmoothAmplitudes AmplitudeSmoother::smooth() const
{
    return smooth(findJumps());
}

SmoothAmplitudes AmplitudeSmoother::smooth(const Series<int>& jumps) const
{
    return smooth(findWalk(jumps));
}

SmoothAmplitudes AmplitudeSmoother::smooth(const Walk& walk) const
{
    // Frames that hold a jump are neither what was before nor what comes after.
    Series<char> skipped = isSkipped;
    for (const int jump : walk.jumps)
        skipped[jump - 1] = skipped[jump] = 1;
    const auto count = lines.noise.size();
    Estimates estimates = makeEstimates();
    Series<double> noise = lines.noise;
    for (int i = 0; i < reweightings; ++i)
    {
        filter(walk, skipped, noise, i == 0, Direction::Forward, estimates);
        smoothBackward(estimates);
        for (std::size_t at = 0; at < count; ++at)
            noise[at] = std::max((noiseFreedom * lines.noise[at] +
                                  getPower(lines.amplitudes[at] - estimates.amplitudes[at])) /
                                     (noiseFreedom + 1.0),
                                 smallestNoiseShare * lines.noise[at]);
    }
    SmoothAmplitudes result{
        std::move(estimates.amplitudes), std::move(estimates.variances), {}, {}, walk.jumps};
    const double least =
        presentEvidence + presentEvidencePerJump * static_cast<double>(walk.jumps.size());
    result.evidence = getEvidence(result.amplitudes);
    for (const double evidence : result.evidence)
        result.isPresent.push_back(evidence > least ? 1 : 0);
    for (std::size_t at = 0; at < count; ++at)
    {
        Complex& amplitude = result.amplitudes[at];
        const double power = getPower(amplitude);
        amplitude *= result.isPresent[at % static_cast<std::size_t>(numLines)] != 0
                         ? power / (power + result.variances[at] + tiny)
                         : 0.0;
    }
    return result;
}

} // namespace orvo::audio::precise
