#include "dsp/precise/LiveReader.h"

#include "dsp/precise/Windows.h"

#include <algorithm>
#include <cmath>

namespace orvo::audio::precise
{
namespace
{

constexpr int numTaps = 6;
constexpr int kernelSteps = 1024;

/// A little over two periods, so that the window still fits when the fundamental is 2 % low.
constexpr double reachInPeriods = 2.05;

/// Keeps ratios finite in digital silence; far below the least bit of 24.
constexpr double quietestNoise = 1e-14;

/// The kernel's width of pass band against its depth of stop band for transforms twice as long as
/// the window.
constexpr double liveKernelShape = 2.34 * numTaps;

} // namespace

void LiveReader::prepare(const LiveLayout& newLayout)
{
    layout = newLayout;
    const double period = layout.sampleRate / layout.nominal;
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
    tune(layout.nominal);
}

void LiveReader::tune(double fundamental)
{
    frequency = fundamental;
    const double length = 4.0 * layout.sampleRate / fundamental;
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
    if (!fill(ring, mask, observation.centre))
    {
        observation.isValid = false;
        return;
    }
    transform.forwardReal(input, spectrum);
    const int count = layout.numHarmonics;
    const double bin = frequency * size / layout.sampleRate;
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
