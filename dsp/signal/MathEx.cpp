#include "dsp/signal/MathEx.h"

#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numbers>

namespace orvo
{

float MathEx::toDecibel(float x)
{
    return static_cast<float>(20.0 * std::log10(static_cast<double>(x)));
}

float MathEx::toDecibel(float x, float floorDb)
{
    if (x == 0.0F)
        return floorDb;
    const float level = toDecibel(x);
    return level > floorDb ? level : floorDb;
}

float MathEx::fromDecibel(float db)
{
    return static_cast<float>(std::pow(10.0, static_cast<double>(db / 20.0F)));
}

int MathEx::findNearestPowerOfTwo(int n)
{
    if (n < 1)
        return 0;
    const int upper = static_cast<int>(std::bit_ceil(static_cast<unsigned int>(n)));
    const int lower = upper / 2;
    return std::abs(upper - n) < std::abs(lower - n) ? upper : lower;
}

int MathEx::log2(int n)
{
    int position = 0;
    while ((n >>= 1) > 0)
        ++position;
    return position;
}

float MathEx::toMinusPiToPi(float phase)
{
    const double turns = std::nearbyint(static_cast<double>(phase) / fullTurn);
    return phase - static_cast<float>(turns * fullTurn);
}

int MathEx::saturatingToInt(double x)
{
    if (std::isnan(x))
        return 0;
    constexpr double lowest = std::numeric_limits<int>::min();
    constexpr double highest = std::numeric_limits<int>::max();
    return x <= lowest    ? std::numeric_limits<int>::min()
           : x >= highest ? std::numeric_limits<int>::max()
                          : static_cast<int>(x);
}

} // namespace orvo
