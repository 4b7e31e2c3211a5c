#include "tests/support/Measures.h"

#include "dsp/signal/FourierTransform.h"
#include "tests/support/TestSignals.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>
#include <numeric>

namespace testing_support
{

using orvo::audio::ComplexSignal32;

double bandLevel(const Signal32& signal, double frequency, double sampleRate)
{
    const int length =
        static_cast<int>(std::bit_floor(static_cast<unsigned int>(signal.getNumSamples())));
    const float* const samples = signal.getReadChannelPtr(0);
    const auto weightedSample = [&](int, int n)
    { return samples[n] * (0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * n / length)); };
    const ComplexSignal32 spectrum =
        orvo::audio::FourierTransform().forwardReal(makeSignal(1, length, weightedSample));
    const double spacing = sampleRate / length;
    const auto first = static_cast<int>(std::ceil((frequency - 20.0) / spacing));
    const auto last = static_cast<int>(std::floor((frequency + 20.0) / spacing));
    double power = 0.0;
    for (int bin = std::max(first, 0); bin <= std::min(last, length / 2); ++bin)
        power += std::norm(std::complex<double>(spectrum.getReadChannelPtr(0)[bin]));
    return 10.0 * std::log10(power / length / length + 1.0e-30);
}

double siSdr(const Signal32& estimate, const Signal32& wanted)
{
    const int length = std::min(estimate.getNumSamples(), wanted.getNumSamples());
    const auto product = [&](const Signal32& a, const Signal32& b)
    {
        const float* const samples = a.getReadChannelPtr(0);
        return std::inner_product(samples, samples + length, b.getReadChannelPtr(0), 0.0);
    };
    const double signal = std::pow(product(estimate, wanted), 2.0) / product(wanted, wanted);
    return 10.0 * std::log10(signal / (product(estimate, estimate) - signal));
}

} // namespace testing_support
