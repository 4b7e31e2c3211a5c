#include "dsp/precise/HumSummary.h"

#include "dsp/precise/Mains.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orvo::audio::precise
{
namespace
{

constexpr double coursePeriod = 0.2; // seconds

/// Mains stay within 0.2 Hz of their nominal frequency and within 0.1 Hz of themselves for minutes.
constexpr double largestMainsOffset = 0.25;
constexpr double largestMainsSpread = 0.08;

/// One decibel of standard deviation.
constexpr double steadyLogGain = 0.115;

/// A frame's window holds a line's power against the noise of so many hertz times its length.
constexpr double noiseBandwidth = 1.5;

template <typename Value>
Series<double> collect(const std::deque<HumMoment>& course, const Value& value)
{
    Series<double> values;
    for (const HumMoment& moment : course)
        if (moment.isOn)
            values.push_back(value(moment));
    return values;
}

double getMean(const Series<double>& values)
{
    double sum = 0.0;
    for (const double value : values)
        sum += value;
    return values.empty() ? 0.0 : sum / static_cast<double>(values.size());
}

double getDeviation(const Series<double>& values)
{
    const double mean = getMean(values);
    double sum = 0.0;
    for (const double value : values)
        sum += (value - mean) * (value - mean);
    return values.empty() ? 0.0 : std::sqrt(sum / static_cast<double>(values.size()));
}

double getFrequency(const HumMoment& moment)
{
    return moment.frequency;
}

} // namespace

double HarmonicSummary::getProminence() const
{
    return 10.0 * std::log10(std::max(power, 1e-30) / std::max(noise, 1e-30));
}

void HumSummary::add(const HumModel& model, double start, double from, double to)
{
    addCourse(model, start, from, to);
    addLines(model, start, from, to);
    for (const int change : model.getChanges())
    {
        const double time =
            start + model.getLines().getTime(change) - 0.5 * model.getLines().frameTime;
        if (time >= from && time < to)
            changes.push_back(time);
    }
}

void HumSummary::addNothing(double from, double to, bool isBursts)
{
    if (isBursts)
        secondsOfBursts += to - from;
    for (double time = from; time < to; time += coursePeriod)
        course.push_back({time, 0.0, 0.0, false});
}

void HumSummary::addCourse(const HumModel& model, double start, double from, double to)
{
    const HarmonicLines& lines = model.getLines();
    const int stride = std::max(1, static_cast<int>(coursePeriod / lines.frameTime));
    const auto isInside = [&](int frame)
    {
        const double time = start + lines.getTime(frame);
        return frame >= 0 && frame < lines.numFrames && time >= from && time < to;
    };
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        if (!isInside(frame))
            continue;
        const double time = start + lines.getTime(frame);
        if (frame % stride == 0)
            course.push_back({time, model.getTrack().getFrequency(lines.getTime(frame)),
                              std::exp(model.getLogGain()[frame]), model.isOn(frame)});
        // The outermost frames stand for all up to the ends.
        const double begin = isInside(frame - 1) ? time - 0.5 * lines.frameTime : from;
        const double end = isInside(frame + 1) ? time + 0.5 * lines.frameTime : to;
        if (model.isOn(frame))
            secondsOfHum += end - begin;
    }
}

void HumSummary::addLines(const HumModel& model, double start, double from, double to)
{
    const HarmonicLines& lines = model.getLines();
    const Series<Complex> amplitudes = model.getAmplitudes();
    channels.resize(static_cast<std::size_t>(lines.numChannels));
    const double share = std::min(1.0, (to - from) / (lines.numFrames * lines.frameTime));
    Series<int> present;
    for (int line = 0; line < lines.getNumLines(); ++line)
    {
        if (model.getSmooth().isPresent[line] == 0)
            continue;
        Series<Line>& channel = channels[line / lines.numHarmonics];
        const int harmonic = lines.getHarmonic(line);
        if (static_cast<int>(channel.size()) < harmonic)
            channel.resize(static_cast<std::size_t>(harmonic));
        present.push_back(line);
        Line& sum = channel[harmonic - 1];
        sum.evidence += share * model.getSmooth().evidence[line];
    }
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        const double time = start + lines.getTime(frame);
        if (time < from || time >= to || !model.isOn(frame))
            continue;
        for (const int line : present)
        {
            const int harmonic = lines.getHarmonic(line);
            Line& sum = channels[line / lines.numHarmonics][harmonic - 1];
            const std::size_t at = lines.at(frame, line);
            const double power = getPower(amplitudes[at]);
            sum.power += 0.5 * power * lines.frameTime;
            sum.logNoise += std::log(0.5 * lines.noise[at]) * lines.frameTime;
            sum.seconds += lines.frameTime;
            information += harmonic * harmonic * power / lines.noise[at];
        }
    }
}

double HumSummary::getMeanFrequency() const
{
    return getMean(collect(course, getFrequency));
}

double HumSummary::getUncertainty() const
{
    if (secondsOfHum <= 0.0 || information <= 0.0)
        return 0.0;
    // The phase of each half is known to 1 / sqrt(information / 2), and they lie half the time
    // apart.
    const double phase = std::sqrt(2.0 / (0.5 * information));
    return phase / (2.0 * std::numbers::pi * 0.5 * secondsOfHum);
}

double HumSummary::getLowestFrequency() const
{
    const Series<double> values = collect(course, getFrequency);
    return values.empty() ? 0.0 : *std::min_element(values.begin(), values.end());
}

double HumSummary::getHighestFrequency() const
{
    const Series<double> values = collect(course, getFrequency);
    return values.empty() ? 0.0 : *std::max_element(values.begin(), values.end());
}

double HumSummary::getDrift() const
{
    const Series<double> frequencies = collect(course, getFrequency);
    const Series<double> times =
        collect(course, [](const HumMoment& moment) { return moment.time; });
    const double meanFrequency = getMean(frequencies);
    const double meanTime = getMean(times);
    double covariance = 0.0;
    double variance = 0.0;
    for (std::size_t i = 0; i < times.size(); ++i)
    {
        covariance += (times[i] - meanTime) * (frequencies[i] - meanFrequency);
        variance += (times[i] - meanTime) * (times[i] - meanTime);
    }
    return variance > 0.0 ? covariance / variance : 0.0;
}

HumKind HumSummary::getKind() const
{
    if (!hasHum())
        return secondsOfBursts > 0.0 ? HumKind::Bursts : HumKind::None;
    const double mean = getMeanFrequency();
    if (getMainsOffset(mean) > largestMainsOffset ||
        2.0 * getDeviation(collect(course, getFrequency)) > largestMainsSpread)
        return HumKind::Tape;
    const bool isAlwaysOn = std::all_of(course.begin(), course.end(),
                                        [](const HumMoment& moment) { return moment.isOn; });
    if (!isAlwaysOn || !changes.empty())
        return HumKind::Switched;
    const auto logGain = [](const HumMoment& moment) { return std::log(moment.gain); };
    return getDeviation(collect(course, logGain)) > steadyLogGain ? HumKind::Breathing
                                                                  : HumKind::Steady;
}

Series<HarmonicSummary> HumSummary::getHarmonics() const
{
    Series<HarmonicSummary> harmonics;
    for (std::size_t channel = 0; channel < channels.size(); ++channel)
        for (std::size_t i = 0; i < channels[channel].size(); ++i)
        {
            const Line& line = channels[channel][i];
            if (line.seconds <= 0.0)
                continue;
            // Noise as a spectrum of a second would show it.
            const double frame = 0.08;
            harmonics.push_back(
                {static_cast<int>(channel), static_cast<int>(i) + 1, line.power / line.seconds,
                 std::exp(line.logNoise / line.seconds) * frame * noiseBandwidth, line.evidence});
        }
    return harmonics;
}

} // namespace orvo::audio::precise
