#pragma once

#include <memory>
#include <optional>
#include <vector>

namespace kalim::program
{

/// Loudness by EBU R 128 and ITU-R BS.1770-4, in memory that does not grow with the recording. The
/// channels count as L, R, C, LFE, Ls, Rs, four of them as L, R, Ls, Rs; further ones do not count.
/// One thread at a time.
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

private:
    struct Library;

    double sampleRate;
    int numChannels; ///< that count
    double seconds = 0.0;
    std::unique_ptr<Library> library; ///< null at rates that it does not measure at
};

} // namespace kalim::program
