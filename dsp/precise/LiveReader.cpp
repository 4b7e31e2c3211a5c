#include "dsp/precise/LiveReader.h"

#include "dsp/precise/Decimator.h"
#include "dsp/precise/Windows.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace orvo::audio::precise
{
namespace
{

constexpr int numTaps = 6;
constexpr int kernelSteps = 1024;

/// A little over two periods, so that the window still fits when the fundamental is 2 % low.
constexpr double reachInPeriods = 2.05;

/// The kernel's width of pass band against its depth of stop band for transforms twice as long as
/// the window.
constexpr double liveKernelShape = 2.34 * numTaps;

/// Rates that are twice as high or more are halved, as far as the pass band of the decimator holds
/// what is between the harmonics, too.
constexpr double leastLowRate = 40000.0;
constexpr double passShare = 0.37;

/// As many sums side by side as vectors may hold.
constexpr std::int64_t numSums = 16;

} // namespace

int LiveReader::chooseFactor(const LiveLayout& layout)
{
    const double highest = 1.02 * (layout.numHarmonics + 0.5) * layout.nominal;
    const double needed = std::max(leastLowRate, highest / passShare);
    int factor = 1;
    while (layout.sampleRate >= 2.0 * factor * needed)
        factor *= 2;
    return factor;
}

void LiveReader::prepare(const LiveLayout& newLayout)
{
    layout = newLayout;
    factor = chooseFactor(layout);
    delay = factor > 1 ? decimationReach : 0;
    lowRate = layout.sampleRate / factor;
    taps = makeDecimationTaps(factor);
    const double period = lowRate / layout.nominal;
    reach = static_cast<int>(std::ceil(reachInPeriods * period));
    for (size = 1; size < 4.0 * reachInPeriods * period;)
        size *= 2;
    const auto width = static_cast<std::size_t>(2 * reach + 1);
    window.assign(width, 0.0F);
    correction.resize(width);
    for (int n = -reach; n <= reach; ++n)
        correction[static_cast<std::size_t>(n + reach)] = static_cast<float>(
            1.0 / getKaiserTransform(2.0 * pi * n / size, numTaps, liveKernelShape));
    kernel.resize((kernelSteps + 1) * numTaps);
    for (int step = 0; step <= kernelSteps; ++step)
        for (int tap = 0; tap < numTaps; ++tap)
        {
            const double d = static_cast<double>(step) / kernelSteps + numTaps / 2 - 1 - tap;
            kernel[static_cast<std::size_t>(step * numTaps + tap)] =
                static_cast<float>(getKaiserWindow(2.0 * d / numTaps, liveKernelShape));
        }
    between.resize(static_cast<std::size_t>(layout.numHarmonics + 1));
    transform.allocate(size, true);
    input = Signal32(1, size);
    spectrum = ComplexSignal32(1, size / 2 + 1);
    std::int64_t ringSize = 1;
    while (ringSize < 2 * (reach + layout.hop / factor))
        ringSize *= 2;
    lowMask = ringSize - 1;
    lowRings.assign(static_cast<std::size_t>(factor > 1 ? layout.numChannels : 0),
                    std::vector<float>(static_cast<std::size_t>(ringSize)));
    tune(layout.nominal);
}

void LiveReader::reset()
{
    for (auto& ring : lowRings)
        std::fill(ring.begin(), ring.end(), 0.0F);
}

float LiveReader::lowPass(const float* ring, std::int64_t mask, std::int64_t last) const
{
    // All taps but the last are a whole number of groups; zeros follow, for samples yet to come.
    const std::int64_t before = 2 * decimationReach * factor;
    std::array<float, numSums> sums{};
    for (std::int64_t i = 0; i < before; i += numSums)
        for (std::int64_t j = 0; j < numSums; ++j)
            sums[static_cast<std::size_t>(j)] += taps[i + j] * ring[(last - before + i + j) & mask];
    return std::accumulate(sums.begin(), sums.end(), taps[before] * ring[last & mask]);
}

void LiveReader::follow(const float* ring, std::int64_t mask, int channel, std::int64_t begin,
                        std::int64_t end)
{
    if (factor == 1)
        return;
    auto& lowRing = lowRings[static_cast<std::size_t>(channel)];
    for (std::int64_t place = (begin + factor - 1) / factor; place * factor < end; ++place)
        lowRing[static_cast<std::size_t>(place & lowMask)] = lowPass(ring, mask, place * factor);
}

void LiveReader::tune(double fundamental)
{
    frequency = fundamental;
    const double length = 4.0 * lowRate / fundamental;
    const Complex turn = makePhasor(2.0 * pi / length);
    Complex phasor = 1.0;
    windowSum = 0.0;
    for (int n = 0; n <= reach; ++n, phasor = multiply(phasor, turn))
    {
        const double value = n < length / 2.0 ? 0.5 + 0.5 * phasor.real() : 0.0;
        const auto right = static_cast<std::size_t>(reach + n);
        const auto left = static_cast<std::size_t>(reach - n);
        window[right] = window[left] = static_cast<float>(value) * correction[right];
        windowSum += n == 0 ? value : 2.0 * value;
    }
}

bool LiveReader::fill(const float* ring, std::int64_t mask, std::int64_t centre)
{
    float* const samples = input.getWriteChannelPtr(0);
    std::fill(samples, samples + size, 0.0F);
    float sum = 0.0F;
    int run = 0;
    int longestRun = 0;
    for (int n = -reach; n <= reach; ++n)
    {
        const float sample = ring[(centre + n) & mask];
        const float value = sample * window[static_cast<std::size_t>(n + reach)];
        run = sample == 0.0F ? run + 1 : 0;
        longestRun = std::max(longestRun, run);
        samples[n < 0 ? size + n : n] = value;
        sum += std::abs(value);
    }
    return std::isfinite(sum) && longestRun < reach / 4;
}

Complex LiveReader::readAt(double bin) const
{
    const auto* const bins = spectrum.getReadChannelPtr(0);
    const int below = static_cast<int>(bin);
    const double position = (bin - below) * kernelSteps;
    const int step = static_cast<int>(position);
    const double fraction = position - step;
    const float* const row = &kernel[static_cast<std::size_t>(step * numTaps)];
    Complex sum;
    for (int tap = 0; tap < numTaps; ++tap)
    {
        const double weight = row[tap] + fraction * (row[tap + numTaps] - row[tap]);
        const int index = below - numTaps / 2 + 1 + tap;
        const auto value = index >= 0 ? bins[index] : std::conj(bins[-index]);
        sum += Complex(weight * value.real(), weight * value.imag());
    }
    return sum;
}

void LiveReader::read(const float* ring, std::int64_t mask, int channel,
                      LiveObservation& observation)
{
    const bool isFilled = factor == 1 ? fill(ring, mask, observation.centre)
                                      : fill(lowRings[static_cast<std::size_t>(channel)].data(),
                                             lowMask, observation.centre / factor + delay);
    if (!isFilled)
    {
        observation.isValid = false;
        return;
    }
    transform.forwardReal(input, spectrum);
    const int count = layout.numHarmonics;
    const double bin = frequency * size / lowRate;
    const double scale = 2.0 / windowSum;
    for (int h = 0; h <= count; ++h)
        between[static_cast<std::size_t>(h)] = getPower(scale * readAt((h + 0.5) * bin));
    const double cycles = std::fmod(
        layout.nominal / layout.sampleRate * static_cast<double>(observation.centre), 1.0);
    const Complex turn = makePhasor(-2.0 * pi * cycles);
    Complex phasor = 1.0;
    Complex* const lines = &observation.lines[static_cast<std::size_t>(channel * count)];
    double* const noise = &observation.noise[static_cast<std::size_t>(channel * count)];
    const auto mean = [this, count](int h)
    {
        const auto i = static_cast<std::size_t>(std::clamp(h, 0, count - 1));
        return 0.5 * (between[i] + between[i + 1]);
    };
    for (int h = 0; h < count; ++h)
    {
        phasor = multiply(phasor, turn);
        lines[h] = multiply(scale * readAt((h + 1) * bin), phasor);
        noise[h] = std::max(0.25 * mean(h - 1) + 0.5 * mean(h) + 0.25 * mean(h + 1), quietestNoise);
    }
}

} // namespace orvo::audio::precise
