#pragma once

#include "kalim/detect/Stretches.h"

#include <vector>

namespace kalim::program
{

/// Finds where the sound of one channel drops out: a value, 0 or another, that is held for a
/// millisecond and more, at which the sound breaks off and behind which it begins at once. Fades,
/// pauses and the ends of the recording do not count, nor do clipped tops. Memory is constant.
class DropoutFinder
{
public:
    explicit DropoutFinder(double sampleRate);

    void add(const float* samples, int count);

    /// After all samples.
    Stretches finish();

private:
    /// What lies beside a run.
    struct Side
    {
        float lowest;
        float highest;
        float nearest; ///< distance of those right beside from the value that is held

        void add(float sample, float held, bool isNear);
    };

    /// A run of one value that has ended, while what follows is looked at.
    struct Candidate
    {
        std::int64_t start;
        std::int64_t length;
        float value;
        Side before;
        Side after;
        int numAfter; // samples that were looked at
    };

    void addOne(float sample);
    void lookBack();
    void endRun();
    void watch(float sample);
    void judge(const Candidate& candidate);
    bool isSound(const Side& side, float held) const;

    int leastRun;
    int reach;
    int nearReach;
    Grain grain;
    std::int64_t position = 0;
    std::int64_t length = 0; // of the run that goes on
    float value = 0.0F;
    Side before{};
    std::vector<float> past; // a ring of what is before the run and its beginning
    std::size_t oldest = 0;
    std::vector<Candidate> candidates;
    Stretches dropouts;
};

} // namespace kalim::program
