#include "dsp/hum/SinusoidalSynthesis.h"

#include "dsp/hum/HarmonicSelection.h"
#include "dsp/signal/MathEx.h"
#include "dsp/signal/VectorOperations.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orvo::audio
{
namespace
{

/// How fast an amplitude may rise from frame to frame, and the step that a silent tracker starts
/// with.
constexpr float largestRise = 1.5F;
constexpr float smallestStep = 0.001F;

/// Samples of one period to the nearest whole number, ties to even, at least one.
int periodInSamples(double sampleRate, float frequency)
{
    const double period = std::nearbyint(sampleRate / static_cast<double>(frequency));
    return std::max(MathEx::saturatingToInt(period), 1);
}

std::size_t at(int channel)
{
    return static_cast<std::size_t>(channel);
}

/// Writes the cosine that was planned.
void render(const SinusoidalSynthesis::Oscillation& oscillation, float* output, int frameLength)
{
    double phase = oscillation.startPhase;
    for (int n = 0; n < frameLength; ++n)
    {
        const float envelope =
            oscillation.startAmplitude +
            oscillation.amplitudeChange * SinusoidalSynthesis::crossfade(n, frameLength);
        output[n] = static_cast<float>(std::cos(phase)) * envelope;
        phase += oscillation.phaseStep;
    }
}

} // namespace

bool SinusoidalSynthesis::Measurement::isFinite() const
{
    return std::isfinite(amplitude) && std::isfinite(phase) && std::isfinite(deviation);
}

void SinusoidalSynthesis::reserve(int mostChannels)
{
    bandPass.reserve(mostChannels);
    smoothedAmplitude.reserve(at(mostChannels));
    lastAmplitude.reserve(at(mostChannels));
    predictedPhase.reserve(at(mostChannels));
}

bool SinusoidalSynthesis::setFormat(int newNumChannels, double newSampleRate)
{
    numChannels = newNumChannels;
    sampleRate = newSampleRate;
    // Any frequency will do: each frame tunes the band-pass, here it gets its memory.
    bandPass.setSection(numChannels, IirCoefficients::designBandPass(0.125, isolationQ, 1.0));
    reset();
    return true;
}

void SinusoidalSynthesis::reset()
{
    present = false;
    held = false;
    firstFrame = true;
    bandPass.reset();
    smoothedAmplitude.assign(at(numChannels), 0.0F);
    lastAmplitude.assign(at(numChannels), 0.0F);
    predictedPhase.assign(at(numChannels), 0.0F);
}

void SinusoidalSynthesis::analyseSignal(const Signal32& signal, int channel, float frequency,
                                        float& amplitude, float& phase, float& phaseDeviation)
{
    const int length = signal.getNumSamples();
    const auto relativeFrequency = static_cast<float>(static_cast<double>(frequency) / sampleRate);
    const std::complex<float> transform = vo::calcGoertzel(
        signal.getReadChannelPtr(channel), getWholePeriods(frequency, length), relativeFrequency);
    const Measurement measurement = measure(channel, frequency, length, transform);
    amplitude = measurement.amplitude;
    phase = measurement.phase;
    phaseDeviation = measurement.deviation;
    present = held;
}

Signal32 SinusoidalSynthesis::generateSignal(const Signal32& frame, float fundamental,
                                             int harmonicNumber)
{
    const int length = frame.getNumSamples();
    const float frequency = static_cast<float>(harmonicNumber) * fundamental;
    if (!canTrack(frequency))
        return {numChannels, length, 0.0F};
    tune(frequency);
    if (firstFrame)
        primeBandPass(frame, fundamental);
    const Signal32 harmonic = isolate(frame);

    Signal32 result(numChannels, length);
    held = false;
    for (int channel = 0; channel < numChannels; ++channel)
    {
        const float foreseenPhase = getForeseenPhase(channel);
        Measurement measurement;
        analyseSignal(harmonic, channel, frequency, measurement.amplitude, measurement.phase,
                      measurement.deviation);
        if (!measurement.isFinite())
        {
            reset();
            return {numChannels, length, 0.0F};
        }
        render(planOscillation(channel, frequency, length, foreseenPhase, measurement),
               result.getWriteChannelPtr(channel), length);
    }
    finishFrame();
    return result;
}

bool SinusoidalSynthesis::canTrack(float frequency) const
{
    return frequency > 0.0F && static_cast<double>(frequency) <=
                                   HarmonicSelection::highestRelativeFrequency * sampleRate;
}

void SinusoidalSynthesis::tune(float frequency)
{
    bandPass.setSection(numChannels, IirCoefficients::designBandPass(static_cast<double>(frequency),
                                                                     isolationQ, sampleRate));
}

int SinusoidalSynthesis::getPrimingPeriod(float fundamental, int frameLength) const
{
    return std::min(periodInSamples(sampleRate, fundamental), frameLength);
}

int SinusoidalSynthesis::getNumPrimingPasses(int primingPeriod, int frameLength) const
{
    // Passes count as the whole periods of a frame although each filters one period only: about one
    // second's worth of counting, which settles the band-pass long before.
    const int step = std::max(frameLength - frameLength % std::max(primingPeriod, 1), 1);
    const int oneSecond = MathEx::saturatingToInt(sampleRate);
    return oneSecond / step + (oneSecond % step > 0 ? 1 : 0);
}

int SinusoidalSynthesis::getWholePeriods(float frequency, int frameLength) const
{
    return frameLength - frameLength % periodInSamples(sampleRate, frequency);
}

SinusoidalSynthesis::Measurement SinusoidalSynthesis::measure(int channel, float frequency,
                                                              int frameLength,
                                                              std::complex<float> transform)
{
    const int wholePeriods = getWholePeriods(frequency, frameLength);
    Measurement result;
    result.phase = std::atan2(transform.imag(), transform.real());
    if (wholePeriods > 0)
        result.amplitude = 2.0F * std::hypot(transform.real(), transform.imag()) /
                           static_cast<float>(wholePeriods);
    result.deviation = MathEx::toMinusPiToPi(result.phase - predictedPhase[at(channel)]);
    // Strict here and not strict in planOscillation(): a deviation of exactly the threshold, which
    // single precision does produce, keeps the amplitude as it was but the copy sounding.
    held = presenceThreshold > std::fabs(result.deviation);
    predictedPhase[at(channel)] =
        static_cast<float>(static_cast<double>(result.phase) +
                           frameLength * fullTurn * static_cast<double>(frequency) / sampleRate);
    if (held)
    {
        float& smoothed = smoothedAmplitude[at(channel)];
        smoothed = result.amplitude > smoothed
                       ? std::min(result.amplitude, std::max(largestRise * smoothed, smallestStep))
                       : result.amplitude;
    }
    return result;
}

SinusoidalSynthesis::Oscillation SinusoidalSynthesis::planOscillation(int channel, float frequency,
                                                                      int frameLength,
                                                                      float foreseenPhase,
                                                                      Measurement measurement)
{
    float& smoothed = smoothedAmplitude[at(channel)];
    float& last = lastAmplitude[at(channel)];
    float phase = foreseenPhase;
    float start = last;
    float target = std::min(smoothed, measurement.amplitude);
    if (firstFrame)
    {
        smoothed = start = target = measurement.amplitude;
        phase = measurement.phase;
        measurement.deviation = 0.0F;
    }
    float change = target - start;
    if (!firstFrame)
    {
        held = std::fabs(measurement.deviation) <= presenceThreshold;
        if (!held)
            change = -start;
    }
    last = start + change;
    // Spreading the deviation over the frame brings the copy onto the measured phase at its end.
    const double correction =
        static_cast<double>(measurement.deviation / static_cast<float>(frameLength));
    const double increment = fullTurn * static_cast<double>(frequency) / sampleRate;
    return {static_cast<double>(phase), increment + correction, start, change};
}

float SinusoidalSynthesis::getForeseenPhase(int channel) const
{
    return predictedPhase[at(channel)];
}

void SinusoidalSynthesis::finishFrame()
{
    present = held;
    firstFrame = false;
}

float SinusoidalSynthesis::crossfade(int sample, int frameLength)
{
    constexpr auto pi = std::numbers::pi_v<float>;
    return 0.5F -
           0.5F * std::cos(static_cast<float>(sample) * pi / static_cast<float>(frameLength));
}

void SinusoidalSynthesis::primeBandPass(const Signal32& frame, float fundamental)
{
    const int length = frame.getNumSamples();
    const int period = getPrimingPeriod(fundamental, length);
    Signal32 firstPeriod(frame.getNumChannels(), period);
    for (int channel = 0; channel < frame.getNumChannels(); ++channel)
        vo::copy(frame.getReadChannelPtr(channel), firstPeriod.getWriteChannelPtr(channel), period);
    const Signal64 input = firstPeriod.toSignal64();
    for (int pass = getNumPrimingPasses(period, length); pass > 0; --pass)
        bandPass.process(input);
}

Signal32 SinusoidalSynthesis::isolate(const Signal32& frame)
{
    return bandPass.process(frame.toSignal64()).toSignal32();
}

} // namespace orvo::audio
