#include "dsp/precise/HarmonicLines.h"

#include "dsp/precise/RowKernels.h"
#include "dsp/precise/Windows.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace orvo::audio::precise
{
namespace
{

constexpr int meanFrames = 15;
constexpr int powerFrames = 13;

/// The power of what moves is a little larger than its distance from a mean that it takes part in.
constexpr double shareOfMean = 1.2;

/// Frames beyond the ends are those before them, mirrored.
int mirror(int frame, int numFrames)
{
    const int inside = frame < 0 ? -frame : frame;
    const int last = inside >= numFrames ? 2 * numFrames - 2 - inside : inside;
    return std::clamp(last, 0, numFrames - 1);
}

/// Lines that are worked on together, so that what is needed of them stays near the processor.
constexpr int blockLines = 64;

/// Writes how far each of some lines is from the mean of the frames around it.
class DistanceFromMean
{
public:
    explicit DistanceFromMean(const HarmonicLines& linesToUse)
        : lines(linesToUse)
        , weights(makeHannWindow(meanFrames))
    {
        const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
        for (double& weight : weights)
            weight /= sum;
    }

    void write(int frame, int first, int count, double* powers) const
    {
        std::array<const double*, meanFrames> rows;
        for (int i = 0; i < meanFrames; ++i)
        {
            const int other = mirror(frame + i - meanFrames / 2, lines.numFrames);
            // The standard lays the parts of complex values side by side.
            rows[static_cast<std::size_t>(i)] =
                reinterpret_cast<const double*>(&lines.amplitudes[lines.at(other, first)]);
        }
        getDistances({rows.data(), weights.data(), meanFrames},
                     &lines.amplitudes[lines.at(frame, first)], count, powers);
    }

private:
    const HarmonicLines& lines;
    Series<double> weights;
};

} // namespace

HarmonicLines makeLines(int numChannels, int numHarmonics, int numFrames, double firstTime,
                        double frameTime)
{
    HarmonicLines lines{numChannels, numHarmonics, numFrames, firstTime, frameTime, {}, {}};
    lines.amplitudes.resize(lines.at(numFrames, 0));
    lines.noise.resize(lines.at(numFrames, 0));
    return lines;
}

HarmonicLines keepHarmonics(const HarmonicLines& lines, int numHarmonics)
{
    const int kept = std::min(numHarmonics, lines.numHarmonics);
    HarmonicLines result =
        makeLines(lines.numChannels, kept, lines.numFrames, lines.firstTime, lines.frameTime);
    for (int frame = 0; frame < lines.numFrames; ++frame)
        for (int channel = 0; channel < lines.numChannels; ++channel)
        {
            const std::size_t from = lines.at(frame, channel * lines.numHarmonics);
            const std::size_t to = result.at(frame, channel * kept);
            std::copy_n(&lines.amplitudes[from], kept, &result.amplitudes[to]);
            std::copy_n(&lines.noise[from], kept, &result.noise[to]);
        }
    return result;
}

void addMovingNoise(HarmonicLines& lines)
{
    if (lines.numFrames <= meanFrames + 5)
        return;
    const DistanceFromMean distance(lines);
    smoothPower(
        lines, Series<char>(static_cast<std::size_t>(lines.numFrames)),
        [&](int frame, int first, int count, double* powers)
        { distance.write(frame, first, count, powers); },
        [&](int frame, int first, int count, const double* powers)
        {
            double* const noise = &lines.noise[lines.at(frame, first)];
            for (int i = 0; i < count; ++i)
                noise[i] = std::max(noise[i], shareOfMean * powers[i]);
        });
}

double getSteadiness(const HarmonicLines& shape, const Series<double>& gains,
                     const Series<Complex>& amplitudes, int line)
{
    Complex sum;
    double weights = tiny;
    double power = tiny;
    for (int frame = 0; frame < shape.numFrames; ++frame)
    {
        const Complex amplitude = amplitudes[shape.at(frame, line)];
        sum += gains[frame] * amplitude;
        weights += gains[frame] * gains[frame];
        power += getPower(amplitude);
    }
    return getPower(sum) / (power * weights);
}

void smoothPower(const HarmonicLines& shape, const Series<char>& isSkipped,
                 const WritePowers& write, const TakePowers& take)
{
    const Series<double> window = makeHannWindow(powerFrames);
    Series<double> powers(indexOf(shape.numFrames, blockLines));
    std::array<double, blockLines> smooth;
    std::array<const double*, powerFrames> rows;
    std::array<double, powerFrames> weights;
    for (int first = 0; first < shape.getNumLines(); first += blockLines)
    {
        const int count = std::min(blockLines, shape.getNumLines() - first);
        for (int frame = 0; frame < shape.numFrames; ++frame)
            write(frame, first, count, &powers[indexOf(frame, blockLines)]);
        for (int frame = 0; frame < shape.numFrames; ++frame)
        {
            int numRows = 0;
            double sum = 0.0;
            for (int i = 0; i < powerFrames; ++i)
            {
                const int other = mirror(frame + i - powerFrames / 2, shape.numFrames);
                if (isSkipped[other] != 0)
                    continue;
                rows[static_cast<std::size_t>(numRows)] = &powers[indexOf(other, blockLines)];
                weights[static_cast<std::size_t>(numRows++)] = window[i];
                sum += window[i];
            }
            sumRows({rows.data(), weights.data(), numRows}, numRows > 0 ? sum : 1.0, count,
                    smooth.data());
            take(frame, first, count, smooth.data());
        }
    }
}

} // namespace orvo::audio::precise
