#include "ui/plot/LogarithmicValueMapping.h"

#include <cmath>
#include <limits>

double LogarithmicValueMapping::forward(double value) const
{
    using Limits = std::numeric_limits<double>;
    // Written so that what is no number falls through to the smallest, too.
    const double positive = value >= Limits::min() ? value : Limits::min();
    return std::log10(positive <= Limits::max() ? positive : Limits::max());
}

double LogarithmicValueMapping::back(double mapped) const
{
    constexpr double lowest = std::numeric_limits<double>::min_exponent10;
    constexpr double highest = std::numeric_limits<double>::max_exponent10;
    const double exponent = mapped >= lowest ? mapped : lowest;
    return std::pow(10.0, exponent <= highest ? exponent : highest);
}
