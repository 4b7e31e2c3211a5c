#include "dsp/precise/StillLines.h"

#include "dsp/precise/Windows.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace orvo::audio::precise
{
namespace
{

/// Frames between which the turn is measured.
constexpr int lag = 4;

/// Hz by which a line turns in the mean at least, and as how many turns. Of 4458 lines of hum in
/// mixtures of all kinds one reaches 0.1 Hz.
constexpr double leastTurning = 0.2;
constexpr double leastTurns = 6.0;

/// Hum stands still where three quarters of the lines, of so many in so long a stretch, have so
/// much of their power in their means; a line that has less moves. Where more lines move the hum
/// does, as that of a guitar in the echoes of a delay.
constexpr std::size_t leastLines = 4;
constexpr double leastSeconds = 5.0;
constexpr double shareOfStill = 0.97;
constexpr double shareOfMoving = 0.95;

/// What stands still is the same in every third of the stretch: so much of what moves, as shares of
/// power, may be between the means of thirds. More is a fade, an echo, or chance.
constexpr int numThirds = 3;
constexpr double mostBetweenThirds = 0.4;

/// Hz by which a line turns on the track in the mean, where there is hum.
double getTurning(const HumModel& model, int line)
{
    const HarmonicLines& lines = model.getLines();
    const Series<Complex>& amplitudes = model.getSmooth().amplitudes;
    Complex sum;
    for (int frame = lag; frame < lines.numFrames; ++frame)
        if (model.isOn(frame) && model.isOn(frame - lag))
            sum += multiplyConjugate(amplitudes[lines.at(frame, line)],
                                     amplitudes[lines.at(frame - lag, line)]);
    return std::arg(sum) / (2.0 * std::numbers::pi * lag * lines.frameTime);
}

/// The mean over frames with hum, each counting for what is known in it, and so that what turns by
/// several periods is not in it.
Complex getMean(const HumModel& model, int line, const Part& part)
{
    const HarmonicLines& lines = model.getLines();
    const Series<double> window = makeHannWindow(part.last - part.first);
    Complex sum;
    double weights = tiny;
    for (int frame = part.first; frame < part.last; ++frame)
        if (model.isOn(frame))
        {
            const std::size_t at = lines.at(frame, line);
            const double weight =
                window[frame - part.first] / (model.getSmooth().variances[at] + tiny);
            sum += weight * model.getSmooth().amplitudes[at];
            weights += weight;
        }
    return sum / weights;
}

/// The share of a line's power that is in its mean.
double getShareOfMean(const HumModel& model, int line)
{
    const HarmonicLines& lines = model.getLines();
    const Complex mean = getMean(model, line, {0, lines.numFrames});
    double ofMean = 0.0;
    double power = tiny;
    for (int frame = 0; frame < lines.numFrames; ++frame)
        if (model.isOn(frame))
        {
            ofMean += getPower(mean);
            power += getPower(model.getSmooth().amplitudes[lines.at(frame, line)]);
        }
    return ofMean / power;
}

/// What stands still of a line of which such a share is in its mean; 0 where the thirds of the
/// stretch do not agree on it.
Complex getStill(const HumModel& model, int line, double shareOfMean)
{
    const int numFrames = model.getLines().numFrames;
    Complex still;
    double power = tiny;
    for (int third = 0; third < numThirds; ++third)
    {
        const Complex mean = getMean(
            model, line, {third * numFrames / numThirds, (third + 1) * numFrames / numThirds});
        still += mean / static_cast<double>(numThirds);
        power += getPower(mean) / numThirds;
    }
    const double betweenThirds = 1.0 - getPower(still) / power;
    return betweenThirds < mostBetweenThirds * (1.0 - shareOfMean) ? still : Complex{};
}

} // namespace

void holdLinesStill(HumModel& model)
{
    const HarmonicLines& lines = model.getLines();
    const double seconds = lines.numFrames * lines.frameTime;
    Series<int> present;
    Series<double> shares;
    for (int line = 0; line < lines.getNumLines(); ++line)
        if (model.getSmooth().isPresent[line] != 0)
        {
            present.push_back(line);
            shares.push_back(getShareOfMean(model, line));
        }
    const auto numStill = std::count_if(shares.begin(), shares.end(),
                                        [](double share) { return share > shareOfStill; });
    const bool isStill = shares.size() >= leastLines && seconds > leastSeconds &&
                         4 * numStill > 3 * static_cast<std::ptrdiff_t>(shares.size());
    for (std::size_t i = 0; i < present.size(); ++i)
    {
        const double turning = std::abs(getTurning(model, present[i]));
        const bool turns = turning > leastTurning && turning * seconds > leastTurns;
        if (!turns && !(isStill && shares[i] < shareOfMoving))
            continue;
        const Complex still = getStill(model, present[i], shares[i]);
        if (turns || still != Complex{})
            model.holdLine(present[i], still);
    }
}

} // namespace orvo::audio::precise
