#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace orvo::audio::precise
{

template <std::size_t N>
using LiveVector = std::array<double, N>;

template <std::size_t N>
using LiveMatrix = std::array<LiveVector<N>, N>;

/// Mean and covariance of a value and its derivatives.
template <std::size_t N>
struct LiveState
{
    LiveVector<N> mean{};
    LiveMatrix<N> covariance{};
};

template <std::size_t N>
LiveState<N> predictState(const LiveState<N>& state, const LiveMatrix<N>& transition,
                          const LiveMatrix<N>& noise)
{
    LiveState<N> next{{}, noise};
    LiveMatrix<N> half{};
    for (std::size_t i = 0; i < N; ++i)
        for (std::size_t j = 0; j < N; ++j)
        {
            next.mean[i] += transition[i][j] * state.mean[j];
            for (std::size_t k = 0; k < N; ++k)
                half[i][j] += transition[i][k] * state.covariance[k][j];
        }
    for (std::size_t i = 0; i < N; ++i)
        for (std::size_t j = 0; j < N; ++j)
            for (std::size_t k = 0; k < N; ++k)
                next.covariance[i][j] += half[i][k] * transition[j][k];
    return next;
}

/// Solves a x = b for a symmetric, possibly singular matrix: directions without variance give 0.
template <std::size_t N>
LiveVector<N> solveSymmetric(LiveMatrix<N> a, LiveVector<N> b)
{
    constexpr double smallestPivot = 1e-24;
    for (std::size_t i = 0; i < N; ++i)
        for (std::size_t j = i + 1; j < N; ++j)
        {
            const double f = a[i][i] > smallestPivot ? a[j][i] / a[i][i] : 0.0;
            for (std::size_t k = i; k < N; ++k)
                a[j][k] -= f * a[i][k];
            b[j] -= f * b[i];
        }
    LiveVector<N> x{};
    for (std::size_t i = N; i-- > 0;)
    {
        double sum = b[i];
        for (std::size_t k = i + 1; k < N; ++k)
            sum -= a[i][k] * x[k];
        x[i] = a[i][i] > smallestPivot ? sum / a[i][i] : 0.0;
    }
    return x;
}

/// The mean of `state` once it is known that the next mean is `later` where `predicted` was
/// expected (H. Rauch, F. Tung and C. Striebel, 1965).
template <std::size_t N>
LiveVector<N> smoothMean(const LiveState<N>& state, const LiveState<N>& predicted,
                         const LiveMatrix<N>& transition, const LiveVector<N>& later)
{
    LiveVector<N> surprise{};
    for (std::size_t i = 0; i < N; ++i)
        surprise[i] = later[i] - predicted.mean[i];
    const auto solved = solveSymmetric(predicted.covariance, surprise);
    LiveVector<N> mean = state.mean;
    for (std::size_t i = 0; i < N; ++i)
        for (std::size_t j = 0; j < N; ++j)
            for (std::size_t k = 0; k < N; ++k)
                mean[i] += state.covariance[i][j] * transition[k][j] * solved[k];
    return mean;
}

/// Kalman filters of one value that differ in how much the value may move. All are fed; the one
/// whose predictions were the likeliest is believed.
template <std::size_t N, std::size_t M>
class LiveFilterBank
{
public:
    using State = LiveState<N>;

    std::array<State, M> states{};
    std::array<double, M> likelihoods{};

    /// Only the first ones take part.
    std::size_t numActive = M;

    /// What is assumed of the models before they have shown anything.
    void favour(const std::array<double, M>& prior) { likelihoods = prior; }

    std::size_t getBest() const
    {
        return static_cast<std::size_t>(
            std::max_element(likelihoods.begin(), likelihoods.begin() + numActive) -
            likelihoods.begin());
    }

    const State& getState() const { return states[getBest()]; }

    void predict(const LiveMatrix<N>& transition, const std::array<LiveMatrix<N>, M>& noises)
    {
        for (std::size_t i = 0; i < numActive; ++i)
            states[i] = predictState(states[i], transition, noises[i]);
    }

    /// Takes in a measurement of the value. Outliers count little: Student's t with four degrees of
    /// freedom; older likelihoods count by `memory`.
    void update(double value, double variance, double memory)
    {
        for (std::size_t i = 0; i < numActive; ++i)
        {
            auto& [mean, covariance] = states[i];
            const double error = value - mean[0];
            const double spread = covariance[0][0] + variance;
            const double distance = error * error / spread;
            likelihoods[i] =
                likelihoods[i] * memory - 0.5 * std::log(spread) - 2.5 * std::log1p(distance / 4.0);
            const double trust = std::max((4.0 + distance) / 5.0, 0.7);
            const LiveVector<N> row = covariance[0];
            const double scale = 1.0 / (row[0] + variance * trust);
            for (std::size_t j = 0; j < N; ++j)
            {
                mean[j] += row[j] * scale * error;
                for (std::size_t k = 0; k < N; ++k)
                    covariance[j][k] -= row[j] * scale * row[k];
            }
        }
        const double top = likelihoods[getBest()];
        for (double& likelihood : likelihoods)
            likelihood -= top;
    }
};

} // namespace orvo::audio::precise
