#pragma once

#include <complex>
#include <cstring>
#include <type_traits>

/// Element-wise operations on sample buffers. Lengths are in elements; a length below 1 does
/// nothing. Source and destination may be the same buffer in the element-wise operations. Results
/// do not depend on alignment, but aligned buffers are faster. All functions may run on any thread,
/// do not lock or allocate, and throw std::runtime_error("IPP exception: ...") on a null buffer.
namespace orvo::vo
{

/// dst = a + b
void add(const float* a, const float* b, float* dst, int n);

/// dst = b - a: the second operand minus the first.
void subtract(const float* a, const float* b, float* dst, int n);

/// dst = a * b
void multiply(const float* a, const float* b, float* dst, int n);

/// dst = src * c
void constantMultiply(const float* src, float c, float* dst, int n);

/// dst = src, but `bound` where src > bound
void upperBound(const float* src, float* dst, float bound, int n);

/// dst = src, but `bound` where src < bound
void lowerBound(const float* src, float* dst, float bound, int n);

/// dst = v
void setToValue(float v, float* dst, int n);
void setToValue(double v, double* dst, int n);
void setToValue(std::complex<float> v, std::complex<float>* dst, int n);
void setToValue(std::complex<double> v, std::complex<double>* dst, int n);

/// dst = 0
void setToZero(float* dst, int n);

/// dst = src, exact
void convert32To64(const float* src, double* dst, int n);

/// dst = src rounded to the nearest float
void convert64To32(const double* src, float* dst, int n);

/// dst = |src|
void calcMagnitudes(const std::complex<float>* src, float* dst, int n);

/// dst = phase of src in radians, in [-pi, pi]
void calcPhases(const std::complex<float>* src, float* dst, int n);

/// Single-bin discrete Fourier transform: the sum of src[k] exp(-2 pi i f k) over n samples, with f
/// = `relativeFrequency` in cycles per sample, 0 <= f < 1; (0, 0) when n < 1. Computed in double,
/// since in single precision the recursion loses low frequencies. (G. Goertzel, "An Algorithm for
/// the Evaluation of Finite Trigonometric Series", 1958.) Throws also on a frequency out of range.
std::complex<float> calcGoertzel(const float* src, int n, float relativeFrequency);

/// Whether every sample is finite and within +-limit.
bool isWithin(const float* src, float limit, int n);

/// dst = src with what is not finite as 0 and the rest limited to +-limit.
void limitToFinite(const float* src, float* dst, float limit, int n);

/// What a primitive reports; negative values are errors.
enum class Status
{
    ok = 0,
    nullPointer = -8,
    relativeFrequency = -11
};

/// Throws std::runtime_error("IPP exception: " and the status text) when `status` is an error.
void throwOnError(Status status);

/// dst = src, byte by byte
template <typename T>
void copy(const T* src, T* dst, int n)
{
    static_assert(std::is_trivially_copyable_v<T>);
    if (n < 1)
        return;
    if (src == nullptr || dst == nullptr)
        throwOnError(Status::nullPointer);
    std::memmove(dst, src, static_cast<std::size_t>(n) * sizeof(T));
}

} // namespace orvo::vo
