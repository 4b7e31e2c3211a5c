#include "dsp/precise/AmplitudeSmoother.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <utility>

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

/// A jump may change an amplitude by about itself.
constexpr double jumpPowers = 2.0;

/// A line has a size of its own, a smaller one, when that is likelier by so much.
constexpr double ownSizeMargin = 20.0;

/// What a line walks by is measured against its power, or this share of the noise.
constexpr double leastPowerShare = 1e-3;

constexpr int mostJumps = 6;
constexpr int nearJump = 3; // frames around a jump in which no other is looked for
constexpr double jumpCost = 25.0;
constexpr double jumpCostPerLine = 1.5;
constexpr float mostDisagreement = 40.0F;

constexpr double presentEvidence = 8.0;
constexpr double presentEvidencePerJump = 3.0;
constexpr double usedEvidence = 6.0;

/// Lines of more evidence than this are the less doubted the more they have.
constexpr double doubtfulEvidence = 30.0;

Series<char> findPresentLines(const Series<double>& evidence, std::size_t numJumps)
{
    const double least = presentEvidence + presentEvidencePerJump * static_cast<double>(numJumps);
    Series<char> isPresent;
    for (const double of : evidence)
        isPresent.push_back(of > least ? 1 : 0);
    return isPresent;
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
    , packed(linesToUse)
    , powers(static_cast<std::size_t>(numLines))
    , startVariances(static_cast<std::size_t>(packed.getNumLanes()))
    , jumpVariances(startVariances.size())
{
    const Series<LineStatistics> statistics = getStatistics(packed, isSkipped);
    std::array<float, PackedLines::width> medianNoise{};
    int firstOfMedians = -1;
    for (int line = 0; line < numLines; ++line)
    {
        const LineStatistics& here = statistics[line];
        double power = std::max(here.weightedPower, tiny);
        // No median is above twice the mean.
        if (power < 2.0 * leastPowerShare * here.meanNoise)
        {
            const int lane = line % PackedLines::width;
            if (std::exchange(firstOfMedians, line - lane) != line - lane)
                medianNoise = getMedianNoise(packed, isSkipped, firstOfMedians);
            power = std::max(power, leastPowerShare * medianNoise[static_cast<std::size_t>(lane)]);
        }
        powers[line] = power;
        startVariances[line] = static_cast<float>(3.0 * here.meanPower + 1e-12);
        jumpVariances[line] = static_cast<float>(jumpPowers * power);
    }
    likelihoods = getLikelihoods({});
    findLines(statistics);
}

double AmplitudeSmoother::getStepVariance(std::size_t size, int line) const
{
    const WalkSize walk = walkSizes[size];
    const double perHarmonic = walk.sharePerHarmonic * lines.getHarmonic(line);
    return (walk.share * walk.share + perHarmonic * perHarmonic) * powers[line];
}

Series<float> AmplitudeSmoother::getStepVariances(const Walk& walk) const
{
    Series<float> steps(startVariances.size());
    for (int line = 0; line < numLines; ++line)
        steps[line] = static_cast<float>(getStepVariance(walk.sizes[line], line));
    return steps;
}

Walks AmplitudeSmoother::makeWalks(const Series<int>& jumps) const
{
    Walks walks{packed, startVariances, jumpVariances, isSkipped, Series<char>(isSkipped.size())};
    for (const int jump : jumps)
        walks.isJump[jump] = 1;
    return walks;
}

/// Frames that hold a jump are neither what was before nor what comes after.
Walks AmplitudeSmoother::makeWalksBesideJumps(const Series<int>& jumps) const
{
    Walks walks = makeWalks(jumps);
    for (const int jump : jumps)
        walks.isSkipped[jump - 1] = walks.isSkipped[jump] = 1;
    return walks;
}

Series<PerWalkSize> AmplitudeSmoother::getLikelihoods(const Series<int>& jumps) const
{
    std::array<Series<float>, numWalkSizes> steps;
    for (std::size_t size = 0; size < numWalkSizes; ++size)
    {
        steps[size].resize(startVariances.size());
        for (int line = 0; line < numLines; ++line)
            steps[size][line] = static_cast<float>(getStepVariance(size, line));
    }
    return getWalkLikelihoods(makeWalks(jumps), steps);
}

void AmplitudeSmoother::findLines(const Series<LineStatistics>& statistics)
{
    Series<double> gains;
    for (int line = 0; line < numLines; ++line)
        gains.push_back(*std::max_element(likelihoods[line].begin(), likelihoods[line].end()) -
                        statistics[line].absentLikelihood);
    const double largest = *std::max_element(gains.begin(), gains.end());
    const double least = largest > usedEvidence ? usedEvidence : largest;
    for (const double gain : gains)
        isUsed.push_back(gain >= least ? 1 : 0);
    numUsed = static_cast<int>(std::count(isUsed.begin(), isUsed.end(), 1));
}

Series<double> AmplitudeSmoother::getScores() const
{
    PerWalkSize sums{};
    for (const PerWalkSize& likelihood : likelihoods)
        for (std::size_t size = 0; size < numWalkSizes; ++size)
            sums[size] += likelihood[size];
    const auto best =
        static_cast<std::size_t>(std::max_element(sums.begin(), sums.end()) - sums.begin());
    Series<double> scores;
    for (const PerWalkSize& likelihood : likelihoods)
        scores.push_back(likelihood[best]);
    return scores;
}

double AmplitudeSmoother::getScore() const
{
    const Series<double> scores = getScores();
    return std::accumulate(scores.begin(), scores.end(), 0.0);
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
    Series<float> weights(startVariances.size());
    for (int line = 0; line < numLines; ++line)
        weights[line] = static_cast<float>(isUsed[line]);
    const Series<double> disagreements =
        getDisagreements(makeWalks(walk.jumps), getStepVariances(walk), weights, mostDisagreement);
    int worst = -1;
    double most = numUsed + 3.0 * std::sqrt(static_cast<double>(numUsed)) + 10.0;
    for (int frame = nearJump; frame + nearJump < lines.numFrames; ++frame)
    {
        const auto* const around = &isSkipped[frame - nearJump];
        if (isNear(tried, frame) ||
            std::find(around, around + 2 * nearJump + 1, 1) != around + 2 * nearJump + 1)
            continue;
        if (disagreements[frame] > most)
        {
            most = disagreements[frame];
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

Series<char> AmplitudeSmoother::findPresent(const Series<int>& jumps) const
{
    const Walk walk = findWalk(jumps);
    return findPresentLines(
        getWalkEvidence(makeWalksBesideJumps(jumps), getStepVariances(walk), isSkipped),
        jumps.size());
}

SmoothAmplitudes AmplitudeSmoother::smooth() const
{
    return smooth(findJumps(), Caution::AllLines);
}

SmoothAmplitudes AmplitudeSmoother::smooth(const Series<int>& jumps, Caution caution) const
{
    return smooth(findWalk(jumps), caution);
}

SmoothAmplitudes AmplitudeSmoother::smooth(const Walk& walk, Caution caution) const
{
    WalkEstimates estimates =
        smoothWalks(makeWalksBesideJumps(walk.jumps), getStepVariances(walk), isSkipped);
    SmoothAmplitudes result{Series<Complex>(lines.noise.size()),
                            Series<double>(lines.noise.size()),
                            {},
                            std::move(estimates.evidence),
                            walk.jumps};
    result.isPresent = findPresentLines(result.evidence, walk.jumps.size());
    Series<double> doubts;
    for (const double evidence : result.evidence)
    {
        const bool isClear = caution == Caution::DoubtfulLines && evidence > doubtfulEvidence;
        doubts.push_back(isClear ? doubtfulEvidence / evidence : 1.0);
    }
    for (int first = 0; first < numLines; first += PackedLines::width)
        unpack(estimates, first, doubts, result);
    return result;
}

/// The lines of a pack; the less sure an amplitude is, the less of it is taken, if its line is in
/// doubt.
void AmplitudeSmoother::unpack(const WalkEstimates& estimates, int first,
                               const Series<double>& doubts, SmoothAmplitudes& result) const
{
    const std::size_t from = packed.at(first);
    PackEstimates pack{&estimates.real[from],
                       &estimates.imaginary[from],
                       &estimates.variances[from],
                       lines.numFrames,
                       std::min(PackedLines::width, numLines - first),
                       {},
                       {}};
    for (int i = 0; i < pack.numLines; ++i)
    {
        pack.doubts[static_cast<std::size_t>(i)] = doubts[first + i];
        pack.isPresent[static_cast<std::size_t>(i)] = result.isPresent[first + i];
    }
    precise::unpack(pack, numLines, &result.amplitudes[first], &result.variances[first]);
}

} // namespace orvo::audio::precise
