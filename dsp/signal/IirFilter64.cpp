#include "dsp/signal/IirFilter64.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orvo::audio
{

NormalisedSection normalise(const SecondOrderSection& section)
{
    const auto& [b, a] = section;
    return {b[0] / a[0], b[1] / a[0], b[2] / a[0], a[1] / a[0], a[2] / a[0]};
}

IirCoefficients::IirCoefficients(const std::vector<double>& numerator,
                                 const std::vector<double>& denominator)
    : b(numerator)
    , a(denominator)
{
}

IirCoefficients IirCoefficients::createBandPass(double centreFrequency, double q, double sampleRate)
{
    const SecondOrderSection section = designBandPass(centreFrequency, q, sampleRate);
    return {{section.b.begin(), section.b.end()}, {section.a.begin(), section.a.end()}};
}

SecondOrderSection IirCoefficients::designBandPass(double centreFrequency, double q,
                                                   double sampleRate)
{
    const double w0 = centreFrequency * (2.0 * std::numbers::pi) / sampleRate;
    const double alpha = std::sin(w0) / (2.0 * q);
    return {{alpha, 0.0, -alpha}, {1.0 + alpha, -2.0 * std::cos(w0), 1.0 - alpha}};
}

void IirFilter64::reserve(int mostChannels)
{
    constexpr std::size_t order2 = 2;
    taps.reserve(2 * (order2 + 1));
    delayLines.reserve(order2 * static_cast<std::size_t>(mostChannels));
}

void IirFilter64::allocate(int newNumChannels, const IirCoefficients& coefficients)
{
    numChannels = 0; // so that the states start from rest whatever was there
    delayLines.clear();
    setTaps(newNumChannels, coefficients.b, coefficients.a);
}

void IirFilter64::setFilter(int newNumChannels, const IirCoefficients& coefficients)
{
    setTaps(newNumChannels, coefficients.b, coefficients.a);
}

void IirFilter64::setSection(int newNumChannels, const SecondOrderSection& section)
{
    setTaps(newNumChannels, section.b, section.a);
}

void IirFilter64::reset()
{
    std::fill(delayLines.begin(), delayLines.end(), 0.0);
}

Signal64 IirFilter64::process(const Signal64& input)
{
    Signal64 output(numChannels, input.getNumSamples());
    for (int channel = 0; channel < numChannels; ++channel)
        processChannel(input.getReadChannelPtr(channel), output.getWriteChannelPtr(channel),
                       input.getNumSamples(), getDelayLine(channel).data());
    return output;
}

std::vector<double> IirFilter64::getIppTaps(const IirCoefficients& coefficients)
{
    const std::vector<double>& b = coefficients.b;
    const auto count = static_cast<std::ptrdiff_t>(b.size());
    std::vector<double> result(b);
    result.insert(result.end(), coefficients.a.begin(), coefficients.a.begin() + count);
    return result;
}

std::span<double> IirFilter64::getDelayLine(int channel)
{
    const auto length = static_cast<std::size_t>(order);
    return std::span(delayLines).subspan(static_cast<std::size_t>(channel) * length, length);
}

void IirFilter64::setTaps(int newNumChannels, std::span<const double> b, std::span<const double> a)
{
    const int newOrder = std::max(static_cast<int>(b.size()) - 1, 0);
    if (newOrder != order || newNumChannels != numChannels)
    {
        order = newOrder;
        numChannels = newNumChannels;
        delayLines.assign(static_cast<std::size_t>(order) * static_cast<std::size_t>(numChannels),
                          0.0);
    }
    taps.resize(2 * b.size());
    const auto normalise = [a0 = a[0]](double coefficient) { return coefficient / a0; };
    std::transform(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(b.size()),
                   std::transform(b.begin(), b.end(), taps.begin(), normalise), normalise);
}

void IirFilter64::processChannel(const double* input, double* output, int numSamples,
                                 double* state) const
{
    const double* const b = taps.data();
    const double* const a = b + order + 1;
    for (int n = 0; n < numSamples; ++n)
    {
        const double x = input[n];
        const double y = order > 0 ? b[0] * x + state[0] : b[0] * x;
        for (int k = 1; k < order; ++k)
            state[k - 1] = b[k] * x - a[k] * y + state[k];
        if (order > 0)
            state[order - 1] = b[order] * x - a[order] * y;
        output[n] = y;
    }
}

} // namespace orvo::audio
