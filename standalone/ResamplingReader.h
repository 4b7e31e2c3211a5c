#pragma once

#include "standalone/SoundFileReader.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace kalim::standalone
{

/// A file at another rate than its own, by windowed-sinc interpolation: about 90 dB between what is
/// kept and what would be mirrored, flat up to nine tenths of the lower rate's band. At its own
/// rate the samples are those of the file. The same threads as SoundFileReader.
class ResamplingReader
{
public:
    /// Rates in Hz, the other one for what `read` gives.
    ResamplingReader(SoundFileReader& fileToRead, double outputRate);

    /// Frames of the file per frame that is given out.
    double getStep() const { return step; }

    /// Reads from a place in the file, which lies between two frames unless it is a whole number.
    void read(double position, float* left, float* right, int numFrames);

private:
    void fillWindow(std::int64_t first, std::int64_t last);
    float getWeight(double distance) const;

    SoundFileReader& file;
    double step;

    /// How much narrower the band is than that of the file, at most 1.
    double bandwidth;

    /// Frames of the file that count on either side of a place.
    int reach;
    std::vector<float> kernel;

    std::int64_t windowStart = 0;
    std::vector<float> leftWindow;
    std::vector<float> rightWindow;
};

} // namespace kalim::standalone
