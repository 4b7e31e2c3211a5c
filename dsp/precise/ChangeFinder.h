#pragma once

#include "dsp/precise/AmplitudeSmoother.h"
#include "dsp/precise/Series.h"

namespace orvo::audio::precise
{

/// Frames first to last - 1, in which the hum is there or not, and by how much its phase is ahead
/// of the track: after an edit it leaps.
struct Segment
{
    int first;
    int last;
    bool isOn;
    double phase; ///< radians of the fundamental
};

/// Finds where hum is switched on and off, or leaps in phase because something was cut out: the
/// likeliest path (Viterbi, "Error bounds for convolutional codes", 1967) through the states
/// "absent" and "the known pattern, ahead by one of 128 phases". Patterns are taken from the
/// clearest parts of the smooth amplitudes, the one that explains the whole stretch best is kept
/// and improved.
///
/// Gives one segment that is on when nothing changes.
Series<Segment> findChanges(const HarmonicLines& lines, const SmoothAmplitudes& smooth);

} // namespace orvo::audio::precise
