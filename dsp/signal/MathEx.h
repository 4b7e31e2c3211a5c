#pragma once

#include <numbers>

namespace orvo
{

/// In radians.
inline constexpr double fullTurn = 2.0 * std::numbers::pi;

/// Scalar helpers for levels, powers of two and phases.
class MathEx
{
public:
    /// 20 log10(x) in dB; 0 gives minus infinity.
    static float toDecibel(float x);

    /// The same, but never below `floorDb`, which also stands for 0 and for negative x.
    static float toDecibel(float x, float floorDb);

    /// 10^(db / 20).
    static float fromDecibel(float db);

    /// The power of two nearest to n, the lower one on a tie (3 gives 2, 6 gives 4); 1 for 1, 0 for
    /// 0 and below. n up to 2^30.
    static int findNearestPowerOfTwo(int n);

    /// Position of the highest set bit of n >= 0; 0 for 0.
    static int log2(int n);

    /// The phase in radians brought into [-pi, pi] by whole turns.
    static float toMinusPiToPi(float phase);

    /// x truncated towards zero, limited to the range of int; 0 for NaN.
    static int saturatingToInt(double x);
};

} // namespace orvo
