#include "dsp/precise/PackedLines.h"

#include <algorithm>

namespace orvo::audio::precise
{

PackedLines::PackedLines(const HarmonicLines& lines)
    : numLines(lines.getNumLines())
    , numFrames(lines.numFrames)
    , real(indexOf(numFrames, getNumLanes()))
    , imaginary(real.size())
    , noise(real.size(), 1.0F)
{
    for (int first = 0; first < numLines; first += width)
        for (int frame = 0; frame < numFrames; ++frame)
        {
            const std::size_t from = lines.at(frame, first);
            const std::size_t to = at(first) + indexOf(frame, width);
            const auto count = static_cast<std::size_t>(std::min(width, numLines - first));
            for (std::size_t lane = 0; lane < count; ++lane)
            {
                real[to + lane] = static_cast<float>(lines.amplitudes[from + lane].real());
                imaginary[to + lane] = static_cast<float>(lines.amplitudes[from + lane].imag());
                noise[to + lane] = static_cast<float>(lines.noise[from + lane]);
            }
        }
}

} // namespace orvo::audio::precise
