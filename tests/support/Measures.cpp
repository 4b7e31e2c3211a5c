#include "tests/support/Measures.h"

#include "dsp/signal/FourierTransform.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace testing_support
{

using orvo::audio::ComplexSignal32;
using orvo::audio::Signal32;

double bandLevel(const Signal32& signal, double frequency, double sampleRate)
{
    const int length =
        static_cast<int>(std::bit_floor(static_cast<unsigned int>(signal.getNumSamples())));
    Signal32 weighted(1, length);
    for (int n = 0; n < length; ++n)
        weighted.getWriteChannelPtr(0)[n] =
            signal.getReadChannelPtr(0)[n] *
            static_cast<float>(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * n / length));
    orvo::audio::FourierTransform transform;
    const ComplexSignal32 spectrum = transform.forwardReal(weighted);
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
    const float* const e = estimate.getReadChannelPtr(0);
    const float* const w = wanted.getReadChannelPtr(0);
    const int length = std::min(estimate.getNumSamples(), wanted.getNumSamples());
    double product = 0.0;
    double energy = 0.0;
    for (int n = 0; n < length; ++n)
    {
        product += static_cast<double>(e[n]) * static_cast<double>(w[n]);
        energy += static_cast<double>(w[n]) * static_cast<double>(w[n]);
    }
    const double scale = product / energy;
    double distortion = 0.0;
    for (int n = 0; n < length; ++n)
    {
        const double error = static_cast<double>(e[n]) - scale * static_cast<double>(w[n]);
        distortion += error * error;
    }
    return 10.0 * std::log10(scale * scale * energy / distortion);
}

} // namespace testing_support
