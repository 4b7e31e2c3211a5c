#include "dsp/precise/HumFitter.h"

#include "dsp/precise/FundamentalSearch.h"
#include "dsp/precise/Mains.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace orvo::audio::precise
{
namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr int searchHarmonics = 16;
constexpr int roughHarmonics = 6;

/// A gain must make the hum likelier by so much, a moving fundamental by more.
constexpr double gainMargin = 20.0;

/// A loud line that comes and goes, as a note does, must not be taken for the level of all.
constexpr double mostGainPerLine = 30.0;
constexpr double phaseMargin = -20.0;
constexpr double movingMargin = 40.0;

/// The share of the evidence that a harmonic must have for a track to be its own doing.
constexpr double soloShare = 0.8;

/// A fundamental that stands still while lines turn must make each of them that much likelier.
constexpr double steadyMargin = 15.0;

/// Nearly all the time mains are that near to 50 or 60 Hz.
constexpr double steadyOffset = 0.06;

constexpr double nearShare = 0.0008; // of the fundamental
constexpr int gainRounds = 2;
constexpr int finalRounds = 3;
constexpr int noiseRounds = 2;

/// No line is trusted beyond this share of its power: one that is loud but trembles by itself must
/// not outweigh all others.
constexpr double trustedShare = 0.01;

/// Whether a frequency is one that mains keep for some seconds. What stands still elsewhere is more
/// often a held note.
bool isOfMains(double frequency)
{
    return getMainsOffset(frequency) < steadyOffset;
}

void limitTrust(HarmonicLines& lines)
{
    for (std::size_t at = 0; at < lines.noise.size(); ++at)
        lines.noise[at] = std::max(lines.noise[at], trustedShare * getPower(lines.amplitudes[at]));
}

Series<double> addToTrack(const PhaseTrack& track, const HarmonicLines& lines,
                          const Series<double>& deviations)
{
    Series<double> frequencies;
    for (int frame = 0; frame < lines.numFrames; ++frame)
        frequencies.push_back(track.getFrequency(lines.getTime(frame)) + deviations[frame]);
    return frequencies;
}

/// Whether a track stays so near to that of a model that they would become the same.
bool isNear(const PhaseTrack& track, const HumModel& model)
{
    const HarmonicLines& lines = model.getLines();
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        const double frequency = model.getTrack().getFrequency(lines.getTime(frame));
        if (std::abs(track.getFrequency(lines.getTime(frame)) - frequency) > nearShare * frequency)
            return false;
    }
    return true;
}

/// Follows the motion of the model if that makes it likelier by `margin`; false if not.
bool improve(HumModel& model, Motion motion, double margin)
{
    if (!model.isAnyPresent())
        return false;
    HumModel moved = model.followMotion(motion);
    const bool hasGain = motion != Motion::Phase;
    if (moved.getAdvantage(model, hasGain ? mostGainPerLine : infinity) < margin)
        return false;
    model = std::move(moved);
    // What looked like jumps may have been the gain.
    if (hasGain)
        model.findAmplitudes();
    else
        model.updateAmplitudes();
    return true;
}

/// The harmonic that has nearly all of the evidence, 0 if none has.
int findSoloist(const HumModel& model)
{
    const HarmonicLines& lines = model.getLines();
    Series<double> evidence(static_cast<std::size_t>(lines.numHarmonics));
    for (int line = 0; line < lines.getNumLines(); ++line)
        evidence[lines.getHarmonic(line) - 1] += std::max(0.0, model.getSmooth().evidence[line]);
    const auto most = std::max_element(evidence.begin(), evidence.end());
    const double all = std::accumulate(evidence.begin(), evidence.end(), 0.0);
    return *most > soloShare * all ? static_cast<int>(most - evidence.begin()) + 1 : 0;
}

int countPresent(const HumModel& model)
{
    const Series<char>& isPresent = model.getSmooth().isPresent;
    return static_cast<int>(std::count(isPresent.begin(), isPresent.end(), 1));
}

void silence(HarmonicLines& lines, int harmonic)
{
    for (int frame = 0; frame < lines.numFrames; ++frame)
        for (int line = harmonic - 1; line < lines.getNumLines(); line += lines.numHarmonics)
            lines.amplitudes[lines.at(frame, line)] = 0.0;
}

/// Gives whether there is a gain that makes the hum likelier.
bool improveGain(HumModel& model, Motion motion = Motion::PhaseAndGain)
{
    int round = 0;
    while (round < gainRounds && improve(model, motion, gainMargin))
        ++round;
    return round > 0;
}

/// Takes the model with the changes that are found in it, if there are any and it is likelier.
void tryChanges(HumModel& best, HumModel changed)
{
    if (!changed.addChanges())
        return;
    changed.findAmplitudes();
    improve(changed, Motion::Phase, -infinity);
    improveGain(changed);
    if (changed.getScore() > best.getScore())
        best = std::move(changed);
}

} // namespace

HumFitter::HumFitter(const ChannelView& view, const FrameGrid& grid, double fundamentalToUse)
    : fundamental(fundamentalToUse)
    , usedHarmonics(std::clamp(static_cast<int>(highestShareOfRate * view.sampleRate / fundamental),
                               1, numHarmonics))
    , reader(view, grid, fundamentalToUse, usedHarmonics)
{
}

Series<double> HumFitter::findDeviations(const HarmonicLines& lines) const
{
    return findConstantDeviations(keepHarmonics(lines, searchHarmonics), fundamental);
}

PhaseTrack HumFitter::findConstantTrack(const HarmonicLines& lines,
                                        const Series<double>& deviations) const
{
    const PhaseTrack nominal(fundamental);
    PhaseTrack best = nominal;
    double most = -infinity;
    const Series<char> isSkipped(static_cast<std::size_t>(lines.numFrames));
    for (const double deviation : deviations)
    {
        const PhaseTrack track(fundamental + deviation);
        HarmonicLines turned = lines;
        turnLines(turned, nominal, track);
        const double score = AmplitudeSmoother(turned, isSkipped).getScore();
        if (score > most)
        {
            most = score;
            best = track;
        }
    }
    return best;
}

PhaseTrack HumFitter::findMovingTrack(const HarmonicLines& lines)
{
    const PhaseTrack nominal(fundamental);
    const auto wide = PhaseTrack::fromFrequencies(
        lines.firstTime, lines.frameTime,
        addToTrack(
            nominal, lines,
            followDeviation(keepHarmonics(lines, searchHarmonics), fundamental, Refinement::Wide)));
    HarmonicLines followed = reader.read(wide, std::min(searchHarmonics, usedHarmonics));
    limitTrust(followed);
    addMovingNoise(followed);
    return PhaseTrack::fromFrequencies(
        lines.firstTime, lines.frameTime,
        addToTrack(wide, lines, followDeviation(followed, fundamental, Refinement::Near)));
}

HumModel HumFitter::develop(const PhaseTrack& track)
{
    // Low harmonics first: their phase is not yet turned by more than it can be told from.
    HarmonicLines lines = reader.read(track, usedHarmonics);
    HumModel rough(track, keepHarmonics(lines, roughHarmonics));
    rough.findAmplitudes();
    const PhaseTrack refined =
        rough.isAnyPresent() ? rough.followMotion(Motion::Phase).getTrack() : track;
    HumModel model(refined, reader.read(refined, usedHarmonics));
    model.findAmplitudes();
    if (improve(model, Motion::Phase, phaseMargin))
    {
        // Beside a track that is a little off the harmonics themselves look like noise.
        model = model.moveTo(reader.read(model.getTrack(), usedHarmonics));
        model.findAmplitudes();
    }
    // What comes and goes may be a gain, and a gain may be what comes and goes.
    const HumModel level = model;
    const bool hasGain = improveGain(model);
    HumModel best = model;
    tryChanges(best, level);
    if (hasGain)
        tryChanges(best, model);
    return best;
}

/// Mains hardly move, but a loud harmonic may turn by itself and lead the track away from all
/// others: then the hum is far likelier with a fundamental that stands still and lines that turn as
/// they will.
void HumFitter::trySteady(HumModel& best, HarmonicLines lines, Series<double> deviations)
{
    if (const int soloist = findSoloist(best); soloist != 0)
    {
        silence(lines, soloist);
        deviations = findDeviations(lines);
    }
    if (deviations.empty() || !isOfMains(fundamental + deviations.front()))
        return;
    const PhaseTrack track(fundamental + deviations.front());
    if (isNear(track, best))
        return;
    HumModel steady(track, reader.read(track, usedHarmonics));
    steady.updateAmplitudes();
    improveGain(steady, Motion::Gain);
    if (steady.getScore() > best.getScore() + steadyMargin * countPresent(steady))
        best = std::move(steady);
}

HumModel HumFitter::fit()
{
    HarmonicLines lines = reader.read(PhaseTrack(fundamental), usedHarmonics);
    limitTrust(lines);
    addMovingNoise(lines);
    const Series<double> deviations = findDeviations(lines);
    HumModel best = develop(findConstantTrack(lines, deviations));
    const PhaseTrack movingTrack = findMovingTrack(lines);
    if (!best.getChanges().empty() || !isNear(movingTrack, best))
    {
        HumModel moving = develop(movingTrack);
        if (moving.getScore() > best.getScore() + movingMargin)
            best = std::move(moving);
    }
    trySteady(best, std::move(lines), deviations);
    bool hasGain = true;
    for (int round = 0; round < finalRounds; ++round)
    {
        hasGain = hasGain && improve(best, Motion::PhaseAndGain, gainMargin);
        if (round < noiseRounds)
        {
            best.takeNoiseFromResidual();
            best.updateAmplitudes();
        }
    }
    return best;
}

} // namespace orvo::audio::precise
