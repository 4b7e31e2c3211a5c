#include "dsp/precise/TurningLines.h"

#include "dsp/precise/Windows.h"

#include <cmath>
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

/// What stands still is the same in so many parts of the stretch: the share of the power of their
/// means that is in the mean of these.
constexpr int numParts = 3;
constexpr double leastAgreement = 0.7;

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

/// The mean over frames with hum, weighted so that what turns by several periods is not in it.
Complex getMean(const HumModel& model, int line, const Part& part)
{
    const HarmonicLines& lines = model.getLines();
    const Series<double> window = makeHannWindow(part.last - part.first);
    Complex sum;
    double weights = tiny;
    for (int frame = part.first; frame < part.last; ++frame)
        if (model.isOn(frame))
        {
            const double weight = window[frame - part.first];
            sum += weight * model.getSmooth().amplitudes[lines.at(frame, line)];
            weights += weight;
        }
    return sum / weights;
}

/// What does not turn of a line, 0 where the parts of the stretch do not agree on it.
Complex getStill(const HumModel& model, int line)
{
    const int numFrames = model.getLines().numFrames;
    Complex still;
    double power = tiny;
    for (int part = 0; part < numParts; ++part)
    {
        const Complex mean =
            getMean(model, line, {part * numFrames / numParts, (part + 1) * numFrames / numParts});
        still += mean / static_cast<double>(numParts);
        power += getPower(mean) / numParts;
    }
    return getPower(still) > leastAgreement * power ? still : Complex{};
}

} // namespace

void holdTurningLines(HumModel& model)
{
    const HarmonicLines& lines = model.getLines();
    const double seconds = lines.numFrames * lines.frameTime;
    Series<Complex> amplitudes = model.getSmooth().amplitudes;
    bool isAnyHeld = false;
    for (int line = 0; line < lines.getNumLines(); ++line)
    {
        if (model.getSmooth().isPresent[line] == 0)
            continue;
        const double turning = std::abs(getTurning(model, line));
        if (turning < leastTurning || turning * seconds < leastTurns)
            continue;
        isAnyHeld = true;
        const Complex still = getStill(model, line);
        for (int frame = 0; frame < lines.numFrames; ++frame)
            amplitudes[lines.at(frame, line)] = still;
    }
    if (isAnyHeld)
        model.setAmplitudes(std::move(amplitudes));
}

} // namespace orvo::audio::precise
