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

/// Frames of 80 ms and more tell a harmonic from what lies 25 Hz beside it.
constexpr double longFundamental = 60.0;
constexpr int fewestPeriods = 4;

/// Values of the transform that make up one between them, and how finely their weights are kept.
constexpr int taps = 6;
constexpr int tableSteps = 1024;
constexpr double kernelShape = 2.34 * taps;

/// No track leads farther from where it was looked for.
constexpr double trackReach = 1.05;

/// Of two powers of the same noise, the product over the sum is a third in the mean. A note on one
/// side counts little there.
constexpr double unbiased = 3.0;

/// Against the harmonics of the frame: what a transform in single precision and the skirts of its
/// window leave where there is silence.
constexpr double smallestShare = 1e-12;

/// Frames of half so many samples are short.
constexpr int longestShort = 128;
constexpr std::size_t mostAlone = 2; // channels

int findTransformSize(double frameLength)
{
    int size = 1;
    while (size < 2.1 * frameLength)
        size *= 2;
    return size;
}

/// [step][tap]
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

/// The noise on a harmonic, given the powers below and above it.
double combine(double below, double above)
{
    return unbiased * below * above / (below + above + quietestNoise);
}

const Series<float>& getKernel()
{
    static const Series<float> kernel = makeKernel();
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

LineReader::LineReader(const ChannelView& viewToUse, const FrameGrid& gridToUse,
                       double fundamentalToUse, int mostKept)
    : view(viewToUse)
    , grid(gridToUse)
    , fundamental(fundamentalToUse)
    , sampleRate(view.sampleRate)
    , keptHarmonics(mostKept)
    , half(static_cast<int>(std::ceil(0.5 * grid.getPeriods() * sampleRate / fundamental)))
    , size(findTransformSize(grid.getPeriods() * sampleRate / fundamental))
    , kernel(getKernel())
    , frame(1, size)
    , spectrum(1, size / 2 + 1)
{
    const double length = grid.getPeriods() * sampleRate / fundamental;
    double sum = 0.0;
    Series<float> plain;
    for (int i = 0; i <= half; ++i)
    {
        const double value = i <= 0.5 * length ? 0.5 + 0.5 * std::cos(2.0 * pi * i / length) : 0.0;
        plain.push_back(static_cast<float>(value));
        sum += i == 0 ? value : 2.0 * value;
        window.push_back(
            static_cast<float>(value / getKaiserTransform(2.0 * pi * i / size, taps, kernelShape)));
    }
    scale = 2.0 / sum;
    if (view.channels.size() > mostAlone && half <= longestShort && isShared())
    {
        sums.emplace(std::move(plain));
        return;
    }
    transform.allocate(size, true);
    const double highest = trackReach * fundamental * (keptHarmonics + 1) * size / sampleRate;
    keptBins = std::min(size / 2, static_cast<int>(highest) + taps) + 1;
    const std::size_t numSpectra =
        keptHarmonics > 0 ? indexOf(grid.getNumFrames(), static_cast<int>(view.channels.size()))
                          : 0;
    kept.resize(numSpectra * static_cast<std::size_t>(keptBins));
    isKept.resize(numSpectra);
}

HarmonicLines LineReader::read(const PhaseTrack& track, int numHarmonics)
{
    const auto numChannels = static_cast<int>(view.channels.size());
    HarmonicLines lines = makeLines(numChannels, numHarmonics, grid.getNumFrames(),
                                    grid.getFirstTime(), grid.getFrameTime());
    for (int k = 0; k < lines.numFrames; ++k)
    {
        // The grid need not lie on samples of this rate.
        const auto centre = static_cast<int>(std::lround(lines.getTime(k) * sampleRate));
        const double time = centre / sampleRate;
        const double frequency =
            std::clamp(track.getFrequency(time), 0.0, trackReach * fundamental);
        const double phase = track.getPhase(time);
        if (sums)
        {
            readTogether(centre, frequency, phase, lines, k);
            continue;
        }
        for (int channel = 0; channel < numChannels; ++channel)
        {
            const std::size_t at = lines.at(k, channel * numHarmonics);
            const Bin* const bins = numHarmonics <= keptHarmonics
                                        ? getSpectrum(k, channel, centre)
                                        : transformFrame(view.channels[channel], centre);
            readFrame(bins, frequency, phase - std::floor(phase), numHarmonics,
                      &lines.amplitudes[at], &lines.noise[at]);
        }
    }
    return lines;
}

/// Whether what is above one harmonic is below the next.
bool LineReader::isShared() const
{
    return grid.getPeriods() == fewestPeriods;
}

/// All channels of a frame by direct sums, at the harmonics and half-way between them.
void LineReader::readTogether(int centre, double frequency, double phase, HarmonicLines& lines,
                              int index)
{
    const int count = lines.numHarmonics;
    frequencies.clear();
    turns.clear();
    for (int h = 1; h <= count; ++h)
    {
        frequencies.push_back(std::min(0.5, h * frequency / sampleRate));
        turns.push_back(std::polar(scale, -2.0 * pi * phase * h));
    }
    for (int h = 0; h <= count; ++h)
        frequencies.push_back(std::min(0.5, (h + 0.5) * frequency / sampleRate));
    sums->read(view.channels, view.numSamples, centre, frequencies);
    beside.resize(static_cast<std::size_t>(count) + 1);
    for (int channel = 0; channel < lines.numChannels; ++channel)
    {
        Complex* const amplitudes = &lines.amplitudes[lines.at(index, channel * count)];
        double total = 0.0;
        for (int h = 0; h < count; ++h)
        {
            amplitudes[h] = multiply(sums->get(channel, h), turns[h]);
            total += getPower(amplitudes[h]);
        }
        for (int h = 0; h <= count; ++h)
            beside[h] = scale * scale * getPower(sums->get(channel, count + h));
        rateNoise(count, total, &lines.noise[lines.at(index, channel * count)]);
    }
}

/// From what is beside the harmonics, of which each is above one and below the next.
void LineReader::rateNoise(int count, double total, double* noise) const
{
    for (int h = 0; h < count; ++h)
        noise[h] = combine(beside[h], beside[h + 1]);
    smoothOverHarmonics(noise, count, quietestNoise + smallestShare * total);
}

const LineReader::Bin* LineReader::getSpectrum(int index, int channel, int centre)
{
    const auto numChannels = static_cast<int>(view.channels.size());
    const std::size_t place = indexOf(index, numChannels, channel);
    Bin* const bins = &kept[place * static_cast<std::size_t>(keptBins)];
    if (isKept[place] == 0)
        std::copy_n(transformFrame(view.channels[channel], centre), keptBins, bins);
    isKept[place] = 1;
    return bins;
}

const LineReader::Bin* LineReader::transformFrame(const float* samples, int centre)
{
    float* const values = frame.getWriteChannelPtr(0);
    std::memset(values, 0, static_cast<std::size_t>(size) * sizeof(float));
    const int after = std::min(half, view.numSamples - 1 - centre);
    const int before = std::min(half, centre);
    for (int i = 0; i <= after; ++i)
        values[i] = samples[centre + i] * window[i];
    for (int i = 1; i <= before; ++i)
        values[size - i] = samples[centre - i] * window[i];
    transform.forwardReal(frame, spectrum);
    return spectrum.getReadChannelPtr(0);
}

Complex LineReader::getBin(const Bin* bins, double wanted) const
{
    const double position = std::min(wanted, 0.5 * size);
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
        const Bin value = bin < 0          ? std::conj(bins[-bin])
                          : bin > size / 2 ? std::conj(bins[size - bin])
                                           : bins[bin];
        real += weight * value.real();
        imaginary += weight * value.imag();
    }
    return {scale * real, scale * imaginary};
}

void LineReader::readFrame(const Bin* bins, double frequency, double phase, int numHarmonics,
                           Complex* amplitudes, double* noise)
{
    const double bin = frequency * size / sampleRate;
    const double distance = 2.0 / grid.getPeriods();
    const Complex turn = std::polar(1.0, -2.0 * pi * phase);
    Complex turned = 1.0;
    double total = 0.0;
    beside.resize(static_cast<std::size_t>(numHarmonics) + 1);
    for (int h = 0; h < numHarmonics; ++h)
    {
        turned = multiply(turned, turn);
        amplitudes[h] = multiply(getBin(bins, bin * (h + 1)), turned);
        total += getPower(amplitudes[h]);
        if (h == 0 || !isShared())
            beside[h] = getPower(getBin(bins, bin * (h + 1 - distance)));
        const double above = getPower(getBin(bins, bin * (h + 1 + distance)));
        noise[h] = combine(beside[h], above);
        beside[h + 1] = above;
    }
    smoothOverHarmonics(noise, numHarmonics, quietestNoise + smallestShare * total);
}

} // namespace orvo::audio::precise
