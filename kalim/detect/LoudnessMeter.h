#pragma once

#include <optional>
#include <vector>

namespace kalim::program
{

/// Loudness by EBU R 128 and ITU-R BS.1770-4, in memory that does not grow with the recording. The
/// channels count as L, R, C, LFE, Ls, Rs, four of them as L, R, Ls, Rs; further ones are measured
/// for their peaks alone. One thread at a time.
class LoudnessMeter
{
public:
    LoudnessMeter(double sampleRate, int numChannels);
    ~LoudnessMeter();

    LoudnessMeter(const LoudnessMeter&) = delete;
    LoudnessMeter& operator=(const LoudnessMeter&) = delete;

    /// Takes the next samples of every channel, each given by its own pointer.
    void add(const float* const* channels, int numSamples);

    /// Integrated, in LUFS. None where nothing lasts for 0.4 s or is above the gate of -70 LUFS,
    /// and at rates below 8 kHz, for which the weighting is not made.
    std::optional<double> getIntegrated() const;

    /// In LU; none for less than 3 s of sound, or without integrated loudness.
    std::optional<double> getRange() const;

    /// Of all channels, between the samples, in dBTP; none in digital silence and at rates that are
    /// none of sound, below 16 Hz and above 2.8 MHz.
    std::optional<double> getTruePeak() const;

private:
    /// The library with some of the channels.
    struct Group;

    void addGroup(int first, int count, int mode);

    double sampleRate;
    double seconds = 0.0;
    std::vector<Group> groups; // the first with those that loudness is made of
    std::vector<float> interleaved;
};

} // namespace kalim::program
