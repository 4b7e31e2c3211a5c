#pragma once

#include "dsp/signal/Signal.h"

#include <complex>

namespace orvo::audio
{

class Signal64;

/// Audio samples, magnitudes or phases in single precision.
class Signal32 : public Signal<float>
{
public:
    using Signal<float>::Signal;
    Signal32() = default;

    /// Shares the storage of `other`.
    Signal32(const Signal<float>& other)
        : Signal<float>(other)
    {
    }

    /// Exact widening of every sample into fresh storage.
    Signal64 toSignal64() const;

    static const Signal32 empty;
};

/// Samples in double precision, as filters need them.
class Signal64 : public Signal<double>
{
public:
    using Signal<double>::Signal;
    Signal64() = default;

    /// Every sample rounded to the nearest float, into fresh storage.
    Signal32 toSignal32() const;

    static const Signal64 empty;
};

/// Spectra in single precision.
class ComplexSignal32 : public Signal<std::complex<float>>
{
public:
    using Signal<std::complex<float>>::Signal;
    ComplexSignal32() = default;

    static const ComplexSignal32 empty;
};

/// Spectra in double precision.
class ComplexSignal64 : public Signal<std::complex<double>>
{
public:
    using Signal<std::complex<double>>::Signal;
    ComplexSignal64() = default;

    static const ComplexSignal64 empty;
};

} // namespace orvo::audio
