#include "dsp/precise/LiveTracker.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orvo::audio::precise
{
namespace
{

/// A change is looked for between the frame before these and the newest.
constexpr int framesAfter = 2;

/// What one line can say, in units of log likelihood, and what all together must say.
constexpr double mostPerLiveLine = 8.0;
constexpr double changeMargin = 20.0;
constexpr double priceOfJump = 6.0;

/// Of more lines the lower ones speak for all, lest a change be more work than one callback takes.
constexpr int mostWeighedLines = 96;

/// A prediction that beats silence by more is not in doubt.
constexpr double marginOfDoubt = 2.0;

/// The pattern is known to a share of its power only.
constexpr double relativeNoise = 1e-3;

/// So many bounded odds can be multiplied without leaving the range of numbers.
constexpr int mostOdds = 64;

} // namespace

const std::array<Complex, LiveTracker::numShifts> LiveTracker::turns = []
{
    std::array<Complex, numShifts> circle;
    for (std::size_t k = 0; k < numShifts; ++k)
        circle[k] = makePhasor(2.0 * pi * static_cast<double>(k) / numShifts);
    return circle;
}();

bool LiveTracker::considerChange(const LiveHistory& history, LiveTracker* before)
{
    if (numKept <= framesAfter + 1 || !history[0].isValid || !history[1].isValid ||
        getRecord(0).segment != getRecord(framesAfter).segment || !evidence.hasOpen())
        return false;
    Change change;
    for (int back = 0; back < framesAfter; ++back)
        weighSilence(history[back], change);
    if (change.silence <= -marginOfDoubt)
        return false;
    for (int back = 0; back < framesAfter; ++back)
        weighShifts(history[back], change);
    const auto best = std::max_element(change.shifts.begin(), change.shifts.end());
    const double jumped = *best - priceOfJump;
    if (change.silence > changeMargin && jumped - change.silence < changeMargin)
        evidence.fallSilent();
    else if (jumped - std::max(0.0, change.silence - 4.0) > changeMargin)
    {
        if (before != nullptr)
            *before = *this;
        const auto shift = static_cast<double>(best - change.shifts.begin()) / numShifts;
        jump(2.0 * pi * shift, history);
        return true;
    }
    return false;
}

void LiveTracker::expect(const LiveObservation& observation)
{
    const auto& record = getRecord(framesAfter);
    const auto& mean = record.phase.states[record.phaseModel].mean;
    const double seconds =
        static_cast<double>(observation.centre - record.centre) / layout.sampleRate;
    align(observation, mean[0] + seconds * (mean[1] + 0.5 * seconds * mean[2]), 1.0);
    const double level = getLevel(record.gain.states[record.gainModel].mean);
    const auto& amplitudes = record.walks[record.walk].amplitudes;
    for (std::size_t i = 0; i < noise.size(); ++i)
    {
        expected[i] = level * amplitudes[i];
        noise[i] = observation.noise[i] + relativeNoise * getPower(expected[i]);
    }
}

bool LiveTracker::isWeighed(std::size_t line) const
{
    const int harmonic = static_cast<int>(line) % layout.numHarmonics + 1;
    return evidence.isOpen(line) && harmonic <= mostWeighedLines / layout.numChannels;
}

void LiveTracker::weighSilence(const LiveObservation& observation, Change& change)
{
    expect(observation);
    for (std::size_t i = 0; i < noise.size(); ++i)
        if (isWeighed(i))
            change.silence += std::clamp(
                compareErrors(getPower(aligned[i]), getPower(aligned[i] - expected[i]), noise[i]),
                -mostPerLiveLine, mostPerLiveLine);
}

void LiveTracker::weighShifts(const LiveObservation& observation, Change& change)
{
    expect(observation);
    std::array<double, numShifts> odds{};
    const double most = std::exp(mostPerLiveLine / 3.0);
    int numOdds = 0;
    const auto collect = [&]
    {
        for (std::size_t k = 0; k < odds.size(); ++k)
            change.shifts[k] += 3.0 * std::log(odds[k]);
        odds.fill(1.0);
        numOdds = 0;
    };
    odds.fill(1.0);
    for (std::size_t i = 0; i < noise.size(); ++i)
    {
        if (!isWeighed(i))
            continue;
        const std::size_t h = i % static_cast<std::size_t>(layout.numHarmonics) + 1;
        const double apart = 2.0 * noise[i] + getPower(aligned[i]) + getPower(expected[i]);
        const Complex shared = 2.0 * multiplyConjugate(expected[i], aligned[i]);
        const double still = apart - shared.real();
        for (std::size_t k = 0; k < odds.size(); ++k)
        {
            const Complex& turn = turns[h * k % numShifts];
            const double error = apart - shared.real() * turn.real() + shared.imag() * turn.imag();
            odds[k] *= std::clamp(still / error, 1.0 / most, most);
        }
        if (++numOdds == mostOdds)
            collect();
    }
    collect();
}

void LiveTracker::jump(double shift, const LiveHistory& history)
{
    const auto& record = getRecord(framesAfter);
    phase.states = record.phase.states;
    gain.states = record.gain.states;
    pattern.walks = record.walks;
    for (auto& [mean, covariance] : phase.states)
    {
        mean[0] += shift;
        covariance[0][0] += 0.01;
    }
    ++segment;
    numRecent = 0;
    hasSideNoise = false;
    newestRecord = (newestRecord + records.size() - framesAfter) % records.size();
    numKept -= framesAfter;
    for (int back = framesAfter; back-- > 0;)
        advance(history[back]);
}

} // namespace orvo::audio::precise
