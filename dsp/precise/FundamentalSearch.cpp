#include "dsp/precise/FundamentalSearch.h"

#include "dsp/precise/GridKernels.h"
#include "dsp/precise/Windows.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace orvo::audio::precise
{
namespace
{

/// Shares of the fundamental: 0.35 Hz in steps of 0.005 at 50 Hz.
constexpr double wideSpan = 0.007;
constexpr double wideStep = 0.0001;
constexpr double nearSpan = 0.0016;
constexpr double nearStep = 0.00004;

/// How far a fundamental moves in a step of the path (one sigma).
constexpr double pathTime = 0.2;
constexpr double wideMove = 0.0004;
constexpr double nearMove = 0.00016;

constexpr std::array<double, 3> constantWindows{2.0, 4.0, 8.0};
constexpr double movingWindow = 1.0;
constexpr int candidatesPerWindow = 4;
constexpr int candidateSteps = 4;

/// One loud line must not decide alone.
constexpr double mostPerCandidateLine = 400.0;

/// A line is not trusted beyond 40 dB, however silent its surroundings are.
constexpr double leastCandidateNoise = 1e-4;

constexpr int rowGroup = 16;

struct DeviationGrid
{
    int count;
    double step; // Hz
    int width;   // of tables, so that vectors never end within a row

    double getDeviation(int index) const { return (index - count / 2) * step; }
};

DeviationGrid makeGrid(double span, double step, double fundamental)
{
    const int count = 2 * static_cast<int>(std::lround(span / step)) + 1;
    return {count, step * fundamental, (count + rowGroup - 1) / rowGroup * rowGroup};
}

/// How well the harmonics of a window add up at each deviation, for windows `stride` frames apart.
class WindowScores
{
public:
    WindowScores(const HarmonicLines& linesToUse, const DeviationGrid& gridToUse, double seconds,
                 int strideToUse)
        : lines(linesToUse)
        , grid(gridToUse)
        , length(std::max(3, static_cast<int>(seconds / lines.frameTime) | 1))
        , stride(strideToUse)
        , window(makeHannWindow(length))
        , meanPower(static_cast<std::size_t>(lines.getNumLines()))
        , scores(indexOf(getNumWindows(), grid.width))
        , readings(indexOf(TurnedReadings::group, length))
    {
        for (std::size_t at = 0; at < lines.amplitudes.size(); ++at)
            meanPower[at % meanPower.size()] += getPower(lines.amplitudes[at]) / lines.numFrames;
        const SplitComplex<float> first = makeTurns();
        SplitComplex<float> turns = first;
        for (int harmonic = 1; harmonic <= lines.numHarmonics; ++harmonic)
        {
            if (harmonic > 1)
                multiplyInPlace(turns, first);
            for (int channel = 0; channel < lines.numChannels; ++channel)
                addLine(channel * lines.numHarmonics + harmonic - 1, turns);
        }
        // Frames overlap by half, and windows by more the closer they lie.
        const float share = static_cast<float>(stride) / static_cast<float>(length) / 0.75F;
        for (float& score : scores)
            score *= share;
    }

    int getNumWindows() const { return (lines.numFrames + stride - 1) / stride; }

    const float* get(int index) const { return &scores[indexOf(index, grid.width)]; }

private:
    /// By what each frame of a window is turned back at the fundamental for each deviation,
    /// [frame][deviation].
    SplitComplex<float> makeTurns() const
    {
        SplitComplex<float> turns(indexOf(length, grid.width));
        for (int i = 0; i < length; ++i)
        {
            const double perHertz = -2.0 * std::numbers::pi * (i - length / 2) * lines.frameTime;
            const Complex step = std::polar(1.0, perHertz * grid.step);
            Complex turn = std::polar(1.0, perHertz * grid.getDeviation(0));
            for (int d = 0; d < grid.count; ++d)
            {
                turns.set(indexOf(i, grid.width, d), turn);
                turn = multiply(turn, step);
            }
        }
        return turns;
    }

    int getStart(int index) const { return index * stride - length / 2; }

    bool isInside(int index) const
    {
        return getStart(index) >= 0 && getStart(index) + length <= lines.numFrames;
    }

    void addLine(int line, const SplitComplex<float>& turns)
    {
        for (int index = 0; index < getNumWindows();)
        {
            const int last = index + TurnedReadings::group - 1;
            const bool isGroup = last < getNumWindows() && isInside(index) && isInside(last);
            addLine(line, index, isGroup, turns);
            index = isGroup ? last + 1 : index + 1;
        }
    }

    void addLine(int line, int index, bool isGroup, const SplitComplex<float>& turns)
    {
        const int first = std::max(0, getStart(index));
        const int last = std::min(lines.numFrames, getStart(index) + length);
        std::array<double, TurnedReadings::group> weights{};
        for (int i = 0; i < (isGroup ? TurnedReadings::group : 1); ++i)
            weights[static_cast<std::size_t>(i)] =
                weigh(line, first + i * stride, last - first, first - getStart(index),
                      indexOf(i, last - first));
        addScores({readings, turns, indexOf(first - getStart(index), grid.width), weights,
                   mostPerCandidateLine},
                  isGroup, last - first, grid.width, &scores[indexOf(index, grid.width)]);
    }

    /// Puts readings from a frame on to a place, weighted by the window from `inWindow` on; gives
    /// the sum of weights.
    double weigh(int line, int first, int count, int inWindow, std::size_t place)
    {
        double weights = 0.0;
        for (int i = 0; i < count; ++i)
        {
            const std::size_t at = lines.at(first + i, line);
            const double floor =
                leastCandidateNoise * (getPower(lines.amplitudes[at]) + meanPower[line]);
            const double weight = window[inWindow + i] / std::max(lines.noise[at], floor);
            readings.set(place + static_cast<std::size_t>(i), weight * lines.amplitudes[at]);
            weights += weight;
        }
        return weights;
    }

    const HarmonicLines& lines;
    const DeviationGrid& grid;
    int length;
    int stride;
    Series<double> window;
    Series<double> meanPower;
    Series<float> scores;         // [window][deviation]
    SplitComplex<float> readings; // [window of a group][frame]
};

/// The top of the parabola through a value and its neighbours, from -0.5 to 0.5.
template <typename Score>
double getTop(const Score* scores, int index, int count)
{
    if (index == 0 || index == count - 1)
        return 0.0;
    const double below = scores[index - 1];
    const double above = scores[index + 1];
    const double bend = below - 2.0 * scores[index] + above;
    return bend < 0.0 ? std::clamp(0.5 * (below - above) / bend, -0.5, 0.5) : 0.0;
}

void addPeaks(const Series<double>& scores, const DeviationGrid& grid, Series<double>& deviations)
{
    Series<double> left = scores;
    for (int i = 0; i < candidatesPerWindow; ++i)
    {
        const auto top =
            static_cast<int>(std::max_element(left.begin(), left.end()) - left.begin());
        if (left[top] <= 0.0)
            return;
        deviations.push_back(grid.getDeviation(top) +
                             grid.step * getTop(scores.data(), top, grid.count));
        for (int d = std::max(0, top - candidateSteps);
             d <= std::min(grid.count - 1, top + candidateSteps); ++d)
            left[d] = 0.0;
    }
}

/// The path through the scores of all windows that gains most, where a move costs its square.
Series<int> findPath(const WindowScores& scores, const DeviationGrid& grid, double move)
{
    const int count = grid.count;
    const int numWindows = scores.getNumWindows();
    Series<double> best(scores.get(0), scores.get(0) + count);
    Series<double> next(static_cast<std::size_t>(grid.width));
    Series<float> origins(indexOf(numWindows, grid.width));
    const double steps = grid.step / move;
    for (int index = 1; index < numWindows; ++index)
    {
        findOrigins(best, 0.5 * steps * steps, next, &origins[indexOf(index, grid.width)]);
        for (int d = 0; d < count; ++d)
            best[d] = next[d] + static_cast<double>(scores.get(index)[d]);
    }
    Series<int> path(static_cast<std::size_t>(numWindows));
    auto d = static_cast<int>(std::max_element(best.begin(), best.end()) - best.begin());
    for (int index = numWindows - 1; index >= 0; --index)
    {
        path[index] = d;
        d = static_cast<int>(origins[indexOf(index, grid.width, d)]);
    }
    return path;
}

} // namespace

Series<double> findConstantDeviations(const HarmonicLines& lines, double fundamental)
{
    const DeviationGrid grid = makeGrid(wideSpan, wideStep, fundamental);
    Series<double> deviations;
    for (const double seconds : constantWindows)
    {
        const int stride = std::max(1, static_cast<int>(0.25 * seconds / lines.frameTime));
        const WindowScores scores(lines, grid, seconds, stride);
        Series<double> sums(static_cast<std::size_t>(grid.count));
        for (int index = 0; index < scores.getNumWindows(); ++index)
            for (int d = 0; d < grid.count; ++d)
                sums[d] += scores.get(index)[d];
        addPeaks(sums, grid, deviations);
    }
    return deviations;
}

Series<double> followDeviation(const HarmonicLines& lines, double fundamental,
                               Refinement refinement)
{
    const bool isWide = refinement == Refinement::Wide;
    const DeviationGrid grid =
        makeGrid(isWide ? wideSpan : nearSpan, isWide ? wideStep : nearStep, fundamental);
    const int stride = std::max(1, static_cast<int>(pathTime / lines.frameTime));
    const WindowScores scores(lines, grid, movingWindow, stride);
    const Series<int> path = findPath(scores, grid, (isWide ? wideMove : nearMove) * fundamental);
    Series<double> knots;
    for (int index = 0; index < scores.getNumWindows(); ++index)
        knots.push_back(grid.getDeviation(path[index]) +
                        grid.step * getTop(scores.get(index), path[index], grid.count));
    const auto last = static_cast<int>(knots.size()) - 1;
    const auto smoothKnot = [&](int i) {
        return 0.25 * knots[std::max(0, i - 1)] + 0.5 * knots[i] +
               0.25 * knots[std::min(last, i + 1)];
    };
    Series<double> deviations;
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        const int index = std::min(frame / stride, last);
        const double share = static_cast<double>(frame % stride) / stride;
        const double start = smoothKnot(index);
        deviations.push_back(index < last ? start + share * (smoothKnot(index + 1) - start)
                                          : start);
    }
    return deviations;
}

} // namespace orvo::audio::precise
