#include "dsp/precise/PathSmoother.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace orvo::audio::precise
{
namespace
{

/// Sizes of the wander that are tried, powers of ten.
constexpr int smallestExponent = -7;
constexpr std::size_t numTrials = 10;

constexpr double stepFreedom = 4.0;
constexpr double smallestNoiseFactor = 0.7;
constexpr double leapVariance = 1.0;

/// Mean and covariance of value and speed.
struct State
{
    double value;
    double speed;
    double valueVariance;
    double covariance;
    double speedVariance;
};

struct Filtered
{
    Series<State> states;
    Series<State> predictions;
};

State predict(const State& s, double t, double wander)
{
    return {s.value + t * s.speed, s.speed,
            s.valueVariance + 2.0 * t * s.covariance + t * t * s.speedVariance +
                wander * t * t * t / 3.0,
            s.covariance + t * s.speedVariance + wander * t * t / 2.0,
            s.speedVariance + wander * t};
}

/// Takes a measurement in; gives what the likelihood is made of.
struct Evidence
{
    double total;
    double tail;
};

Evidence update(State& s, double measured, double variance)
{
    const double total = s.valueVariance + variance;
    const double error = measured - s.value;
    const double ratio = error * error / total;
    const double factor =
        std::max((stepFreedom + ratio) / (stepFreedom + 1.0), smallestNoiseFactor);
    const double robust = s.valueVariance + variance * factor;
    const double valueGain = s.valueVariance / robust;
    const double speedGain = s.covariance / robust;
    s.value += valueGain * error;
    s.speed += speedGain * error;
    s.speedVariance -= speedGain * s.covariance;
    s.covariance -= valueGain * s.covariance;
    s.valueVariance -= valueGain * s.valueVariance;
    return {total, 1.0 + ratio / stepFreedom};
}

constexpr State getStart(double measured)
{
    return {measured, 0.0, 1.0, 0.0, 5.0};
}

/// All sizes of the wander at once: each waits for its divisions alone, but not for those of the
/// others. Logarithms are taken of products of a few values.
class Trials
{
public:
    Trials(double start, double frameTimeToUse)
        : frameTime(frameTimeToUse)
    {
        states.fill(getStart(start));
        totals.fill(1.0);
        tails.fill(1.0);
        for (std::size_t i = 0; i < numTrials; ++i)
            wanders[i] = std::pow(10.0, smallestExponent + static_cast<int>(i));
    }

    void add(double measured, double variance, bool isRestarted)
    {
        const double leap = isRestarted ? leapVariance : 0.0;
        for (std::size_t i = 0; i < numTrials; ++i)
        {
            State state = predict(states[i], frameTime, wanders[i]);
            state.valueVariance += leap;
            const Evidence evidence = update(state, measured, variance);
            states[i] = state;
            totals[i] *= evidence.total;
            tails[i] *= evidence.tail;
        }
        if (++count % valuesPerLogarithm == 0)
            collect();
    }

    /// The likeliest of the first `count` sizes.
    double findWander(std::size_t numTried)
    {
        collect();
        const auto end = likelihoods.begin() + static_cast<std::ptrdiff_t>(numTried);
        const auto best = std::max_element(likelihoods.begin(), end) - likelihoods.begin();
        return wanders[static_cast<std::size_t>(best)];
    }

private:
    static constexpr int valuesPerLogarithm = 8; // products of so many stay within range

    void collect()
    {
        for (std::size_t i = 0; i < numTrials; ++i)
            likelihoods[i] -= 0.5 * std::log(std::exchange(totals[i], 1.0)) +
                              0.5 * (stepFreedom + 1.0) * std::log(std::exchange(tails[i], 1.0));
    }

    double frameTime;
    std::array<State, numTrials> states;
    std::array<double, numTrials> wanders{};
    std::array<double, numTrials> totals;
    std::array<double, numTrials> tails;
    std::array<double, numTrials> likelihoods{};
    int count = 0;
};

Filtered filter(const Series<double>& measured, const Series<double>& variances,
                const Series<char>& isRestarted, double frameTime, double wander)
{
    Filtered result;
    State state = getStart(measured[0]);
    for (std::size_t k = 0; k < measured.size(); ++k)
    {
        state = predict(state, frameTime, wander);
        if (isRestarted[k] != 0)
            state.valueVariance += leapVariance;
        result.predictions.push_back(state);
        update(state, measured[k], variances[k]);
        result.states.push_back(state);
    }
    return result;
}

/// The estimate of one frame, given that of the next.
State smoothOne(const State& s, const State& prediction, const State& next, double t)
{
    const double a = s.valueVariance + t * s.covariance;
    const double b = s.covariance;
    const double c = s.covariance + t * s.speedVariance;
    const double d = s.speedVariance;
    const double determinant = prediction.valueVariance * prediction.speedVariance -
                               prediction.covariance * prediction.covariance;
    const double valueError = next.value - prediction.value;
    const double speedError = next.speed - prediction.speed;
    const double x =
        (prediction.speedVariance * valueError - prediction.covariance * speedError) / determinant;
    const double y =
        (prediction.valueVariance * speedError - prediction.covariance * valueError) / determinant;
    State result = s;
    result.value += a * x + b * y;
    result.speed += c * x + d * y;
    return result;
}

} // namespace

SmoothPath smoothPath(const Series<double>& measured, const Series<double>& variances,
                      const Series<char>& isRestarted, double frameTime, int largestExponent)
{
    Trials trials(measured[0], frameTime);
    for (std::size_t k = 0; k < measured.size(); ++k)
        trials.add(measured[k], variances[k], isRestarted[k] != 0);
    SmoothPath path;
    path.wander =
        trials.findWander(static_cast<std::size_t>(largestExponent - smallestExponent) + 1);
    const Filtered best = filter(measured, variances, isRestarted, frameTime, path.wander);
    path.values.resize(measured.size());
    path.speeds.resize(measured.size());
    State state = best.states.back();
    for (std::size_t k = measured.size(); k-- > 0;)
    {
        if (k + 1 < measured.size())
            state = smoothOne(best.states[k], best.predictions[k + 1], state, frameTime);
        path.values[k] = state.value;
        path.speeds[k] = state.speed;
    }
    return path;
}

} // namespace orvo::audio::precise
