#include "dsp/precise/HarmonicLines.h"

#include "dsp/precise/GridKernels.h"
#include "dsp/precise/Windows.h"

#include <algorithm>
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

/// Complex values as their parts, which the standard lays side by side.
double* getParts(Complex* values)
{
    return reinterpret_cast<double*>(values);
}

const double* getParts(const Complex* values)
{
    return reinterpret_cast<const double*>(values);
}

Series<double> getDistanceFromMean(const HarmonicLines& lines)
{
    Series<double> weights = makeHannWindow(meanFrames);
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    for (double& weight : weights)
        weight /= sum;
    const int numLines = lines.getNumLines();
    Series<double> distance(lines.noise.size());
    Series<Complex> mean(static_cast<std::size_t>(numLines));
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        std::fill(mean.begin(), mean.end(), Complex{});
        for (int i = 0; i < meanFrames; ++i)
        {
            const int other = mirror(frame + i - meanFrames / 2, lines.numFrames);
            const Complex* const values = &lines.amplitudes[lines.at(other, 0)];
            addWeighted(getParts(values), weights[i], 2 * numLines, getParts(mean.data()));
        }
        for (int line = 0; line < numLines; ++line)
            distance[lines.at(frame, line)] =
                getPower(lines.amplitudes[lines.at(frame, line)] - mean[line]);
    }
    return distance;
}

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
    const Series<double> power = smoothPower(
        lines, getDistanceFromMean(lines), Series<char>(static_cast<std::size_t>(lines.numFrames)));
    for (std::size_t i = 0; i < power.size(); ++i)
        lines.noise[i] = std::max(lines.noise[i], shareOfMean * power[i]);
}

Series<double> smoothPower(const HarmonicLines& shape, const Series<double>& power,
                           const Series<char>& isSkipped)
{
    const Series<double> weights = makeHannWindow(powerFrames);
    const int numLines = shape.getNumLines();
    Series<double> smooth(power.size());
    for (int frame = 0; frame < shape.numFrames; ++frame)
    {
        double sum = 0.0;
        double* const result = &smooth[shape.at(frame, 0)];
        for (int i = 0; i < powerFrames; ++i)
        {
            const int other = mirror(frame + i - powerFrames / 2, shape.numFrames);
            if (isSkipped[other] != 0)
                continue;
            sum += weights[i];
            const double* const values = &power[shape.at(other, 0)];
            addWeighted(values, weights[i], numLines, result);
        }
        if (sum > 0.0)
            for (int line = 0; line < numLines; ++line)
                result[line] /= sum;
    }
    return smooth;
}

} // namespace orvo::audio::precise
