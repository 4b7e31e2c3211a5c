#pragma once

#include <vector>

namespace kalim::program
{

/// Tells which channels hold the same samples all the time, and which hold nothing. The work grows
/// with the number of channels and not with that of their pairs.
class ChannelComparison
{
public:
    explicit ChannelComparison(int numChannels);

    /// Takes the next samples of every channel, each given by its own pointer.
    void add(const float* const* channels, int numSamples);

    /// Channels from 0 on of which no sample is above -90 dBFS.
    std::vector<int> getSilent() const;

    /// Groups of two and more, in ascending order, without those that are silent.
    std::vector<std::vector<int>> getEqual() const;

private:
    bool isSilent(int channel) const;

    std::vector<float> peaks;
    std::vector<std::vector<int>> groups; // of channels that have been equal so far
};

} // namespace kalim::program
