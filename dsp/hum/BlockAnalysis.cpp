#include "dsp/hum/BlockAnalysis.h"

#include "dsp/signal/MathEx.h"
#include "dsp/signal/VectorOperations.h"
#include "dsp/signal/WindowFunctions.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace orvo::audio
{
namespace
{

/// Zero padding of the display spectrum, which draws a smooth curve between the bins.
constexpr int displayPadding = 4;

/// How fast the display falls, in dB per second.
constexpr float displayFall = 96.0F;

constexpr double fullTurn = 2.0 * std::numbers::pi;

bool haveSameShape(const Signal32& a, const Signal32& b)
{
    return a.getNumChannels() == b.getNumChannels() && a.getNumSamples() == b.getNumSamples();
}

Signal32 magnitudesOf(const ComplexSignal32& spectrum)
{
    Signal32 result(1, spectrum.getNumSamples());
    vo::calcMagnitudes(spectrum.getReadChannelPtr(0), result.getWriteChannelPtr(0),
                       spectrum.getNumSamples());
    return result;
}

Signal32 phasesOf(const ComplexSignal32& spectrum)
{
    Signal32 result(1, spectrum.getNumSamples());
    vo::calcPhases(spectrum.getReadChannelPtr(0), result.getWriteChannelPtr(0),
                   spectrum.getNumSamples());
    return result;
}

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

} // namespace

void BlockAnalysis::setFormat(int newNumChannels, double newSampleRate, int newBlockSize,
                              int newHopSize)
{
    numChannels = newNumChannels;
    sampleRate = newSampleRate;
    blockSize = newBlockSize;
    hopSize = newHopSize;
    transform.allocate(displayPadding * blockSize, true);
    transform.allocate(blockSize, true);
}

void BlockAnalysis::reset()
{
    weighting = Signal32::empty;
    previousPhases = Signal32::empty;
    displayMagnitudes = Signal32::empty;
    publishedMagnitudes.publish(Signal32::empty);
}

float BlockAnalysis::analyseBlock(const Signal32& block, float fundamental, Tracking tracking)
{
    const Signal32 weighted = weigh(block);
    const ComplexSignal32 spectrum = transform.forwardReal(weighted);
    const Signal32 phases = phasesOf(spectrum);
    const float estimate = estimateFundamental(magnitudesOf(spectrum), differenceToPrevious(phases),
                                               hopSize, fundamental);
    previousPhases = phases;
    if (isDisplayed)
        updateDisplay(weighted);

    const double largestStep =
        static_cast<double>(static_cast<float>(hopSize) * tracking.adaptivity) / sampleRate;
    // An estimate that is no number fails the comparison and is refused like one out of reach.
    if (largestStep > static_cast<double>(std::fabs(fundamental - estimate)))
        return estimate;
    return 0.3F * tracking.startFrequency + 0.7F * fundamental;
}

float BlockAnalysis::estimateFundamental(const Signal32& magnitudes,
                                         const Signal32& phaseDifferences, int hop,
                                         float fundamental) const
{
    const int nearest = MathEx::saturatingToInt(
        static_cast<double>(static_cast<float>(blockSize) * fundamental) / sampleRate + 0.5);
    if (nearest < 2 || nearest >= blockSize / 2)
        return fundamental;
    const int bin = findPeak(magnitudes.getReadChannelPtr(0), nearest);

    constexpr auto turn = static_cast<float>(fullTurn);
    const float expectedAdvance =
        static_cast<float>(bin * fullTurn * hop) / static_cast<float>(blockSize);
    const auto centre = static_cast<float>(bin * sampleRate / blockSize);
    float deviation = std::fmod(phaseDifferences.getReadChannelPtr(0)[bin] - expectedAdvance, turn);
    // Only the negative side is wrapped: the expected advance is usually the larger of the two.
    // Where it is not, the estimate may lie up to a full turn above the bin.
    if (static_cast<double>(deviation) < -std::numbers::pi)
        deviation += turn;
    return centre +
           static_cast<float>(sampleRate * static_cast<double>(deviation) / (hop * fullTurn));
}

Signal32 BlockAnalysis::weigh(const Signal32& block)
{
    if (weighting.getNumSamples() != blockSize)
    {
        weighting = WindowFunctions::generateHammingWindow(1, blockSize);
        float* const weights = weighting.getWriteChannelPtr(0);
        vo::constantMultiply(
            weights, 4.0F / (static_cast<float>(numChannels) * static_cast<float>(blockSize)),
            weights, blockSize);
    }
    Signal32 weighted = Signal32::sumChannels(block);
    float* const samples = weighted.getWriteChannelPtr(0);
    vo::multiply(samples, weighting.getReadChannelPtr(0), samples, blockSize);
    return weighted;
}

Signal32 BlockAnalysis::differenceToPrevious(const Signal32& phases) const
{
    const int numBins = phases.getNumSamples();
    Signal32 difference(1, numBins, 0.0F);
    if (haveSameShape(previousPhases, phases))
        vo::subtract(previousPhases.getReadChannelPtr(0), phases.getReadChannelPtr(0),
                     difference.getWriteChannelPtr(0), numBins);
    return difference;
}

void BlockAnalysis::updateDisplay(const Signal32& weighted)
{
    Signal32 padded(1, displayPadding * blockSize, 0.0F);
    vo::copy(weighted.getReadChannelPtr(0), padded.getWriteChannelPtr(0), blockSize);
    const Signal32 newMagnitudes = magnitudesOf(transform.forwardReal(padded));
    displayMagnitudes =
        haveSameShape(displayMagnitudes, newMagnitudes) ? smooth(newMagnitudes) : newMagnitudes;
    publishedMagnitudes.tryPublish(displayMagnitudes);
}

/// At once up, with a one-pole decay down, into fresh storage: readers may hold the present one.
Signal32 BlockAnalysis::smooth(const Signal32& newMagnitudes) const
{
    const int numBins = newMagnitudes.getNumSamples();
    const float decay = MathEx::fromDecibel(static_cast<float>(-hopSize) * displayFall /
                                            static_cast<float>(sampleRate));
    Signal32 result(1, numBins);
    Signal32 fall(1, numBins);
    float* const smoothed = result.getWriteChannelPtr(0);
    float* const falling = fall.getWriteChannelPtr(0);
    const float* const stored = displayMagnitudes.getReadChannelPtr(0);

    vo::subtract(stored, newMagnitudes.getReadChannelPtr(0), falling, numBins);
    vo::lowerBound(falling, smoothed, 0.0F, numBins);
    vo::upperBound(falling, falling, 0.0F, numBins);
    vo::constantMultiply(falling, 1.0F - decay, falling, numBins);
    vo::add(stored, smoothed, smoothed, numBins);
    vo::add(smoothed, falling, smoothed, numBins);
    vo::limitToFinite(smoothed, smoothed, std::numeric_limits<float>::max(), numBins);
    return result;
}

} // namespace orvo::audio
