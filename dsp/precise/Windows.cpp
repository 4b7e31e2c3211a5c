#include "dsp/precise/Windows.h"

#include <cmath>
#include <numbers>

namespace orvo::audio::precise
{

Series<double> makeHannWindow(int length)
{
    Series<double> window(static_cast<std::size_t>(length));
    for (int i = 0; i < length; ++i)
        window[i] = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * (i + 1) / (length + 1));
    return window;
}

double getBesselI0(double x)
{
    const double square = 0.25 * x * x;
    double term = 1.0;
    double sum = 1.0;
    for (int k = 1; term > 1e-17 * sum; ++k)
    {
        term *= square / (static_cast<double>(k) * k);
        sum += term;
    }
    return sum;
}

double getKaiserWindow(double position, double shape)
{
    const double inside = 1.0 - position * position;
    return inside < 0.0 ? 0.0 : getBesselI0(shape * std::sqrt(inside)) / getBesselI0(shape);
}

double getKaiserTransform(double frequency, double width, double shape)
{
    const double x = 0.5 * width * frequency;
    const double square = shape * shape - x * x;
    const double root = std::sqrt(std::abs(square));
    const double value = square > 0.0 ? std::sinh(root) / root : std::sin(root) / root;
    return width * value / getBesselI0(shape);
}

} // namespace orvo::audio::precise
