#include "dsp/precise/LiveTracker.h"

#include <algorithm>
#include <cmath>

namespace orvo::audio::precise
{
namespace
{

/// Seconds over which predictions are remembered when models are compared.
constexpr double memoryOfModels = 3.0;

/// A drift of the frequency dies out within 1.5 s, one of the level within 0.5 s.
constexpr double lifeOfDrift = 1.5;
constexpr double lifeOfGainDrift = 0.5;

/// Walks of frequency and drift, of gain and its slope, from steady to wild.
constexpr std::array<double, 4> frequencyWalks = {1e-5, 1e-3, 3e-2, 0.3};
constexpr std::array<double, 4> driftWalks = {0.0, 0.0, 0.0, 2.0};
constexpr std::array<double, 3> gainWalks = {1e-6, 1e-3, 0.05};
constexpr std::array<double, 3> slopeWalks = {0.0, 0.0, 1.0};
constexpr std::array<double, 4> phasePrior = {0.0, 0.0, -1.0, -2.0};
constexpr std::array<double, 3> gainPrior = {0.0, -1.0, -2.0};

/// Higher harmonics would tell the phase better still, but wrap around sooner.
constexpr int harmonicsForMotion = 24;

/// Information is worth less than the model says, since what disturbs neighbouring harmonics
/// hangs together.
constexpr double phaseCaution = 3.0;
constexpr double gainCaution = 1.5;

/// Share of the new frame in the noise beside the lines.
constexpr double sideNoiseStep = 2.0 / 7.0;

constexpr double largestLiveLogGain = 3.0;

} // namespace

LiveTracker::LiveTracker(const LiveLayout& newLayout, int numRecords)
    : layout(newLayout)
    , pattern(newLayout.getNumLines())
    , evidence(newLayout)
    , records(static_cast<std::size_t>(numRecords))
{
    const auto count = static_cast<std::size_t>(layout.getNumLines());
    for (auto* values : {&noise, &expectedVariance, &sideNoise})
        values->resize(count);
    aligned.resize(count);
    expected.resize(count);
    for (auto& lines : recent)
        lines.resize(count);
    for (auto& record : records)
        record.walks = pattern.walks;
    start(0.0, 0.08, false);
}

void LiveTracker::start(double deviation, double uncertainty, bool newSteady)
{
    steady = newSteady;
    phase = {};
    gain = {};
    phase.numActive = steady ? 2 : 4;
    gain.numActive = steady ? 1 : 3;
    phase.favour(phasePrior);
    gain.favour(gainPrior);
    for (std::size_t i = 0; i < phase.states.size(); ++i)
    {
        auto& [mean, covariance] = phase.states[i];
        mean[1] = 2.0 * pi * deviation;
        covariance[0][0] = 1e-4;
        covariance[1][1] = std::pow(2.0 * pi * uncertainty, 2.0);
        covariance[2][2] = driftWalks[i] > 0.0 ? 1.0 : 0.0;
    }
    pattern.start(steady ? 1 : LivePattern::numModels);
    evidence.start();
    hasSideNoise = false;
    numRecent = 0;
    age = 0;
    numKept = 0;
    ++segment;
}

double LiveTracker::getDeviation() const
{
    return phase.getState().mean[1] / (2.0 * pi);
}

double LiveTracker::getLevel(const LiveVector<2>& logGain)
{
    return std::exp(std::clamp(logGain[0], -largestLiveLogGain, largestLiveLogGain));
}

const LiveRecord& LiveTracker::getRecord(int back) const
{
    return records[(newestRecord + records.size() - static_cast<std::size_t>(back)) %
                   records.size()];
}

LiveMatrix<3> LiveTracker::getPhaseTransition(double t)
{
    return {{{1.0, t, t * t / 2.0}, {0.0, 1.0, t}, {0.0, 0.0, std::exp(-t / lifeOfDrift)}}};
}

LiveMatrix<2> LiveTracker::getGainTransition(double t)
{
    return {{{1.0, t}, {0.0, std::exp(-t / lifeOfGainDrift)}}};
}

std::array<LiveMatrix<3>, 4> LiveTracker::getPhaseNoise(double t)
{
    std::array<LiveMatrix<3>, 4> noises{};
    for (std::size_t i = 0; i < noises.size(); ++i)
    {
        const double q = frequencyWalks[i];
        noises[i] = {{{q * t * t * t / 3.0, q * t * t / 2.0, 0.0},
                      {q * t * t / 2.0, q * t, 0.0},
                      {0.0, 0.0, driftWalks[i] * t}}};
    }
    return noises;
}

std::array<LiveMatrix<2>, 3> LiveTracker::getGainNoise(double t)
{
    std::array<LiveMatrix<2>, 3> noises{};
    for (std::size_t i = 0; i < noises.size(); ++i)
        noises[i] = {{{gainWalks[i] * t, 0.0}, {0.0, slopeWalks[i] * t}}};
    return noises;
}

void LiveTracker::advance(const LiveObservation& observation)
{
    if (!observation.isValid && age == 0)
        return;
    predict();
    if (!observation.isValid)
    {
        evidence.fade();
        evidence.decide(pattern.getWalk().amplitudes, getDeviation());
        remember(observation.centre);
        return;
    }
    align(observation, phase.getState().mean[0], 1.0);
    if (age == 0)
        pattern.setSpread(observation.lines, observation.noise);
    readNoise(observation);
    evidence.add(aligned, expected, noise, age == 0);
    measureMotion();
    updatePattern(observation);
    ++age;
    evidence.decide(pattern.getWalk().amplitudes, getDeviation());
    remember(observation.centre);
}

void LiveTracker::predict()
{
    if (age > 0)
    {
        const double seconds = layout.getHopSeconds();
        phase.predict(getPhaseTransition(seconds), getPhaseNoise(seconds));
        gain.predict(getGainTransition(seconds), getGainNoise(seconds));
    }
    if (!isAudible())
    {
        gain.favour(gainPrior);
        pattern.favourSteady();
    }
}

void LiveTracker::align(const LiveObservation& observation, double angle, double scale)
{
    const Complex turn = makePhasor(-angle);
    for (int channel = 0; channel < layout.numChannels; ++channel)
    {
        Complex phasor = scale;
        for (int h = 0; h < layout.numHarmonics; ++h)
        {
            const auto i = static_cast<std::size_t>(channel * layout.numHarmonics + h);
            phasor = multiply(phasor, turn);
            aligned[i] = multiply(observation.lines[i], phasor);
        }
    }
}

void LiveTracker::readNoise(const LiveObservation& observation)
{
    const double level = getGain();
    if (age > 0)
        pattern.predict(observation.noise, 1.0 / (level * level));
    const auto& [amplitudes, variances] = pattern.getWalk();
    const auto kept = std::min(numRecent, recent.size());
    const bool hasMean = kept >= 3;
    const double share = hasMean ? 1.0 / static_cast<double>(kept) : 0.0;
    for (std::size_t i = 0; i < noise.size(); ++i)
    {
        expected[i] = amplitudes[i] * level;
        expectedVariance[i] = variances[i] * level * level;
        if (hasMean)
        {
            Complex mean;
            for (std::size_t k = 0; k < kept; ++k)
                mean += recent[k][i];
            const double moved = getPower(aligned[i] - share * mean) / (1.0 + share);
            const double before = hasSideNoise ? sideNoise[i] : moved;
            sideNoise[i] = before + sideNoiseStep * (moved - before);
        }
        noise[i] = hasMean || hasSideNoise ? std::max(observation.noise[i], sideNoise[i])
                                           : observation.noise[i];
    }
    hasSideNoise = hasSideNoise || hasMean;
}

LiveTracker::Fit LiveTracker::fitMotion() const
{
    constexpr int numSteps = 4;
    const double prior = 1.0 / phase.getState().covariance[0][0];
    const int count = std::min(harmonicsForMotion, layout.numHarmonics);
    Fit fit;
    for (int step = 0; step < numSteps; ++step)
    {
        double information = 0.0;
        double slope = 0.0;
        double power = 0.0;
        double match = 0.0;
        const Complex turn = makePhasor(-fit.phase);
        for (int channel = 0; channel < layout.numChannels; ++channel)
        {
            Complex phasor = 1.0;
            for (int h = 1; h <= count; ++h)
            {
                const auto i = static_cast<std::size_t>(channel * layout.numHarmonics + h - 1);
                phasor = multiply(phasor, turn);
                const double own = getPower(expected[i]);
                const double spread = noise[i] + expectedVariance[i] + 1e-6 * own;
                const Complex y = multiply(aligned[i], phasor);
                const double error = getPower(y - (1.0 + fit.gain) * expected[i]);
                const double weight = std::min(3.0 / (2.0 + error / spread), 1.6) / spread;
                const Complex product = multiplyConjugate(y, expected[i]);
                information += 2.0 * h * h * own * weight;
                slope += 2.0 * h * product.imag() * weight;
                power += own * weight;
                match += product.real() * weight;
            }
        }
        fit.phaseInformation = information + 1e-9;
        fit.gainInformation = power;
        const double change = (slope - fit.phase * prior) / (fit.phaseInformation + prior);
        fit.phase = std::clamp(fit.phase + std::clamp(change, -0.25, 0.25), -1.5, 1.5);
        if (!steady && power > 0.0)
            fit.gain = std::clamp(match / power - 1.0, -0.9, 2.0);
    }
    return fit;
}

void LiveTracker::measureMotion()
{
    const bool isSilent = std::all_of(expected.begin(), expected.end(),
                                      [](Complex value) { return value == Complex(); });
    if (age == 0 || isSilent)
        return;
    const Fit fit = fitMotion();
    const double memory = std::exp(-layout.getHopSeconds() / memoryOfModels);
    const double variance = phaseCaution / fit.phaseInformation;
    // The fit leans on the prediction, which the filter must not count twice.
    const auto& state = phase.getState();
    const double measured = fit.phase * (1.0 + variance / state.covariance[0][0]);
    phase.update(state.mean[0] + measured, variance, memory);
    if (!steady && fit.gainInformation > 0.0)
        gain.update(gain.getState().mean[0] + std::log1p(fit.gain),
                    0.5 * gainCaution / fit.gainInformation + 1e-8, memory);
}

void LiveTracker::updatePattern(const LiveObservation& observation)
{
    const auto& state = phase.getState();
    const double level = getGain();
    align(observation, state.mean[0], 1.0);
    recent[numRecent++ % recent.size()] = aligned;
    for (Complex& value : aligned)
        value /= level;
    pattern.update(aligned, noise, 1.0 / (level * level), std::min(state.covariance[0][0], 0.01),
                   layout.numHarmonics, evidence.getLines(),
                   std::exp(-layout.getHopSeconds() / memoryOfModels));
}

void LiveTracker::remember(std::int64_t centre)
{
    newestRecord = (newestRecord + 1) % records.size();
    numKept = std::min(numKept + 1, static_cast<int>(records.size()));
    auto& record = records[newestRecord];
    record.centre = centre;
    record.phaseModel = phase.getBest();
    record.gainModel = gain.getBest();
    record.walk = pattern.getBest();
    record.segment = segment;
    record.phase = phase;
    record.gain = gain;
    record.walks = pattern.walks;
}

} // namespace orvo::audio::precise
