#pragma once

#include "dsp/precise/WalkKernel.h"

namespace orvo::audio::precise
{

/// Amplitudes of the hum at every frame and line, and how sure they are.
struct SmoothAmplitudes
{
    std::vector<Complex> amplitudes; ///< [frame][line], 0 for lines without hum
    std::vector<double> variances;   ///< [frame][line]
    std::vector<char> isPresent;     ///< [line]
    std::vector<double> evidence; ///< [line], natural logarithm of the likelihood ratio to no hum
    std::vector<int> jumps;       ///< frames before which all amplitudes change at once
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
    AmplitudeSmoother(const HarmonicLines& lines, const std::vector<char>& isSkipped);

    /// Logarithm of the likelihood of all frames with the likeliest walk.
    double getScore() const;

    /// Looks for jumps: at most six, where forward and backward estimates disagree over all
    /// harmonics and the likelihood rises by more than a jump may cost.
    SmoothAmplitudes smooth() const;

    /// With the jumps that are known, in order.
    SmoothAmplitudes smooth(const std::vector<int>& jumps) const;

private:
    struct Estimates
    {
        std::vector<Complex> amplitudes;
        std::vector<Complex> predicted;
        std::vector<double> variances;
        std::vector<double> predictedVariances;
    };

    struct Walk
    {
        std::vector<std::size_t> sizes; // [line]
        std::vector<int> jumps;
        double score = 0.0;
    };

    enum class Direction
    {
        Forward,
        Backward
    };

    Estimates makeEstimates() const;
    void filter(const Walk& walk, const std::vector<char>& skipped,
                const std::vector<double>& noise, bool isRobust, Direction direction,
                Estimates& estimates) const;
    void smoothBackward(Estimates& estimates) const;
    double getStepVariance(std::size_t size, int line) const;
    std::vector<PerWalkSize> getLikelihoods(const std::vector<int>& jumps) const;
    double getAbsentLikelihood(int line) const;
    void findLines();
    Walk findWalk(const std::vector<int>& jumps) const;
    int findDisagreement(const Walk& walk, const std::vector<int>& tried) const;
    Walk addJump(const Walk& walk, int frame) const;
    Walk findJumps() const;
    SmoothAmplitudes smooth(const Walk& walk) const;
    double getEvidence(const std::vector<Complex>& amplitudes, int line) const;

    const HarmonicLines& lines;
    const std::vector<char>& isSkipped;
    int numLines;
    int numUsed = 0;
    std::vector<double> powers;
    std::vector<double> startVariances;
    std::vector<char> isUsed;             // lines that say something about the size of the walk
    std::vector<PerWalkSize> likelihoods; // [line], without jumps
};

} // namespace orvo::audio::precise
