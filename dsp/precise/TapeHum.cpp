#include "dsp/precise/TapeHum.h"

#include <algorithm>
#include <cmath>

namespace orvo::audio::precise
{
namespace
{

/// The least share of the power of lines that is in their means over the stretch, or, where there
/// are so few changes, would be if they did not turn at these. Notes reach 0.6 and 0.7 if they
/// wander at all, hum of tapes 0.99, and 0.8 where its wavering is fast.
constexpr double leastConstancy = 0.8;
constexpr double leastTurnedBack = 0.9;
constexpr std::size_t fewChanges = 2;

/// What a line speaks with at most.
constexpr double fullEvidence = 100.0;

/// What wanders less is an organ's pipe or a synthesiser's note if it is in tune, with any concert
/// pitch (A) that is in use. The mains alone wander that much within seconds, and tapes more.
constexpr double leastWander = 0.01; // Hz
constexpr double lowestPitch = 431.0;
constexpr double highestPitch = 447.0;

/// The mean over the lines; every part may have a phase of its own.
double getConstancy(const HumModel& model, const Series<double>& evidence,
                    const Series<Part>& parts)
{
    const HarmonicLines& lines = model.getLines();
    const Series<Complex> amplitudes = model.getAmplitudes();
    double constancy = 0.0;
    double weights = tiny;
    for (int line = 0; line < lines.getNumLines(); ++line)
    {
        if (model.getSmooth().isPresent[line] == 0)
            continue;
        double power = tiny;
        double sumOfMeans = 0.0;
        for (const Part& part : parts)
        {
            Complex sum;
            for (int frame = part.first; frame < part.last; ++frame)
            {
                sum += amplitudes[lines.at(frame, line)];
                power += getPower(amplitudes[lines.at(frame, line)]);
            }
            sumOfMeans += std::sqrt(getPower(sum));
        }
        const double weight = std::min(evidence[line], fullEvidence);
        constancy += weight * sumOfMeans * sumOfMeans / (lines.numFrames * power);
        weights += weight;
    }
    return constancy / weights;
}

/// Whether a frequency is that of a note of the equally tempered scale.
bool isInTune(double frequency)
{
    const auto getSemitones = [frequency](double pitch)
    { return 12.0 * std::log2(frequency / pitch); };
    return std::floor(getSemitones(lowestPitch)) > std::floor(getSemitones(highestPitch));
}

} // namespace

bool isHumOfTape(const HumModel& model, const OddFundamental& fundamental,
                 const Series<double>& evidence)
{
    if (fundamental.spread < leastWander && isInTune(fundamental.mean))
        return false;
    const Part whole{0, model.getLines().numFrames};
    return getConstancy(model, evidence, {whole}) > leastConstancy ||
           (model.getChanges().size() <= fewChanges &&
            getConstancy(model, evidence, model.getParts()) > leastTurnedBack);
}

} // namespace orvo::audio::precise
