#include "dsp/precise/LiveContest.h"

#include <algorithm>
#include <cmath>

namespace orvo::audio::precise
{
namespace
{

/// Seconds over which scores are compared, and the lead that a challenger needs.
constexpr double memoryOfContest = 1.5;
constexpr double marginToWin = 12.0;

/// Frames that it must have taken in, while the leader removes hum and while it does not.
constexpr int ageToWin = 5;
constexpr int ageToStart = 2;

/// Nobody wins unless the leader predicts worse than this share of the challenger's score; without
/// that, music takes the lead. A steady leader gives way to a lively one sooner.
constexpr double failing = 0.2;
constexpr double failingSteady = 0.85;

/// Lags at which challengers give up.
constexpr double hopeless = -25.0;
constexpr double hopelessCompanion = -20.0;
constexpr double hopelessFormer = -12.0;

/// A fresh one that has not gained a little by then makes room for the next.
constexpr int ageOfFresh = 25;
constexpr double leastOfFresh = 4.0;

/// What is expected of the fundamental in Hz: nothing, a little, what the search found.
constexpr double unknownSpread = 0.08;
constexpr double knownSpread = 0.03;
constexpr double searchedSpread = 0.05;

/// Seconds that those who start late take in.
constexpr double secondsOfCompanion = 3.0;
constexpr double secondsOfSearch = 1.0;

/// Observations that a challenger takes in per frame at most, to catch up when it starts late.
constexpr int stepsPerFrame = 3;

/// Less than the history holds, which goes on while they catch up.
constexpr int mostReplayed = 100;

/// How much better than the present frequency, and how far from it in Hz, a finding must be.
constexpr double detectorMargin = 15.0;
constexpr double leastDistance = 0.06;

} // namespace

void LiveContest::prepare(const LiveLayout& newLayout, int numRecords)
{
    layout = newLayout;
    leader = std::make_unique<LiveTracker>(layout, numRecords);
    challengers.clear();
    challengers.resize(numKinds);
    for (auto& challenger : challengers)
        challenger.tracker = std::make_unique<LiveTracker>(layout, numRecords);
    detector.prepare(layout);
    reset();
}

void LiveContest::reset()
{
    leader->start(0.0, unknownSpread, false);
    for (auto& challenger : challengers)
        challenger.isRunning = false;
    numFrames = 0;
}

void LiveContest::lead(const LiveHistory& history)
{
    ++numFrames;
    leader->advance(history[0]);
    leaderScore = leader->isAudible() ? leader->getEvidence().getScore() : 0.0;
}

void LiveContest::considerChange(const LiveHistory& history)
{
    auto& old = challengers[former];
    if (leader->considerChange(history, old.tracker.get()))
        begin(former, 0);
    for (auto& challenger : challengers)
        ++challenger.numBehind;
    if (old.isRunning && old.tracker->getRecord(0).centre == history[0].centre)
        old.numBehind = 0;
    leaderScore = leader->isAudible() ? leader->getEvidence().getScore() : 0.0;
}

int LiveContest::getNumParts() const
{
    return stepsPerFrame * numKinds + 3 + detector.getNumParts();
}

void LiveContest::runPart(int part, const LiveHistory& history)
{
    if (part < stepsPerFrame * numKinds)
        advance(challengers[static_cast<std::size_t>(part % numKinds)], history);
    else if (part == stepsPerFrame * numKinds)
        compare();
    else if (part == stepsPerFrame * numKinds + 1)
        launchNew(history);
    else if (isSearching(history))
    {
        part -= stepsPerFrame * numKinds + 2;
        if (part == 0)
            detector.begin();
        if (part < detector.getNumParts())
            detector.search(history, part);
        else
            useFinding(history);
    }
}

void LiveContest::begin(Kind kind, int numBehind)
{
    auto& challenger = challengers[kind];
    challenger.isRunning = true;
    challenger.score = 0.0;
    challenger.numBehind = numBehind;
}

void LiveContest::advance(Challenger& challenger, const LiveHistory& history)
{
    auto& [tracker, isRunning, score, numBehind] = challenger;
    if (!isRunning || numBehind == 0)
        return;
    tracker->advance(history[--numBehind]);
    if (numBehind > 0)
        return;
    tracker->considerChange(history, nullptr);
    score = score * std::exp(-layout.getHopSeconds() / memoryOfContest) +
            std::clamp(tracker->getEvidence().getScore() - leaderScore, -30.0, 30.0);
}

void LiveContest::compare()
{
    for (std::size_t kind = 0; kind < numKinds; ++kind)
    {
        auto& [tracker, isRunning, score, numBehind] = challengers[kind];
        if (!isRunning || numBehind > 0)
            continue;
        const double share = kind == companion && leader->isSteady() ? failingSteady : failing;
        if (score > marginToWin && tracker->isAudible() &&
            tracker->getAge() > (leader->isAudible() ? ageToWin : ageToStart) &&
            leader->getEvidence().getRecentScore() <
                share * tracker->getEvidence().getRecentScore())
        {
            std::swap(leader, tracker);
            isRunning = false;
            if (kind != former)
                std::swap(challengers[former].tracker, tracker);
            begin(former, 0);
            leaderScore = leader->getEvidence().getScore();
            return;
        }
        if (score < hopeless || (kind == former && score < hopelessFormer) ||
            (kind == fresh && tracker->getAge() > ageOfFresh && score < leastOfFresh) ||
            (kind == companion &&
             (score < hopelessCompanion || tracker->isSteady() == leader->isSteady())))
            isRunning = false;
    }
}

void LiveContest::launchNew(const LiveHistory& history)
{
    const bool isKnown = leader->isAudible();
    const double deviation = isKnown ? leader->getDeviation() : 0.0;
    const double uncertainty = isKnown ? knownSpread : unknownSpread;
    const double seconds = layout.getHopSeconds();
    if (numFrames > 3 && !challengers[companion].isRunning)
        launch(companion, history, deviation, uncertainty, !leader->isSteady(),
               static_cast<int>(secondsOfCompanion / seconds));
    if (numFrames > 6 && history[0].isValid && !challengers[fresh].isRunning)
        launch(fresh, history, deviation, uncertainty, false, 2);
    if (numFrames > 6 && !challengers[onset].isRunning && seesOnset(history))
        launch(onset, history, deviation, uncertainty, false, 2);
}

void LiveContest::launch(Kind kind, const LiveHistory& history, double deviation,
                         double uncertainty, bool steady, int count)
{
    begin(kind, std::min({count, history.getSize(), mostReplayed}));
    challengers[kind].tracker->start(deviation, uncertainty, steady);
}

bool LiveContest::seesOnset(const LiveHistory& history) const
{
    const auto& now = history[0];
    const auto& before = history[1];
    const int count = std::min(16, layout.numHarmonics);
    const Complex turn = makePhasor(-2.0 * pi * leader->getDeviation() * layout.getHopSeconds());
    if (!now.isValid || !before.isValid || !history[4].isValid)
        return false;
    double sum = 0.0;
    for (int channel = 0; channel < layout.numChannels; ++channel)
    {
        Complex phasor = 1.0;
        for (int h = 0; h < count; ++h)
        {
            const auto i = static_cast<std::size_t>(channel * layout.numHarmonics + h);
            phasor = multiply(phasor, turn);
            const Complex mean = 0.5 * (multiply(now.lines[i], phasor) + before.lines[i]);
            const double spread = 0.5 * (now.noise[i] + before.noise[i]);
            const double error = getPower(before.lines[i] - mean) + 1e-3 * getPower(mean);
            const double gained =
                std::clamp(compareErrors(error, getPower(before.lines[i]), spread), -4.0, 6.0);
            if (getPower(mean) > 4.0 * getPower(history[4].lines[i]))
                sum += std::max(gained - 2.0, 0.0);
        }
    }
    return sum > 10.0;
}

bool LiveContest::isSearching(const LiveHistory& history) const
{
    const bool isDue = numFrames % (numFrames < 9 ? 1 : numFrames < 25 ? 4 : 6) == 0;
    const auto& found = challengers[detected];
    return isDue && history.getSize() >= 3 && !(found.isRunning && found.tracker->isAudible());
}

void LiveContest::useFinding(const LiveHistory& history)
{
    const auto [deviation, margin] = detector.find(leader->getDeviation());
    if (margin > detectorMargin && std::abs(deviation - leader->getDeviation()) > leastDistance)
        launch(detected, history, deviation, searchedSpread, false,
               static_cast<int>(secondsOfSearch / layout.getHopSeconds()));
}

} // namespace orvo::audio::precise
