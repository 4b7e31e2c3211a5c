#pragma once

#include "dsp/precise/Series.h"

namespace orvo::audio::precise
{

/// Hann window of `length` values, none of which is 0: the zeros lie one step outside.
Series<double> makeHannWindow(int length);

/// Modified Bessel function of the first kind of order 0, by its power series (Abramowitz and
/// Stegun, "Handbook of Mathematical Functions", 9.6.12). The library's own sets a global variable
/// on its way, which threads must not share.
double getBesselI0(double x);

/// Kaiser window at `position` from -1 to 1 with its shape (Kaiser and Schafer, "On the use of the
/// I0-sinh window for spectrum analysis", 1980), 0 beyond.
double getKaiserWindow(double position, double shape);

/// Transform of a Kaiser window `width` wide at an angular frequency of `frequency` per unit, by
/// which samples are divided where their spectrum is interpolated with that window (Kaiser and
/// Schafer, as above).
double getKaiserTransform(double frequency, double width, double shape);

} // namespace orvo::audio::precise
