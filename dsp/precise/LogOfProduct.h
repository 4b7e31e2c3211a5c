#pragma once

#include <cmath>

namespace orvo::audio::precise
{

/// The logarithm of a product of many positive factors, taken a few of them at a time, which is far
/// faster than one by one. Up to four factors in a row must stay within the range of a double.
class LogOfProduct
{
public:
    void multiply(double factor)
    {
        product *= factor;
        if (++count % factorsPerLogarithm == 0)
            collect();
    }

    double get()
    {
        collect();
        return sum;
    }

private:
    static constexpr int factorsPerLogarithm = 4;

    void collect()
    {
        sum += std::log(product);
        product = 1.0;
    }

    double product = 1.0;
    double sum = 0.0;
    int count = 0;
};

} // namespace orvo::audio::precise
