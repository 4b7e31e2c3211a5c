#pragma once

#include "dsp/precise/HumModel.h"
#include "dsp/precise/Series.h"

#include <deque>

namespace orvo::audio::precise
{

/// How hum behaves over a recording.
enum class HumKind
{
    None,
    Steady,
    Tape,      ///< its frequency wavers more than mains do, or lies beside them
    Switched,  ///< it comes and goes, or leaps in phase where the recording was cut
    Breathing, ///< its level wavers
    Bursts     ///< none, but clicks at a steady rate
};

/// The hum at one moment.
struct HumMoment
{
    double time;      ///< seconds
    double frequency; ///< Hz
    double gain;      ///< against its mean
    bool isOn;
};

/// One harmonic of one channel over the whole recording; powers are means over the time that hum is
/// on, of a sine of amplitude 1: 0.5.
struct HarmonicSummary
{
    int channel;
    int harmonic;
    double power;
    double noise; ///< of everything else beside it, the geometric mean: loud moments count little
    double evidence; ///< natural logarithm of the likelihood ratio to no hum

    /// How far the line would stand out in a spectrum of a second, in dB.
    double getProminence() const;
};

/// What is known of the hum of a recording, put together from its stretches.
class HumSummary
{
public:
    /// Takes the part of a stretch's hum from `from` to `to` seconds of the recording; the stretch
    /// starts at `start`.
    void add(const HumModel& model, double start, double from, double to);

    /// Marks a part without hum, with clicks at a steady rate instead when `isBursts`.
    void addNothing(double from, double to, bool isBursts);

    bool hasHum() const { return secondsOfHum > 0.0; }

    double getSecondsOfHum() const { return secondsOfHum; }

    HumKind getKind() const;

    /// Hz, over the time with hum; 0 without.
    double getMeanFrequency() const;

    /// One sigma of it in Hz, from the noise beside the harmonics.
    double getUncertainty() const;

    double getLowestFrequency() const;
    double getHighestFrequency() const;

    /// Hz per second, the slope of a straight line through the course.
    double getDrift() const;

    /// Times in seconds at which the hum changes at once.
    const Series<double>& getChanges() const { return changes; }

    /// The course, a point every fifth of a second or so.
    const std::deque<HumMoment>& getCourse() const { return course; }

    /// Harmonics with hum, by channel and number.
    Series<HarmonicSummary> getHarmonics() const;

private:
    struct Line
    {
        double power = 0.0;
        double logNoise = 0.0;
        double seconds = 0.0;
        double evidence = 0.0;
    };

    void addCourse(const HumModel& model, double start, double from, double to);
    void addLines(const HumModel& model, double start, double from, double to);

    std::deque<HumMoment> course; // of days: a vector would take thrice the memory as it grows
    Series<double> changes;
    Series<Series<Line>> channels; // [channel][harmonic - 1]
    double secondsOfHum = 0.0;
    double secondsOfBursts = 0.0;
    double information = 0.0; // of the phase, per radian squared
};

} // namespace orvo::audio::precise
