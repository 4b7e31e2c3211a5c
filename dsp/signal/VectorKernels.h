#pragma once

#include <cstddef>
#include <initializer_list>

/// The loops behind the vector operations, compiled once per instruction set; each call runs the
/// best one for the processor. No checks here.
namespace orvo::vo
{

/// Whether there is anything to do; throws when there is and a buffer is missing.
bool hasWork(int n, std::initializer_list<const void*> buffers);

/// Settles which of the processor's instruction sets the kernels use from now on; returns its name.
const char* chooseInstructionSet();

namespace kernels
{

void add(const float* a, const float* b, float* dst, std::size_t n);
void subtract(const float* a, const float* b, float* dst, std::size_t n);
void multiply(const float* a, const float* b, float* dst, std::size_t n);
void constantMultiply(const float* src, float c, float* dst, std::size_t n);
void upperBound(const float* src, float* dst, float bound, std::size_t n);
void lowerBound(const float* src, float* dst, float bound, std::size_t n);
void convert32To64(const float* src, double* dst, std::size_t n);
void convert64To32(const double* src, float* dst, std::size_t n);
void calcMagnitudes(const float* interleaved, float* dst, std::size_t n);
void calcPhases(const float* interleaved, float* dst, std::size_t n);
bool isWithin(const float* src, float limit, std::size_t n);
void limitToFinite(const float* src, float* dst, float limit, std::size_t n);

} // namespace kernels
} // namespace orvo::vo
