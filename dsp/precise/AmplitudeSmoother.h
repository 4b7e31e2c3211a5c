#pragma once

#include "dsp/precise/Series.h"
#include "dsp/precise/WalkKernel.h"

namespace orvo::audio::precise
{

/// Of which lines the less is taken the less sure an amplitude is: of all, while changes are still
/// looked for, or only of those that may not be there.
enum class Caution
{
    AllLines,
    DoubtfulLines
};

/// Amplitudes of the hum at every frame and line, and how sure they are.
struct SmoothAmplitudes
{
    Series<Complex> amplitudes; ///< [frame][line], 0 for lines without hum
    Series<double> variances;   ///< [frame][line], of lines with hum
    Series<char> isPresent;     ///< [line]
    Series<double> evidence;    ///< [line], natural logarithm of the likelihood ratio to no hum
    Series<int> jumps;          ///< frames before which all amplitudes change at once
};

/// Estimates the amplitude of each line as a random walk under noise of Student's t distribution,
/// by a forward filter and a backward pass (Rauch, Tung and Striebel, "Maximum likelihood estimates
/// of linear dynamic systems", 1965): what is loud beside a harmonic for a moment counts little.
/// The size of the walk is the same for all lines against their own power, and the likeliest of
/// eight.
///
/// Keeps a reference to the lines, whose amplitudes are against a track and of constant gain.
/// Skipped frames are looked past.
class AmplitudeSmoother
{
public:
    AmplitudeSmoother(const HarmonicLines& lines, const Series<char>& isSkipped);

    /// Logarithm of the likelihood of all frames with the likeliest walk.
    double getScore() const;

    /// The same line by line.
    Series<double> getScores() const;

    /// Looks for jumps: at most six, where forward and backward estimates disagree over all
    /// harmonics and the likelihood rises by more than a jump may cost.
    SmoothAmplitudes smooth() const;

    /// With the jumps that are known, in order.
    SmoothAmplitudes smooth(const Series<int>& jumps, Caution caution) const;

    /// Which lines hold hum, with the jumps that are known.
    Series<char> findPresent(const Series<int>& jumps) const;

private:
    struct Walk
    {
        Series<std::size_t> sizes; // [line]
        Series<int> jumps;
        double score = 0.0;
    };

    double getStepVariance(std::size_t size, int line) const;
    Series<float> getStepVariances(const Walk& walk) const;
    Walks makeWalks(const Series<int>& jumps) const;
    Walks makeWalksBesideJumps(const Series<int>& jumps) const;
    Series<PerWalkSize> getLikelihoods(const Series<int>& jumps) const;
    void findLines(const Series<LineStatistics>& statistics);
    Walk findWalk(const Series<int>& jumps) const;
    int findDisagreement(const Walk& walk, const Series<int>& tried) const;
    Walk addJump(const Walk& walk, int frame) const;
    Walk findJumps() const;
    SmoothAmplitudes smooth(const Walk& walk, Caution caution) const;
    void unpack(const WalkEstimates& estimates, int first, const Series<double>& doubts,
                SmoothAmplitudes& result) const;

    const HarmonicLines& lines;
    const Series<char>& isSkipped;
    int numLines;
    int numUsed = 0;
    PackedLines packed;
    Series<double> powers;
    Series<float> startVariances; // [lane]
    Series<float> jumpVariances;
    Series<char> isUsed;             // lines that say something about the size of the walk
    Series<PerWalkSize> likelihoods; // [line], without jumps
};

} // namespace orvo::audio::precise
