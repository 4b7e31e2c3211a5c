#include "dsp/precise/LineReader.h"

#include "dsp/precise/Windows.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace orvo::audio::precise
{
namespace
{

constexpr double pi = std::numbers::pi;

/// Frames of 80 ms and more tell a harmonic from what lies 25 Hz beside it.
constexpr double longFundamental = 60.0;
constexpr int fewestPeriods = 4;

/// Values of the transform that make up one between them, and how finely their weights are kept.
constexpr int taps = 6;
constexpr int tableSteps = 1024;
constexpr double kernelShape = 2.34 * taps;

constexpr double smallestPower = 1e-14;

/// Of two powers of the same noise, the product over the sum is a third in the mean. A note on one
/// side counts little there.
constexpr double unbiased = 3.0;

/// Against the harmonics of the frame: what a transform in single precision and the skirts of its
/// window leave where there is silence.
constexpr double smallestShare = 1e-12;

int findTransformSize(double frameLength)
{
    int size = 1;
    while (size < 2.1 * frameLength)
        size *= 2;
    return size;
}

Series<float> makeKernel()
{
    Series<float> kernel;
    for (int step = 0; step <= tableSteps; ++step)
        for (int tap = 0; tap < taps; ++tap)
        {
            const double distance = static_cast<double>(step) / tableSteps + taps / 2 - 1 - tap;
            kernel.push_back(
                static_cast<float>(getKaiserWindow(2.0 * distance / taps, kernelShape)));
        }
    return kernel;
}

void smoothOverHarmonics(double* noise, int count, double least)
{
    double below = noise[0];
    for (int i = 0; i < count; ++i)
    {
        const double here = noise[i];
        const double above = i + 1 < count ? noise[i + 1] : here;
        noise[i] = std::max(0.25 * below + 0.5 * here + 0.25 * above, least);
        below = here;
    }
}

} // namespace

FrameGrid::FrameGrid(double fundamentalToUse, double rate, int numSamples)
    : fundamental(fundamentalToUse)
    , sampleRate(rate)
    , periods(fewestPeriods *
              std::max(1, static_cast<int>(std::lround(fundamental / longFundamental))))
    , half(static_cast<int>(std::ceil(0.5 * periods * rate / fundamental)))
    , hop(std::max(1, static_cast<int>(std::lround(0.5 * periods * rate / fundamental))))
    , numFrames(numSamples > 2 * half ? (numSamples - 2 * half - 1) / hop + 1 : 0)
{
}

LineReader::LineReader(const FrameGrid& gridToUse, double fundamental, double rate)
    : grid(gridToUse)
    , sampleRate(rate)
    , half(static_cast<int>(std::ceil(0.5 * grid.getPeriods() * rate / fundamental)))
    , size(findTransformSize(grid.getPeriods() * rate / fundamental))
    , kernel(makeKernel())
    , frame(1, size)
    , spectrum(1, size / 2 + 1)
{
    const double length = grid.getPeriods() * rate / fundamental;
    double sum = 0.0;
    for (int i = 0; i <= half; ++i)
    {
        const double value = i <= 0.5 * length ? 0.5 + 0.5 * std::cos(2.0 * pi * i / length) : 0.0;
        sum += i == 0 ? value : 2.0 * value;
        window.push_back(
            static_cast<float>(value / getKaiserTransform(2.0 * pi * i / size, taps, kernelShape)));
    }
    scale = 2.0 / sum;
    transform.allocate(size, true);
}

HarmonicLines LineReader::read(const ChannelView& view, const PhaseTrack& track, int numHarmonics)
{
    const auto numChannels = static_cast<int>(view.channels.size());
    HarmonicLines lines = makeLines(numChannels, numHarmonics, grid.getNumFrames(),
                                    grid.getFirstTime(), grid.getFrameTime());
    for (int k = 0; k < lines.numFrames; ++k)
    {
        const double time = lines.getTime(k);
        const auto centre = static_cast<int>(std::lround(time * sampleRate));
        const double frequency = track.getFrequency(time);
        const double phase = track.getPhase(time);
        for (int channel = 0; channel < numChannels; ++channel)
        {
            const std::size_t at = lines.at(k, channel * numHarmonics);
            transformFrame(view.channels[channel], view.numSamples, centre);
            readFrame(frequency, phase - std::floor(phase), numHarmonics, &lines.amplitudes[at],
                      &lines.noise[at]);
        }
    }
    return lines;
}

void LineReader::transformFrame(const float* samples, int numSamples, int centre)
{
    float* const values = frame.getWriteChannelPtr(0);
    std::memset(values, 0, static_cast<std::size_t>(size) * sizeof(float));
    const int after = std::min(half, numSamples - 1 - centre);
    const int before = std::min(half, centre);
    for (int i = 0; i <= after; ++i)
        values[i] = samples[centre + i] * window[i];
    for (int i = 1; i <= before; ++i)
        values[size - i] = samples[centre - i] * window[i];
    transform.forwardReal(frame, spectrum);
}

Complex LineReader::getBin(double position) const
{
    const std::complex<float>* const bins = spectrum.getReadChannelPtr(0);
    const auto below = static_cast<int>(std::floor(position));
    const double step = (position - below) * tableSteps;
    const auto entry = static_cast<int>(step);
    const auto share = static_cast<float>(step - entry);
    const float* const weights = &kernel[static_cast<std::size_t>(entry) * taps];
    float real = 0.0F;
    float imaginary = 0.0F;
    for (int tap = 0; tap < taps; ++tap)
    {
        const float weight = weights[tap] + share * (weights[tap + taps] - weights[tap]);
        const int bin = below - taps / 2 + 1 + tap;
        const std::complex<float> value = bin < 0          ? std::conj(bins[-bin])
                                          : bin > size / 2 ? std::conj(bins[size - bin])
                                                           : bins[bin];
        real += weight * value.real();
        imaginary += weight * value.imag();
    }
    return {scale * real, scale * imaginary};
}

void LineReader::readFrame(double frequency, double phase, int numHarmonics, Complex* amplitudes,
                           double* noise)
{
    const double bin = frequency * size / sampleRate;
    const double distance = 2.0 / grid.getPeriods();
    const Complex turn = std::polar(1.0, -2.0 * pi * phase);
    Complex turned = 1.0;
    double total = 0.0;
    beside.resize(static_cast<std::size_t>(numHarmonics) + 1);
    const bool isShared = grid.getPeriods() == fewestPeriods;
    for (int h = 0; h < numHarmonics; ++h)
    {
        turned = multiply(turned, turn);
        amplitudes[h] = multiply(getBin(bin * (h + 1)), turned);
        total += getPower(amplitudes[h]);
        if (h == 0 || !isShared)
            beside[h] = getPower(getBin(bin * (h + 1 - distance)));
        const double above = getPower(getBin(bin * (h + 1 + distance)));
        noise[h] = unbiased * beside[h] * above / (beside[h] + above + smallestPower);
        beside[h + 1] = above;
    }
    smoothOverHarmonics(noise, numHarmonics, smallestPower + smallestShare * total);
}

} // namespace orvo::audio::precise
