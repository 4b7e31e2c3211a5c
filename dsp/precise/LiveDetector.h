#pragma once

#include "dsp/precise/LiveMath.h"

#include <vector>

namespace orvo::audio::precise
{

/// Looks for the fundamental near the nominal: in blocks of a second, how well do the harmonics of
/// a candidate agree with a steady hum of that frequency?
class LiveDetector
{
public:
    void prepare(const LiveLayout& newLayout);

    struct Finding
    {
        double deviation = 0.0;

        /// How much better than the deviation that is followed now.
        double margin = 0.0;
    };

    /// Starts a new search / searches one harmonic of one channel, to be done in order / tells the
    /// result.
    void begin();
    void search(const LiveHistory& history, int part);
    Finding find(double current) const;

    int getNumParts() const { return numHarmonics * layout.numChannels; }

private:
    void searchBlock(const LiveHistory& history, int harmonic, std::size_t line, int begin,
                     int count);

    LiveLayout layout;
    int numHarmonics = 0;
    int blockLength = 0;

    std::vector<double> scores;
    std::vector<Complex> weighted;
};

} // namespace orvo::audio::precise
