#include "tests/support/PlainEngine.h"

#include "dsp/signal/MathEx.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace testing_support
{
namespace
{

constexpr double turn = 6.283185307179586;

/// The power of two nearest to a number, the lower one on a tie.
int nearestPower(int n)
{
    int power = 1;
    while (power < n)
        power *= 2;
    return power - n < n - power / 2 ? power : power / 2;
}

Signal32 append(const Signal32& a, const Signal32& b)
{
    if (!a.hasStorage())
        return b;
    const int length = a.getNumSamples();
    return makeSignal(a.getNumChannels(), length + b.getNumSamples(),
                      [&](int c, int n) {
                          return n < length ? a.getReadChannelPtr(c)[n]
                                            : b.getReadChannelPtr(c)[n - length];
                      });
}

Signal32 from(const Signal32& signal, int start)
{
    return cut(signal, start, signal.getNumSamples() - start);
}

} // namespace

PlainTracker::PlainTracker(int numChannels, double rate)
    : sampleRate(rate)
    , channels(static_cast<std::size_t>(numChannels))
{
}

Signal32 PlainTracker::generate(const Signal32& frame, float fundamental, int harmonicNumber)
{
    Signal32 copy(frame.getNumChannels(), frame.getNumSamples(), 0.0F);
    const float frequency = static_cast<float>(harmonicNumber) * fundamental;
    if (static_cast<double>(frequency) > 0.49 * sampleRate)
        return copy;
    for (std::size_t c = 0; c < channels.size(); ++c)
        track(channels[c], frame.getReadChannelPtr(static_cast<int>(c)), frame.getNumSamples(),
              frequency, fundamental, copy.getWriteChannelPtr(static_cast<int>(c)));
    isFirst = false;
    return copy;
}

std::vector<float> PlainTracker::isolate(Channel& channel, const float* input, int length,
                                         float frequency) const
{
    const double w = static_cast<double>(frequency) * turn / sampleRate;
    const double alpha = std::sin(w) / (2.0 * 10.0);
    const double a0 = 1.0 + alpha;
    std::vector<float> output;
    for (int n = 0; n < length; ++n)
    {
        const double x = static_cast<double>(input[n]);
        const double y = alpha / a0 * x + channel.s1;
        channel.s1 = 2.0 * std::cos(w) / a0 * y + channel.s2;
        channel.s2 = -alpha / a0 * x - (1.0 - alpha) / a0 * y;
        output.push_back(static_cast<float>(y));
    }
    return output;
}

void PlainTracker::track(Channel& channel, const float* input, int length, float frequency,
                         float fundamental, float* copy)
{
    const auto periodOf = [&](float f)
    { return static_cast<int>(std::nearbyint(sampleRate / static_cast<double>(f))); };
    const int period = periodOf(fundamental);
    for (int counter = 0; isFirst && counter < static_cast<int>(sampleRate);
         counter += length - length % period)
        isolate(channel, input, period, frequency);
    const std::vector<float> harmonic = isolate(channel, input, length, frequency);

    const int whole = length - length % periodOf(frequency);
    const auto relative = static_cast<float>(static_cast<double>(frequency) / sampleRate);
    std::complex<double> sum = 0.0;
    for (int k = 0; k < whole; ++k)
        sum += static_cast<double>(harmonic[static_cast<std::size_t>(k)]) *
               std::polar(1.0, -turn * static_cast<double>(relative) * k);
    const std::complex<float> bin(sum);
    const float phase = std::atan2(bin.imag(), bin.real());
    const float amplitude = 2.0F * std::hypot(bin.real(), bin.imag()) / static_cast<float>(whole);
    const float foreseen = channel.predicted;
    float deviation = orvo::MathEx::toMinusPiToPi(phase - foreseen);
    present = 1.0F > std::fabs(deviation);
    channel.predicted = static_cast<float>(
        static_cast<double>(phase) + length * turn * static_cast<double>(frequency) / sampleRate);
    if (present)
        channel.smoothed = amplitude > channel.smoothed
                               ? std::min(amplitude, std::max(1.5F * channel.smoothed, 0.001F))
                               : amplitude;

    float start = channel.last;
    float change = std::min(channel.smoothed, amplitude) - start;
    auto theta = static_cast<double>(foreseen);
    if (isFirst)
    {
        channel.smoothed = start = amplitude;
        change = 0.0F;
        theta = static_cast<double>(phase);
        deviation = 0.0F;
    }
    else
    {
        present = !(std::fabs(deviation) > 1.0F);
        if (!present)
            change = -start;
    }
    const double step = turn * static_cast<double>(frequency) / sampleRate +
                        static_cast<double>(deviation / static_cast<float>(length));
    for (int n = 0; n < length; ++n, theta += step)
        copy[n] = static_cast<float>(std::cos(theta)) *
                  (start + change * (0.5F - 0.5F * std::cos(static_cast<float>(n) *
                                                            std::numbers::pi_v<float> /
                                                            static_cast<float>(length))));
    channel.last = start + change;
}

PlainEngine::PlainEngine(const EngineSettings& initial)
    : settings(initial)
{
}

void PlainEngine::setFormat(int channels, double rate)
{
    numChannels = channels;
    sampleRate = rate;
    blockSize = nearestPower(static_cast<int>(rate / 10.0));
    hopSize = nearestPower(static_cast<int>(rate / 25.0));
    reset();
}

void PlainEngine::reset()
{
    trackers.assign(96, PlainTracker(numChannels, sampleRate));
    notches.assign(96, {});
    toAnalyse = toClean = previousPhases = display = Signal32::empty;
    fundamental = settings.fundamental;
}

Signal32 PlainEngine::process(const Signal32& input, bool isBypassed)
{
    toAnalyse = append(toAnalyse, input);
    if (toAnalyse.getNumSamples() >= blockSize)
    {
        analyse();
        toAnalyse = from(toAnalyse, hopSize);
    }
    if (isBypassed)
        return input;
    toClean = append(toClean, input);
    Signal32 output;
    while (toClean.getNumSamples() > (settings.aggressive ? 0 : hopSize))
    {
        const Signal32 frame = cut(toClean, 0, std::min(hopSize, toClean.getNumSamples()));
        const Signal32 cleaned =
            settings.aggressive ? cleanWithNotches(frame) : cleanWithTrackers(frame);
        output = append(output, settings.residual ? difference(frame, cleaned) : cleaned);
        toClean = from(toClean, frame.getNumSamples());
    }
    return output;
}

std::vector<orvo::audio::HarmonicStatus> PlainEngine::getStatus() const
{
    std::vector<orvo::audio::HarmonicStatus> status;
    for (int i = 0; i < settings.harmonics; ++i)
        status.push_back(
            {static_cast<float>(getNumber(i)) * fundamental,
             settings.aggressive || trackers[static_cast<std::size_t>(i)].isPresent()});
    return status;
}

void PlainEngine::analyse()
{
    const float scale = 4.0F / (static_cast<float>(numChannels) * static_cast<float>(blockSize));
    const Signal32 block = cut(toAnalyse, 0, blockSize);
    const Signal32 weighted =
        makeSignal(1, blockSize,
                   [&](int, int n)
                   {
                       float sum = block.getReadChannelPtr(0)[n];
                       for (int c = 1; c < numChannels; ++c)
                           sum += block.getReadChannelPtr(c)[n];
                       const auto weight =
                           static_cast<float>(0.54 - 0.46 * std::cos(turn * (n + 0.5) / blockSize));
                       return sum * (weight * scale);
                   });
    const auto measure = [&](const Signal32& signal, auto operation)
    {
        const auto spectrum = transform.forwardReal(signal);
        Signal32 result(1, spectrum.getNumSamples());
        operation(spectrum.getReadChannelPtr(0), result.getWriteChannelPtr(0),
                  spectrum.getNumSamples());
        return result;
    };
    const Signal32 phases = measure(weighted, orvo::vo::calcPhases);
    const float e = estimate(measure(weighted, orvo::vo::calcMagnitudes), phases);
    previousPhases = phases;
    const double reach =
        static_cast<double>(static_cast<float>(hopSize) * settings.adaptivity) / sampleRate;
    fundamental = reach > static_cast<double>(std::fabs(fundamental - e))
                      ? e
                      : 0.3F * settings.fundamental + 0.7F * fundamental;

    const Signal32 shown =
        measure(append(weighted, Signal32(1, 3 * blockSize, 0.0F)), orvo::vo::calcMagnitudes);
    const float decay = orvo::MathEx::fromDecibel(static_cast<float>(-hopSize) * 96.0F /
                                                  static_cast<float>(sampleRate));
    const Signal32 stored = display.hasStorage() ? display : shown;
    display = makeSignal(1, shown.getNumSamples(),
                         [&](int, int n)
                         {
                             const float old = stored.getReadChannelPtr(0)[n];
                             const float d = shown.getReadChannelPtr(0)[n] - old;
                             return old + std::max(d, 0.0F) + (1.0F - decay) * std::min(d, 0.0F);
                         });
}

float PlainEngine::estimate(const Signal32& magnitudes, const Signal32& phases) const
{
    const int k = static_cast<int>(
        static_cast<double>(static_cast<float>(blockSize) * fundamental) / sampleRate + 0.5);
    if (k < 2 || k >= blockSize / 2)
        return fundamental;
    const float* const m = magnitudes.getReadChannelPtr(0);
    int b = m[k] > m[k - 1] ? k : k - 1;
    b = m[k + 1] > std::max(m[k - 1], m[k]) ? k + 1 : b;
    const float advance = previousPhases.hasStorage() ? phases.getReadChannelPtr(0)[b] -
                                                            previousPhases.getReadChannelPtr(0)[b]
                                                      : 0.0F;
    float delta =
        std::fmod(advance - static_cast<float>(b * turn * hopSize) / static_cast<float>(blockSize),
                  6.2831855F);
    if (static_cast<double>(delta) < -std::numbers::pi)
        delta += 6.2831855F;
    return static_cast<float>(b * sampleRate / blockSize) +
           static_cast<float>(sampleRate * static_cast<double>(delta) / (hopSize * turn));
}

Signal32 PlainEngine::cleanWithTrackers(const Signal32& frame)
{
    Signal32 output = frame;
    for (int i = 0; i < settings.harmonics; ++i)
        output = difference(output, trackers[static_cast<std::size_t>(i)].generate(
                                        frame, fundamental, getNumber(i)));
    return output;
}

Signal32 PlainEngine::cleanWithNotches(const Signal32& frame)
{
    Signal32 output = frame;
    for (int i = 0; i < settings.harmonics; ++i)
    {
        const float frequency = static_cast<float>(getNumber(i)) * fundamental;
        if (!(static_cast<float>(0.49 * sampleRate) > frequency))
            continue;
        orvo::audio::IirFilter64& filter = notches[static_cast<std::size_t>(i)];
        filter.setFilter(numChannels, orvo::audio::IirCoefficients::createBandPass(
                                          static_cast<double>(frequency), 25.0, sampleRate));
        output = difference(output, filter.process(output.toSignal64()).toSignal32());
    }
    return output;
}

} // namespace testing_support
