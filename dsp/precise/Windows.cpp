#include "dsp/precise/Windows.h"

#include <cmath>
#include <numbers>

namespace orvo::audio::precise
{

std::vector<double> makeHannWindow(int length)
{
    std::vector<double> window(static_cast<std::size_t>(length));
    for (int i = 0; i < length; ++i)
        window[i] = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * (i + 1) / (length + 1));
    return window;
}

double getKaiserWindow(double position, double shape)
{
    const double inside = 1.0 - position * position;
    return inside < 0.0
               ? 0.0
               : std::cyl_bessel_i(0.0, shape * std::sqrt(inside)) / std::cyl_bessel_i(0.0, shape);
}

} // namespace orvo::audio::precise
