#include "dsp/signal/VectorOperations.h"

#include "dsp/signal/VectorKernels.h"

#include <algorithm>
#include <initializer_list>
#include <stdexcept>
#include <string>

namespace orvo::vo
{
namespace
{

const char* textOf(Status status)
{
    switch (status)
    {
    case Status::nullPointer:
        return "null pointer";
    case Status::relativeFrequency:
        return "relative frequency out of range";
    case Status::ok:
        break;
    }
    return "no error";
}

std::size_t count(int n)
{
    return static_cast<std::size_t>(n);
}

template <typename T>
void fill(T value, T* dst, int n)
{
    if (hasWork(n, {dst}))
        std::fill_n(dst, n, value);
}

} // namespace

bool hasWork(int n, std::initializer_list<const void*> buffers)
{
    if (n < 1)
        return false;
    if (std::find(buffers.begin(), buffers.end(), nullptr) != buffers.end())
        throwOnError(Status::nullPointer);
    return true;
}

void throwOnError(Status status)
{
    if (static_cast<int>(status) < 0)
        throw std::runtime_error(std::string("IPP exception: ") + textOf(status));
}

void add(const float* a, const float* b, float* dst, int n)
{
    if (hasWork(n, {a, b, dst}))
        kernels::add(a, b, dst, count(n));
}

void subtract(const float* a, const float* b, float* dst, int n)
{
    if (hasWork(n, {a, b, dst}))
        kernels::subtract(a, b, dst, count(n));
}

void multiply(const float* a, const float* b, float* dst, int n)
{
    if (hasWork(n, {a, b, dst}))
        kernels::multiply(a, b, dst, count(n));
}

void constantMultiply(const float* src, float c, float* dst, int n)
{
    if (hasWork(n, {src, dst}))
        kernels::constantMultiply(src, c, dst, count(n));
}

void upperBound(const float* src, float* dst, float bound, int n)
{
    if (hasWork(n, {src, dst}))
        kernels::upperBound(src, dst, bound, count(n));
}

void lowerBound(const float* src, float* dst, float bound, int n)
{
    if (hasWork(n, {src, dst}))
        kernels::lowerBound(src, dst, bound, count(n));
}

void setToValue(float v, float* dst, int n)
{
    fill(v, dst, n);
}

void setToValue(double v, double* dst, int n)
{
    fill(v, dst, n);
}

void setToValue(std::complex<float> v, std::complex<float>* dst, int n)
{
    fill(v, dst, n);
}

void setToValue(std::complex<double> v, std::complex<double>* dst, int n)
{
    fill(v, dst, n);
}

void setToZero(float* dst, int n)
{
    fill(0.0F, dst, n);
}

void convert32To64(const float* src, double* dst, int n)
{
    if (hasWork(n, {src, dst}))
        kernels::convert32To64(src, dst, count(n));
}

void convert64To32(const double* src, float* dst, int n)
{
    if (hasWork(n, {src, dst}))
        kernels::convert64To32(src, dst, count(n));
}

void calcMagnitudes(const std::complex<float>* src, float* dst, int n)
{
    if (hasWork(n, {src, dst}))
        kernels::calcMagnitudes(reinterpret_cast<const float*>(src), dst, count(n));
}

void calcPhases(const std::complex<float>* src, float* dst, int n)
{
    // Every phase is the nearest float: an estimate of frequency follows from the difference of two
    // of them, where every last bit counts.
    if (hasWork(n, {src, dst}))
        kernels::calcPhases(reinterpret_cast<const float*>(src), dst, count(n));
}

bool isWithin(const float* src, float limit, int n)
{
    return !hasWork(n, {src}) || kernels::isWithin(src, limit, count(n));
}

void limitToFinite(const float* src, float* dst, float limit, int n)
{
    if (hasWork(n, {src, dst}))
        kernels::limitToFinite(src, dst, limit, count(n));
}

} // namespace orvo::vo
