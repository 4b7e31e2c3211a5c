#include "dsp/signal/IirCoefficients.h"

#include <cmath>
#include <numbers>

namespace orvo::audio
{

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

} // namespace orvo::audio
