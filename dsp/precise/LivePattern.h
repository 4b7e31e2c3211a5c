#pragma once

#include "dsp/precise/LiveMath.h"

#include <array>
#include <cstddef>
#include <vector>

namespace orvo::audio::precise
{

/// The amplitudes of all lines, each followed by a few random walks of different size. One size
/// holds for all lines: the one whose predictions were the likeliest.
class LivePattern
{
public:
    static constexpr std::size_t numModels = 4;

    /// Amplitudes and variances of one model.
    struct Walk
    {
        std::vector<Complex> amplitudes;
        std::vector<double> variances;
    };

    explicit LivePattern(int numLines = 0);

    /// Forgets everything; the first observation gives the size of what may be there.
    void start(std::size_t newNumActive);
    void setSpread(const std::vector<Complex>& lines, const std::vector<double>& noise);

    /// While nothing is certain the slowest is believed.
    void favourSteady();

    /// Lets a frame pass: the variances grow. `noise` at the size of the amplitudes.
    void predict(const std::vector<double>& noise, double noiseScale);

    /// Takes in aligned lines. Their noise is `noise` times `noiseScale`, and a phase of variance
    /// `phaseVariance` moves harmonic h by h times as much. Lines with evidence above the bar tell
    /// how the walks fare.
    void update(const std::vector<Complex>& lines, const std::vector<double>& noise,
                double noiseScale, double phaseVariance, int numHarmonics,
                const std::vector<double>& evidence, double memory);

    std::size_t getBest() const;

    const Walk& getWalk() const { return walks[getBest()]; }

    /// How much variance a frame adds to a line of model `model`.
    static double getGrowth(std::size_t model, double power, double noise);

    std::array<Walk, numModels> walks;

private:
    std::array<double, numModels> likelihoods{};
    std::size_t numActive = numModels;
};

} // namespace orvo::audio::precise
