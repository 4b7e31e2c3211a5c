#include "dsp/hum/BlockAnalysis.h"

#include "dsp/signal/MathEx.h"
#include "dsp/signal/VectorOperations.h"

#include <cmath>
#include <limits>
#include <numbers>
#include <thread>
#include <utility>

namespace orvo::audio
{
namespace
{

/// Zero padding of the display spectrum, which draws a smooth curve between the bins.
constexpr int displayPadding = 4;

/// How fast the display falls, in dB per second.
constexpr float displayFall = 96.0F;

/// How many spectra for display are there at the same time: the one being made, the one before it,
/// and what readers hold.
constexpr int numDisplays = 6;

/// Samples that the analysis may fall behind before its queue has to grow. It looks at one window
/// per call, so longer calls than a hop leave it behind for good; half a minute of that costs no
/// heap.
constexpr std::size_t lag = std::size_t{1} << 20;

/// The strongest of bin k and its neighbours, the lower one on a tie.
int findPeak(const float* magnitudes, int k)
{
    int peak = k - 1;
    if (magnitudes[k] > magnitudes[peak])
        peak = k;
    if (magnitudes[k + 1] > magnitudes[peak])
        peak = k + 1;
    return peak;
}

Signal32 makeWeighting(const BlockAnalysis::Format& format)
{
    const int length = format.blockSize;
    Signal32 weighting = WindowFunctions::generateHammingWindow(1, length);
    float* const weights = weighting.getWriteChannelPtr(0);
    vo::constantMultiply(
        weights, 4.0F / (static_cast<float>(format.numChannels) * static_cast<float>(length)),
        weights, length);
    return weighting;
}

void calcMagnitudes(const ComplexSignal32& spectrum, Signal32& magnitudes)
{
    vo::calcMagnitudes(spectrum.getReadChannelPtr(0), magnitudes.getWriteChannelPtr(0),
                       spectrum.getNumSamples());
}

} // namespace

Signal32 WindowFunctions::generateHammingWindow(int numChannels, int length)
{
    Signal32 window(numChannels, length);
    float* const first = window.getWriteChannelPtr(0);
    for (int n = 0; n < length; ++n)
        first[n] =
            static_cast<float>(0.54 - 0.46 * std::cos(2.0 * std::numbers::pi * (n + 0.5) / length));
    for (int channel = 1; channel < numChannels; ++channel)
        vo::copy(first, window.getWriteChannelPtr(channel), length);
    return window;
}

bool PublishedSignal::tryPublish(const Signal32& newSignal) noexcept
{
    if (busy.test_and_set(std::memory_order_acquire))
        return false;
    const Signal32 previous = std::exchange(signal, newSignal);
    busy.clear(std::memory_order_release);
    return true; // the previous signal is let go here, after readers may come in again
}

void PublishedSignal::publish(const Signal32& newSignal) noexcept
{
    while (!tryPublish(newSignal))
        std::this_thread::yield();
}

Signal32 PublishedSignal::get() const noexcept
{
    waitForTurn();
    Signal32 handle = signal;
    busy.clear(std::memory_order_release);
    return handle;
}

void PublishedSignal::waitForTurn() const noexcept
{
    while (busy.test_and_set(std::memory_order_acquire))
        std::this_thread::yield();
}

BlockAnalysis::Buffers BlockAnalysis::prepare(const Format& newFormat, int longestBlock)
{
    const int length = newFormat.blockSize;
    const int numBins = length / 2 + 1;
    const int paddedLength = displayPadding * length;
    const int numDisplayBins = paddedLength / 2 + 1;
    transform.allocate(paddedLength, true);
    transform.allocate(length, true);
    Buffers made{
        {},
        makeWeighting(newFormat),
        {1, length},
        {1, numBins},
        {1, numBins},
        {1, numBins},
        {1, numBins},
        {1, numBins},
        {1, paddedLength, 0.0F},
        {1, numDisplayBins},
        {1, numDisplayBins},
        {1, numDisplayBins},
        std::make_shared<SignalArena>(Signal32::getSlotSize(1, numDisplayBins), numDisplays)};
    made.queue.reserve(static_cast<std::size_t>(length) + static_cast<std::size_t>(longestBlock) +
                       (longestBlock > newFormat.hopSize ? lag : 0));
    return made;
}

void BlockAnalysis::setFormat(const Format& newFormat, Buffers newBuffers) noexcept
{
    format = newFormat;
    buffers = std::move(newBuffers);
    reset();
}

void BlockAnalysis::reset() noexcept
{
    buffers.queue.clear();
    hasPreviousPhases = false;
    displayMagnitudes = Signal32::empty;
    publishedMagnitudes.publish(Signal32::empty);
}

void BlockAnalysis::add(const Signal32& samples)
{
    if (samples.getNumSamples() < 1)
        return;
    int position = 0;
    for (const std::span<float> piece :
         buffers.queue.append(static_cast<std::size_t>(samples.getNumSamples())))
    {
        const int length = static_cast<int>(piece.size());
        vo::copy(samples.getReadChannelPtr(0) + position, piece.data(), length);
        for (int channel = 1; channel < samples.getNumChannels(); ++channel)
            vo::add(piece.data(), samples.getReadChannelPtr(channel) + position, piece.data(),
                    length);
        position += length;
    }
}

bool BlockAnalysis::hasBlock() const
{
    return buffers.queue.size() >= static_cast<std::size_t>(format.blockSize);
}

float BlockAnalysis::analyseBlock(float fundamental, Tracking tracking)
{
    weigh();
    buffers.queue.drop(static_cast<std::size_t>(format.hopSize));
    transform.forwardReal(buffers.weighted, buffers.spectrum);
    calcMagnitudes(buffers.spectrum, buffers.magnitudes);
    measurePhases();
    const float estimate = estimateFundamental(buffers.magnitudes, buffers.phaseDifferences,
                                               format.hopSize, fundamental);
    if (isDisplayed)
        updateDisplay();

    const double largestStep =
        static_cast<double>(static_cast<float>(format.hopSize) * tracking.adaptivity) /
        format.sampleRate;
    // A NaN estimate fails the comparison and is refused like one out of reach.
    if (largestStep > static_cast<double>(std::fabs(fundamental - estimate)))
        return estimate;
    // Three tenths of the way back to what the user has set: fast enough for a wrong track to die
    // out within a second, slow enough for one bad estimate not to lose a right one.
    return 0.3F * tracking.startFrequency + 0.7F * fundamental;
}

float BlockAnalysis::estimateFundamental(const Signal32& magnitudes,
                                         const Signal32& phaseDifferences, int hop,
                                         float fundamental) const
{
    const int length = format.blockSize;
    const int nearest = MathEx::saturatingToInt(
        static_cast<double>(static_cast<float>(length) * fundamental) / format.sampleRate + 0.5);
    if (nearest < 2 || nearest >= length / 2)
        return fundamental;
    const int bin = findPeak(magnitudes.getReadChannelPtr(0), nearest);

    constexpr auto turn = static_cast<float>(fullTurn);
    const float expectedAdvance =
        static_cast<float>(bin * fullTurn * hop) / static_cast<float>(length);
    const auto centre = static_cast<float>(bin * format.sampleRate / length);
    float deviation = std::fmod(phaseDifferences.getReadChannelPtr(0)[bin] - expectedAdvance, turn);
    // Only the negative side is wrapped: the expected advance is usually the larger of the two.
    // Where it is not, the estimate may lie up to a full turn above the bin.
    if (static_cast<double>(deviation) < -std::numbers::pi)
        deviation += turn;
    return centre + static_cast<float>(format.sampleRate * static_cast<double>(deviation) /
                                       (hop * fullTurn));
}

void BlockAnalysis::weigh()
{
    const float* weights = buffers.weighting.getReadChannelPtr(0);
    float* target = buffers.weighted.getWriteChannelPtr(0);
    for (const std::span<const float> piece :
         buffers.queue.getFront(static_cast<std::size_t>(format.blockSize)))
    {
        vo::multiply(piece.data(), weights, target, static_cast<int>(piece.size()));
        weights += piece.size();
        target += piece.size();
    }
}

void BlockAnalysis::measurePhases()
{
    const int numBins = buffers.spectrum.getNumSamples();
    std::swap(buffers.phases, buffers.previousPhases);
    vo::calcPhases(buffers.spectrum.getReadChannelPtr(0), buffers.phases.getWriteChannelPtr(0),
                   numBins);
    float* const differences = buffers.phaseDifferences.getWriteChannelPtr(0);
    if (hasPreviousPhases)
        vo::subtract(buffers.previousPhases.getReadChannelPtr(0),
                     buffers.phases.getReadChannelPtr(0), differences, numBins);
    else
        vo::setToZero(differences, numBins);
    hasPreviousPhases = true;
}

void BlockAnalysis::updateDisplay()
{
    vo::copy(buffers.weighted.getReadChannelPtr(0), buffers.padded.getWriteChannelPtr(0),
             format.blockSize);
    transform.forwardReal(buffers.padded, buffers.displaySpectrum);
    calcMagnitudes(buffers.displaySpectrum, buffers.newMagnitudes);
    displayMagnitudes = smooth();
    publishedMagnitudes.tryPublish(displayMagnitudes);
}

/// At once up, with a one-pole decay down, into fresh storage: readers may hold the present one.
Signal32 BlockAnalysis::smooth()
{
    const int numBins = buffers.newMagnitudes.getNumSamples();
    const float* const added = buffers.newMagnitudes.getReadChannelPtr(0);
    Signal32 result(1, numBins, buffers.displays);
    float* const smoothed = result.getWriteChannelPtr(0);
    if (!displayMagnitudes.hasStorage())
    {
        vo::copy(added, smoothed, numBins);
        return result;
    }
    const float decay = MathEx::fromDecibel(static_cast<float>(-format.hopSize) * displayFall /
                                            static_cast<float>(format.sampleRate));
    float* const falling = buffers.falling.getWriteChannelPtr(0);
    const float* const stored = displayMagnitudes.getReadChannelPtr(0);
    vo::subtract(stored, added, falling, numBins);
    vo::lowerBound(falling, smoothed, 0.0F, numBins);
    vo::upperBound(falling, falling, 0.0F, numBins);
    vo::constantMultiply(falling, 1.0F - decay, falling, numBins);
    vo::add(stored, smoothed, smoothed, numBins);
    vo::add(smoothed, falling, smoothed, numBins);
    vo::limitToFinite(smoothed, smoothed, std::numeric_limits<float>::max(), numBins);
    return result;
}

} // namespace orvo::audio
