#include "dsp/precise/PathSmoother.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace orvo::audio::precise
{
namespace
{

constexpr int smallestExponent = -7;
constexpr double freedom = 4.0;
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
    double likelihood = -std::numeric_limits<double>::infinity();
    double wander = 0.0;
};

State predict(const State& s, double t, double wander)
{
    return {s.value + t * s.speed, s.speed,
            s.valueVariance + 2.0 * t * s.covariance + t * t * s.speedVariance +
                wander * t * t * t / 3.0,
            s.covariance + t * s.speedVariance + wander * t * t / 2.0,
            s.speedVariance + wander * t};
}

/// Sum of logarithms, which are taken of products of a few values.
class Logarithms
{
public:
    void add(double value)
    {
        product *= value;
        if (++count % valuesPerLogarithm == 0)
            collect();
    }

    double get()
    {
        collect();
        return sum;
    }

private:
    static constexpr int valuesPerLogarithm = 8; // products of so many stay within range

    void collect()
    {
        sum += std::log(product);
        product = 1.0;
    }

    double product = 1.0;
    double sum = 0.0;
    int count = 0;
};

/// What the likelihood of a path is made of.
struct Likelihood
{
    Logarithms totals;
    Logarithms tails;

    double get() { return -0.5 * totals.get() - 0.5 * (freedom + 1.0) * tails.get(); }
};

/// Takes a measurement in.
void update(State& s, double measured, double variance, Likelihood& likelihood)
{
    const double total = s.valueVariance + variance;
    const double error = measured - s.value;
    const double ratio = error * error / total;
    const double factor = std::max((freedom + ratio) / (freedom + 1.0), smallestNoiseFactor);
    const double robust = s.valueVariance + variance * factor;
    const double valueGain = s.valueVariance / robust;
    const double speedGain = s.covariance / robust;
    s.value += valueGain * error;
    s.speed += speedGain * error;
    s.speedVariance -= speedGain * s.covariance;
    s.covariance -= valueGain * s.covariance;
    s.valueVariance -= valueGain * s.valueVariance;
    likelihood.totals.add(total);
    likelihood.tails.add(1.0 + ratio / freedom);
}

Filtered filter(const Series<double>& measured, const Series<double>& variances,
                const Series<char>& isRestarted, double frameTime, double wander)
{
    Filtered result;
    result.wander = wander;
    Likelihood likelihood;
    State state{measured[0], 0.0, 1.0, 0.0, 5.0};
    for (std::size_t k = 0; k < measured.size(); ++k)
    {
        state = predict(state, frameTime, wander);
        if (isRestarted[k] != 0)
            state.valueVariance += leapVariance;
        result.predictions.push_back(state);
        update(state, measured[k], variances[k], likelihood);
        result.states.push_back(state);
    }
    result.likelihood = likelihood.get();
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
    Filtered best;
    for (int exponent = smallestExponent; exponent <= largestExponent; ++exponent)
    {
        Filtered trial =
            filter(measured, variances, isRestarted, frameTime, std::pow(10.0, exponent));
        if (trial.likelihood > best.likelihood)
            best = std::move(trial);
    }
    SmoothPath path;
    path.wander = best.wander;
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
