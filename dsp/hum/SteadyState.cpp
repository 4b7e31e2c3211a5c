#include "dsp/hum/SteadyState.h"

namespace orvo::audio
{
namespace
{

struct Matrix
{
    double m00;
    double m01;
    double m10;
    double m11;
};

Matrix operator*(const Matrix& a, const Matrix& b)
{
    return {a.m00 * b.m00 + a.m01 * b.m10, a.m00 * b.m01 + a.m01 * b.m11,
            a.m10 * b.m00 + a.m11 * b.m10, a.m10 * b.m01 + a.m11 * b.m11};
}

Matrix power(Matrix base, int exponent)
{
    Matrix result{1.0, 0.0, 0.0, 1.0};
    for (; exponent > 0; exponent /= 2)
    {
        if (exponent % 2 == 1)
            result = result * base;
        base = base * base;
    }
    return result;
}

} // namespace

std::array<double, 2> repeatPasses(std::array<double, 2> afterOnePass, double a1, double a2,
                                   int period, int numPasses)
{
    // Without input, y = s1, then s1 becomes s2 - a1 y and s2 becomes -a2 y.
    const Matrix m = power({-a1, 1.0, -a2, 0.0}, period);
    std::array<double, 2> state{};
    for (int pass = 0; pass < numPasses; ++pass)
        state = {m.m00 * state[0] + m.m01 * state[1] + afterOnePass[0],
                 m.m10 * state[0] + m.m11 * state[1] + afterOnePass[1]};
    return state;
}

} // namespace orvo::audio
