#include "dsp/precise/HumModel.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <numeric>
#include <utility>

namespace orvo::audio::precise
{
namespace
{

constexpr double segmentCost = 25.0;
constexpr int sameEvent = 3; // frames

/// Multiplies harmonic h of a frame by size exp(i h phase), given amplitudes of the same shape.
void turnFrame(const HarmonicLines& shape, Series<Complex>& values, int frame, double size,
               double phase)
{
    if (size == 1.0 && phase == 0.0)
        return;
    const Complex turn = std::polar(1.0, phase);
    Series<Complex> turns;
    Complex turned = size;
    for (int h = 0; h < shape.numHarmonics; ++h)
        turns.push_back(turned = multiply(turned, turn));
    Complex* amplitude = &values[shape.at(frame, 0)];
    for (int channel = 0; channel < shape.numChannels; ++channel)
        for (int h = 0; h < shape.numHarmonics; ++h, ++amplitude)
            *amplitude = multiply(*amplitude, turns[h]);
}

void scaleNoise(HarmonicLines& lines, int frame, double factor)
{
    if (factor == 1.0)
        return;
    double* const noise = &lines.noise[lines.at(frame, 0)];
    for (int line = 0; line < lines.getNumLines(); ++line)
        noise[line] *= factor;
}

} // namespace

void turnLines(HarmonicLines& lines, const PhaseTrack& from, const PhaseTrack& to)
{
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        const double time = lines.getTime(frame);
        const double cycles = to.getPhase(time) - from.getPhase(time);
        turnFrame(lines, lines.amplitudes, frame, 1.0, -2.0 * pi * (cycles - std::floor(cycles)));
    }
}

HumModel::HumModel(PhaseTrack trackToUse, HarmonicLines linesToUse)
    : track(std::move(trackToUse))
    , lines(std::move(linesToUse))
    , readNoise(lines.noise)
    , segments{{0, lines.numFrames, true, 0.0}}
    , logGain(static_cast<std::size_t>(lines.numFrames))
{
    addMovingNoise(lines);
}

HumModel::HumModel(const HumModel& other, HarmonicLines linesToUse)
    : track(other.track)
    , lines(std::move(linesToUse))
    , readNoise(lines.noise)
    , segments(other.segments)
    , logGain(other.logGain)
    , wander(other.wander)
{
    smooth.jumps = other.smooth.jumps;
    if (isAligned())
    {
        addMovingNoise(lines);
        return;
    }
    // What moves beside a harmonic is seen once the changes that are known are taken out.
    HarmonicLines aligned = align().lines;
    addMovingNoise(aligned);
    for (int frame = 0; frame < lines.numFrames; ++frame)
        scaleNoise(aligned, frame, std::exp(2.0 * logGain[frame]));
    lines.noise = std::move(aligned.noise);
}

bool HumModel::isAnyPresent() const
{
    return std::find(smooth.isPresent.begin(), smooth.isPresent.end(), 1) != smooth.isPresent.end();
}

const Segment& HumModel::getSegment(int frame) const
{
    return *std::find_if(segments.begin(), segments.end(),
                         [frame](const Segment& segment) { return frame < segment.last; });
}

/// Whether no gain and no change makes the lines differ from what they would be without.
bool HumModel::isAligned() const
{
    return segments.size() == 1 && segments.front().phase == 0.0 &&
           std::all_of(logGain.begin(), logGain.end(), [](double gain) { return gain == 0.0; });
}

/// Lines as they would be with one phase and a gain of 1, and the frames without hum or with a
/// change in them.
HumModel::Aligned HumModel::align() const
{
    Aligned aligned{lines, Series<char>(static_cast<std::size_t>(lines.numFrames))};
    for (const Segment& segment : segments)
    {
        for (int frame = segment.first; frame < segment.last; ++frame)
        {
            const double shrink = std::exp(-logGain[frame]);
            turnFrame(lines, aligned.lines.amplitudes, frame, shrink, -segment.phase);
            scaleNoise(aligned.lines, frame, shrink * shrink);
            if (!segment.isOn)
                aligned.isSkipped[frame] = 1;
        }
        if (segment.first > 0)
            aligned.isSkipped[segment.first - 1] = aligned.isSkipped[segment.first] = 1;
    }
    return aligned;
}

HumModel::Prepared::Prepared(Aligned alignedToUse)
    : aligned(std::move(alignedToUse))
    , smoother(aligned.lines, aligned.isSkipped)
{
}

const HumModel::Prepared& HumModel::prepare() const
{
    if (!prepared)
        prepared = std::make_shared<const Prepared>(align());
    return *prepared;
}

Series<double> HumModel::getLineScores() const
{
    Series<double> scores = prepare().smoother.getScores();
    const double gains = std::accumulate(logGain.begin(), logGain.end(), 0.0);
    for (double& score : scores)
        score -= 2.0 * gains;
    return scores;
}

double HumModel::getScore() const
{
    const Series<double> scores = getLineScores();
    return std::accumulate(scores.begin(), scores.end(), 0.0) -
           segmentCost * static_cast<double>(segments.size() - 1);
}

double HumModel::getAdvantage(const HumModel& other, double mostPerLine) const
{
    const Series<double> scores = getLineScores();
    const Series<double> others = other.getLineScores();
    double sum = segmentCost * (static_cast<double>(other.segments.size()) -
                                static_cast<double>(segments.size()));
    for (std::size_t line = 0; line < scores.size(); ++line)
        sum += std::clamp(scores[line] - others[line], -mostPerLine, mostPerLine);
    return sum;
}

bool HumModel::addChanges()
{
    segments = findChanges(prepare().aligned.lines, smooth);
    prepared.reset();
    return segments.size() > 1;
}

void HumModel::findAmplitudes()
{
    smooth = prepare().smoother.smooth();
}

void HumModel::updateAmplitudes(Caution caution)
{
    smooth = prepare().smoother.smooth(smooth.jumps, caution);
}

int HumModel::findHighest() const
{
    const Series<char> isPresent = prepare().smoother.findPresent(smooth.jumps);
    int highest = 1;
    for (int line = 0; line < lines.getNumLines(); ++line)
        if (isPresent[line] != 0)
            highest = std::max(highest, lines.getHarmonic(line));
    return highest;
}

HarmonicLines HumModel::getReadLines(int numHarmonics) const
{
    HarmonicLines read = keepHarmonics(lines, numHarmonics);
    for (int frame = 0; frame < lines.numFrames; ++frame)
        for (int channel = 0; channel < lines.numChannels; ++channel)
            std::copy_n(&readNoise[lines.at(frame, channel * lines.numHarmonics)],
                        read.numHarmonics,
                        &read.noise[read.at(frame, channel * read.numHarmonics)]);
    return read;
}

/// Radians by which the track runs ahead of a constant frequency, per frame.
Series<double> HumModel::getLead(double meanFrequency) const
{
    Series<double> lead;
    const double start = track.getPhase(lines.firstTime);
    for (int frame = 0; frame < lines.numFrames; ++frame)
        lead.push_back(2.0 * pi *
                       (track.getPhase(lines.getTime(frame)) - start -
                        meanFrequency * frame * lines.frameTime));
    return lead;
}

/// The track goes on smoothly; where the path leaps the segment's phase does.
void HumModel::moveLeapsToSegments(SmoothPath& path)
{
    for (std::size_t i = 1; i < segments.size(); ++i)
    {
        const int first = segments[i].first;
        const double leap =
            path.values[first] - path.values[first - 1] - path.speeds[first - 1] * lines.frameTime;
        for (std::size_t j = i; j < segments.size(); ++j)
            segments[j].phase += leap;
        for (int frame = first; frame < lines.numFrames; ++frame)
            path.values[frame] -= leap;
    }
}

double HumModel::getMeanFrequency() const
{
    double mean = 0.0;
    for (int frame = 0; frame < lines.numFrames; ++frame)
        mean += track.getFrequency(lines.getTime(frame)) / lines.numFrames;
    return mean;
}

CommonMotion HumModel::measure(Motion motion, double meanFrequency) const
{
    const Aligned& aligned = prepare().aligned;
    Series<int> restarts;
    for (std::size_t i = 1; i < segments.size(); ++i)
        restarts.push_back(segments[i].first);
    return measureMotion(motion, aligned.lines, aligned.isSkipped, smooth, restarts,
                         getLead(meanFrequency));
}

void HumModel::addGain(const Series<double>& moreLogGain)
{
    for (int frame = 0; frame < lines.numFrames; ++frame)
        logGain[frame] =
            std::clamp(logGain[frame] + moreLogGain[frame], -largestLogGain, largestLogGain);
}

void HumModel::addPhase(SmoothPath& path, double meanFrequency)
{
    wander = path.wander;
    moveLeapsToSegments(path);
    Series<double> phases;
    Series<double> frequencies;
    const double start = track.getPhase(lines.firstTime);
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        phases.push_back(start + meanFrequency * frame * lines.frameTime +
                         path.values[frame] / (2.0 * pi));
        frequencies.push_back(meanFrequency + path.speeds[frame] / (2.0 * pi));
    }
    setTrack({lines.firstTime, lines.frameTime, std::move(phases), std::move(frequencies)});
}

HumModel HumModel::followMotion(Motion motion) const
{
    const double meanFrequency = getMeanFrequency();
    CommonMotion measured = measure(motion, meanFrequency);
    HumModel model = *this;
    model.prepared.reset();
    model.smooth = {{}, {}, {}, {}, smooth.jumps};
    if (motion != Motion::Phase)
        model.addGain(measured.logGain);
    if (motion != Motion::Gain)
        model.addPhase(measured.phase, meanFrequency);
    return model;
}

void HumModel::setTrack(PhaseTrack newTrack)
{
    turnLines(lines, track, newTrack);
    track = std::move(newTrack);
}

void HumModel::leaveOutHarmonic(int harmonic)
{
    for (int line = harmonic - 1; line < lines.getNumLines(); line += lines.numHarmonics)
        leaveOutLine(line);
}

void HumModel::leaveOutLine(int line)
{
    smooth.isPresent[line] = 0;
    for (int frame = 0; frame < lines.numFrames; ++frame)
        smooth.amplitudes[lines.at(frame, line)] = 0.0;
}

void HumModel::holdLine(int line, Complex still)
{
    smooth.isPresent[line] = still == Complex{} ? 0 : 1;
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        const std::size_t at = lines.at(frame, line);
        readNoise[at] += getPower(smooth.amplitudes[at] - still);
        smooth.amplitudes[at] = still;
    }
}

void HumModel::takeLine(int line, const LineEstimate& estimate)
{
    smooth.isPresent[line] = 1;
    smooth.evidence[line] = estimate.evidence;
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        smooth.amplitudes[lines.at(frame, line)] = estimate.amplitudes[frame];
        smooth.variances[lines.at(frame, line)] = estimate.variances[frame];
    }
}

void HumModel::setAmplitudes(Series<Complex> amplitudes)
{
    std::fill(smooth.isPresent.begin(), smooth.isPresent.end(), 0);
    for (int frame = 0; frame < lines.numFrames; ++frame)
        for (int line = 0; line < lines.getNumLines(); ++line)
            if (amplitudes[lines.at(frame, line)] != Complex{})
                smooth.isPresent[line] = 1;
    smooth.amplitudes = std::move(amplitudes);
}

HumModel HumModel::moveTo(HarmonicLines otherLines) const
{
    return {*this, std::move(otherLines)};
}

Series<int> HumModel::getChanges() const
{
    Series<int> changes;
    for (std::size_t i = 1; i < segments.size(); ++i)
        changes.push_back(segments[i].first);
    // A jump beside a change is the same event, seen twice.
    const Series<int> found = changes;
    for (const int jump : smooth.jumps)
        if (std::none_of(found.begin(), found.end(),
                         [jump](int change) { return std::abs(change - jump) <= sameEvent; }))
            changes.push_back(jump);
    std::sort(changes.begin(), changes.end());
    return changes;
}

Series<Part> HumModel::getParts() const
{
    Series<Part> parts;
    int first = 0;
    for (const int change : getChanges())
    {
        parts.push_back({first, change});
        first = change;
    }
    parts.push_back({first, lines.numFrames});
    return parts;
}

Series<Complex> HumModel::getAmplitudes() const
{
    Series<Complex> result = smooth.amplitudes;
    for (const Segment& segment : segments)
        for (int frame = segment.first; frame < segment.last; ++frame)
            turnFrame(lines, result, frame, segment.isOn ? std::exp(logGain[frame]) : 0.0,
                      segment.phase);
    return result;
}

} // namespace orvo::audio::precise
