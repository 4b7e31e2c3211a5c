#pragma once

#include <vector>

namespace kalim::program
{

/// The highest value of any channel between the samples (ITU-R BS.1770-4, annex 2). What is so
/// quiet that it cannot be the highest is passed over, which changes nothing but the time. One
/// thread at a time.
class TruePeakMeter
{
public:
    TruePeakMeter(double sampleRate, int numChannels);
    ~TruePeakMeter();

    TruePeakMeter(const TruePeakMeter&) = delete;
    TruePeakMeter& operator=(const TruePeakMeter&) = delete;

    /// Takes the next samples of every channel, each given by its own pointer.
    void add(const float* const* channels, int numSamples);

    /// Of all so far; 1 is full scale. 0 in silence, and at rates that are none of sound, below
    /// 16 Hz and above 2.8 MHz.
    double getPeak() const;

private:
    /// The library with some of the channels.
    struct Group;

    std::vector<Group> groups;
};

} // namespace kalim::program
