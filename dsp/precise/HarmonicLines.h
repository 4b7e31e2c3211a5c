#pragma once

#include "dsp/precise/ComplexMath.h"
#include "dsp/precise/Series.h"

#include <cstddef>
#include <functional>

namespace orvo::audio::precise
{

/// Harmonics above this share of the sample rate are left alone.
inline constexpr double highestShareOfRate = 0.45;

/// Share of its power by which the pattern of a line is never exact.
inline constexpr double patternError = 1e-3;

/// Of Student's t distribution, whose density of a complex value falls with the power
/// -(freedom / 2 + 1).
inline constexpr double freedom = 2.0;

/// What frames of a stretch hold at the harmonics of a track, for all channels: complex amplitudes
/// against the phase of the track (a harmonic that follows it stands still), and the power of
/// everything else near them.
///
/// Line = channel * numHarmonics + harmonic - 1. Frames are `frameTime` seconds apart, the first is
/// centred at `firstTime` seconds of the stretch.
struct HarmonicLines
{
    int numChannels = 1;
    int numHarmonics = 0;
    int numFrames = 0;
    double firstTime = 0.0;
    double frameTime = 0.0;
    Series<Complex> amplitudes; ///< [frame][line]
    Series<double> noise;       ///< [frame][line], power

    int getNumLines() const { return numChannels * numHarmonics; }

    /// Number of the harmonic, from 1.
    int getHarmonic(int line) const { return line % numHarmonics + 1; }

    double getTime(int frame) const { return firstTime + frame * frameTime; }

    std::size_t at(int frame, int line) const
    {
        return static_cast<std::size_t>(frame) * static_cast<std::size_t>(getNumLines()) +
               static_cast<std::size_t>(line);
    }
};

/// An empty stretch of the same shape.
HarmonicLines makeLines(int numChannels, int numHarmonics, int numFrames, double firstTime,
                        double frameTime);

/// Only the first harmonics; all when there are no more.
HarmonicLines keepHarmonics(const HarmonicLines& lines, int numHarmonics);

/// Raises the noise to what moves beside each harmonic within 2 to 12 Hz: the distance of every
/// frame from the weighted mean of the 15 around it, smoothed over 13.
void addMovingNoise(HarmonicLines& lines);

/// How much of a line's power is in its mean, from 0 to 1: 1 for what never changes but for the
/// gain that all lines share. `amplitudes`, [frame][line], are with those gains, one per frame.
double getSteadiness(const HarmonicLines& shape, const Series<double>& gains,
                     const Series<Complex>& amplitudes, int line);

/// Writes the power in a frame of `count` lines from `first` on, or takes it.
using WritePowers = std::function<void(int frame, int first, int count, double* powers)>;
using TakePowers = std::function<void(int frame, int first, int count, const double* powers)>;

/// Gives the mean power over 13 frames around each, those marked as skipped left out; where all
/// are, 0. Some lines at a time: of each all frames are written before any is taken.
void smoothPower(const HarmonicLines& shape, const Series<char>& isSkipped,
                 const WritePowers& write, const TakePowers& take);

} // namespace orvo::audio::precise
