#pragma once

#include "dsp/precise/HumModel.h"

namespace orvo::audio::precise
{

/// Fits a hum of a fundamental that is known to 0.7 % to a stretch: a constant and a moving
/// fundamental are both followed, with one level, with a level that breathes, and with changes; a
/// constant one also with a loud line that turns by itself. The likeliest is improved.
class HumFitter
{
public:
    /// Harmonics that take part in finding track, gain and changes.
    static constexpr int numHarmonics = 24;

    /// `view` must reach up to 24.5 harmonics, 26 above the highest; the samples must stay.
    HumFitter(const ChannelView& view, const FrameGrid& grid, double fundamental);

    HumModel fit();

private:
    /// Constant ones of the fundamental, the better ones first.
    Series<double> findDeviations(const HarmonicLines& lines) const;
    PhaseTrack findConstantTrack(const HarmonicLines& lines,
                                 const Series<double>& deviations) const;
    PhaseTrack findMovingTrack(const HarmonicLines& lines);
    HumModel develop(const PhaseTrack& track);
    void trySteady(HumModel& best, HarmonicLines lines, Series<double> deviations);

    double fundamental;
    int usedHarmonics;
    LineReader reader;
};

} // namespace orvo::audio::precise
