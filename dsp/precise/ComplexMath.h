#pragma once

#include <complex>
#include <numbers>

namespace orvo::audio::precise
{

inline constexpr double pi = std::numbers::pi;

/// Added to powers by which is divided, which may be silence.
inline constexpr double tiny = 1e-30;

/// Power of the noise that is read in digital silence: far below the least bit of 24.
inline constexpr double quietestNoise = 1e-14;

using Complex = std::complex<double>;

/// a b. The product of the standard library also mends infinities, which costs a branch per value.
constexpr Complex multiply(Complex a, Complex b)
{
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

/// a times the conjugate of b.
constexpr Complex multiplyConjugate(Complex a, Complex b)
{
    return {a.real() * b.real() + a.imag() * b.imag(), a.imag() * b.real() - a.real() * b.imag()};
}

constexpr double getPower(Complex a)
{
    return a.real() * a.real() + a.imag() * a.imag();
}

} // namespace orvo::audio::precise
