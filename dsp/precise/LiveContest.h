#pragma once

#include "dsp/precise/LiveDetector.h"
#include "dsp/precise/LiveTracker.h"

#include <memory>
#include <vector>

namespace orvo::audio::precise
{

/// A tracker that is believed and a few that run beside it, started later or elsewhere, and take
/// its place once they have predicted better.
class LiveContest
{
public:
    /// Not for the audio thread.
    void prepare(const LiveLayout& newLayout, int numRecords);

    void reset();

    /// The leader takes in the newest observation / looks whether the hum changed.
    void lead(const LiveHistory& history);
    void considerChange(const LiveHistory& history);

    /// The work of the others for one frame comes in this many parts, to be done in order.
    int getNumParts() const;

    void runPart(int part, const LiveHistory& history);

    const LiveTracker& getLeader() const { return *leader; }

private:
    /// Fresh ones begin with the newest frames; onset ones do so where sound sets in; detected ones
    /// begin at a frequency that a search found; the companion is steady where the leader is not,
    /// and the other way round; the former led before, or is what the leader was before a jump.
    enum Kind
    {
        fresh,
        onset,
        detected,
        companion,
        former,
        numKinds
    };

    struct Challenger
    {
        std::unique_ptr<LiveTracker> tracker;
        bool isRunning = false;
        double score = 0.0;

        /// Observations that it has yet to take in, the newest included.
        int numBehind = 0;
    };

    void launch(Kind kind, const LiveHistory& history, double deviation, double uncertainty,
                bool steady, int numFrames);
    void advance(Challenger& challenger, const LiveHistory& history);
    void begin(Kind kind, int numBehind);
    void compare();
    void launchNew(const LiveHistory& history);
    bool seesOnset(const LiveHistory& history) const;
    bool isSearching(const LiveHistory& history) const;
    void useFinding(const LiveHistory& history);

    LiveLayout layout;
    std::unique_ptr<LiveTracker> leader;
    std::vector<Challenger> challengers;
    LiveDetector detector;
    double leaderScore = 0.0;
    int numFrames = 0;
};

} // namespace orvo::audio::precise
