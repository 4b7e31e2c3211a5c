#include "dsp/precise/LivePattern.h"

#include <algorithm>
#include <cmath>

namespace orvo::audio::precise
{
namespace
{

/// Random walk of an amplitude in one frame, as a share of it.
constexpr std::array<double, LivePattern::numModels> liveWalkSizes = {0.0015, 0.005, 0.015, 0.05};

/// A line that has not been found yet may still move by this share of the noise.
constexpr double leastMovingShare = 1e-3;

/// Degrees of freedom of the noise: loud sound near a harmonic counts little.
constexpr double liveFreedom = 2.0;

/// So many likelihoods can be multiplied without leaving the range of numbers.
constexpr std::size_t liveLinesPerLogarithm = 8;

/// Evidence that a line must have to judge the walks.
constexpr double evidenceToJudge = 3.0;

} // namespace

LivePattern::LivePattern(int numLines)
{
    for (auto& walk : walks)
    {
        walk.amplitudes.resize(static_cast<std::size_t>(numLines));
        walk.variances.resize(static_cast<std::size_t>(numLines));
    }
}

void LivePattern::start(std::size_t newNumActive)
{
    numActive = newNumActive;
    likelihoods = {};
    for (auto& walk : walks)
        std::fill(walk.amplitudes.begin(), walk.amplitudes.end(), Complex());
}

void LivePattern::setSpread(const std::vector<Complex>& lines, const std::vector<double>& noise)
{
    for (auto& walk : walks)
        for (std::size_t i = 0; i < lines.size(); ++i)
            walk.variances[i] = 4.0 * getPower(lines[i]) + leastMovingShare * noise[i];
}

void LivePattern::favourSteady()
{
    for (std::size_t i = 0; i < numModels; ++i)
        likelihoods[i] = -static_cast<double>(i);
}

double LivePattern::getGrowth(std::size_t model, double power, double noise)
{
    return liveWalkSizes[model] * liveWalkSizes[model] * std::max(power, leastMovingShare * noise);
}

void LivePattern::predict(const std::vector<double>& noise, double noiseScale)
{
    for (std::size_t model = 0; model < numActive; ++model)
    {
        auto& [amplitudes, variances] = walks[model];
        for (std::size_t i = 0; i < noise.size(); ++i)
            variances[i] += getGrowth(model, getPower(amplitudes[i]), noise[i] * noiseScale);
    }
}

void LivePattern::update(const std::vector<Complex>& lines, const std::vector<double>& noise,
                         double noiseScale, double phaseVariance, int numHarmonics,
                         const std::vector<double>& evidence, double memory)
{
    for (std::size_t model = 0; model < numActive; ++model)
    {
        auto& [amplitudes, variances] = walks[model];
        double sum = 0.0;
        double odds = 1.0;
        for (std::size_t i = 0; i < lines.size(); ++i)
        {
            const auto h = static_cast<double>(i % static_cast<std::size_t>(numHarmonics) + 1);
            const double own =
                noise[i] * noiseScale + 0.5 * h * h * phaseVariance * getPower(amplitudes[i]);
            const Complex error = lines[i] - amplitudes[i];
            const double spread = variances[i] + own;
            const double distance = getPower(error) / spread;
            if (evidence[i] > evidenceToJudge)
            {
                const double t = 1.0 + distance / liveFreedom;
                odds *= spread * t * t * t;
            }
            if (i % liveLinesPerLogarithm == 0)
            {
                sum -= std::log(odds);
                odds = 1.0;
            }
            const double trust = std::max((liveFreedom + distance) / (liveFreedom + 1.0), 0.5);
            const double gain = variances[i] / (variances[i] + own * trust);
            amplitudes[i] += gain * error;
            variances[i] *= 1.0 - gain;
        }
        likelihoods[model] = likelihoods[model] * memory + sum - std::log(odds);
    }
    const double top = likelihoods[getBest()];
    for (double& likelihood : likelihoods)
        likelihood -= top;
}

std::size_t LivePattern::getBest() const
{
    return static_cast<std::size_t>(
        std::max_element(likelihoods.begin(), likelihoods.begin() + numActive) -
        likelihoods.begin());
}

} // namespace orvo::audio::precise
