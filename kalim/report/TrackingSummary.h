#pragma once

namespace kalim::program
{

/// Where the tracked fundamental went, in Hz.
class TrackingSummary
{
public:
    /// `startFrequency` stands for all of it until there is a first value.
    explicit TrackingSummary(float startFrequency);

    void add(float frequency);

    float getStart() const { return start; }

    float getEnd() const { return end; }

    float getLowest() const { return lowest; }

    float getHighest() const { return highest; }

    float getMean() const { return count > 0 ? static_cast<float>(sum / count) : start; }

private:
    float start;
    float end;
    float lowest;
    float highest;
    double sum = 0.0;
    double count = 0.0;
};

} // namespace kalim::program
