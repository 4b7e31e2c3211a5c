#pragma once

#include "dsp/signal/Signals.h"

/// What the ear would judge, in figures.
namespace testing_support
{

/// Power in dB of all that lies within 20 Hz of `frequency` (Hz) in the first channel.
double bandLevel(const orvo::audio::Signal32& signal, double frequency, double sampleRate);

/// Scale-invariant signal-to-distortion ratio of the first channels, in dB. (J. Le Roux and others,
/// "SDR - half-baked or well done?", 2019.)
double siSdr(const orvo::audio::Signal32& estimate, const orvo::audio::Signal32& wanted);

} // namespace testing_support
