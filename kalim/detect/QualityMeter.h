#pragma once

#include "kalim/detect/ChannelComparison.h"
#include "kalim/detect/ClippingFinder.h"
#include "kalim/detect/DropoutFinder.h"
#include "kalim/detect/LoudnessMeter.h"
#include "kalim/detect/Stretches.h"
#include "kalim/detect/TruePeakMeter.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace kalim::program
{

/// What quality control asks about a recording. Channels count from 0.
struct Quality
{
    double sampleRate = 0.0;
    int channels = 0;
    std::int64_t samples = 0; ///< of each channel

    std::optional<double> loudness;      ///< integrated, LUFS
    std::optional<double> loudnessRange; ///< LU
    std::optional<double> truePeak;      ///< of all channels, dBTP; none in digital silence

    Stretches clipped; ///< of all channels, each counted by itself
    Stretches droppedOut;
    std::vector<int> silentChannels;
    std::vector<std::vector<int>> equalChannels;

    /// Power of all that precise removal takes off over that of all that it leaves, in dB; none
    /// where it takes off nothing.
    std::optional<double> removable;

    double getSeconds() const { return static_cast<double>(samples) / sampleRate; }
};

/// Measures that on the way, in memory that does not grow with the length. One thread at a time.
class QualityMeter
{
public:
    /// Any rate in Hz and number of channels.
    QualityMeter(double sampleRate, int numChannels);

    /// Takes the next samples of every channel, each given by its own pointer, and what precise
    /// removal would subtract from them. Samples must be finite.
    void add(const float* const* channels, const float* const* hum, int numSamples);

    /// Once, after all samples.
    Quality finish();

private:
    Quality quality;
    LoudnessMeter loudness;
    TruePeakMeter truePeak;
    ChannelComparison comparison;
    std::vector<ClippingFinder> clipping;
    std::vector<DropoutFinder> dropouts;
    double humPower = 0.0;
    double soundPower = 0.0;
};

} // namespace kalim::program
