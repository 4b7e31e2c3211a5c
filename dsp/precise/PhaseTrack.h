#pragma once

#include "dsp/precise/Series.h"

namespace orvo::audio::precise
{

/// Phase of the fundamental over a stretch, in cycles, at frames of equal distance; a cubic Hermite
/// spline through phase and frequency between them, a straight line outside.
class PhaseTrack
{
public:
    /// A constant fundamental in Hz.
    explicit PhaseTrack(double fundamental);

    /// Phases in cycles and frequencies in Hz at `firstTime` + k `frameTime` seconds; at least one.
    PhaseTrack(double firstTime, double frameTime, Series<double> phases,
               Series<double> frequencies);

    /// Frequencies in Hz at frames; the phase is their integral.
    static PhaseTrack fromFrequencies(double firstTime, double frameTime,
                                      Series<double> frequencies);

    /// Cycles at `time` in seconds.
    double getPhase(double time) const;

    /// Hz at `time` in seconds.
    double getFrequency(double time) const;

    /// Phases in cycles at `count` times from `time` on, `step` seconds apart, the whole cycles
    /// left out.
    void getPhases(double time, double step, int count, double* phases) const;

private:
    /// Coefficients of the polynomial in seconds from its start that holds at `time`.
    struct Piece
    {
        double start;
        double end;
        double c0, c1, c2, c3;
    };

    Piece getPiece(double time) const;

    double firstTime = 0.0;
    double frameTime = 1.0;
    Series<double> phases;
    Series<double> frequencies;
};

} // namespace orvo::audio::precise
