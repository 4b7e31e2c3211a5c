#pragma once

#include "dsp/precise/HumModel.h"

namespace orvo::audio::precise
{

/// Fits a hum of a fundamental that is known to 0.7 % to a stretch: a constant and a moving
/// fundamental are both followed, with one level, with a level that breathes, and with changes, and
/// the likeliest is improved.
class HumFitter
{
public:
    /// Harmonics that take part in finding track, gain and changes.
    static constexpr int numHarmonics = 24;

    /// `view` must reach up to 24.5 harmonics, 26 above the highest; the samples must stay.
    HumFitter(const ChannelView& view, const FrameGrid& grid, double fundamental);

    HumModel fit();

private:
    PhaseTrack findConstantTrack(const HarmonicLines& lines) const;
    PhaseTrack findMovingTrack(const HarmonicLines& lines);
    HumModel develop(const PhaseTrack& track);

    double fundamental;
    int usedHarmonics;
    LineReader reader;
};

/// Follows the motion of the model if that makes it likelier by `margin`; false if not.
bool improve(HumModel& model, bool hasGain, double margin);

} // namespace orvo::audio::precise
