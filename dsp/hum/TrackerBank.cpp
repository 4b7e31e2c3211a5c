#include "dsp/hum/TrackerBank.h"

#include "dsp/hum/SteadyState.h"
#include "dsp/signal/VectorOperations.h"

#include <algorithm>
#include <array>
#include <numbers>

namespace orvo::audio
{
namespace
{

constexpr std::size_t maximum = HarmonicSelection::maximum;
constexpr std::size_t numBlocks = (maximum + kernels::lanesPerBlock - 1) / kernels::lanesPerBlock;

/// Which block and which lane of it a participant occupies.
struct Place
{
    explicit Place(std::size_t participant)
        : block(participant / kernels::lanesPerBlock)
        , lane(participant % kernels::lanesPerBlock)
    {
    }

    std::size_t block;
    std::size_t lane;
};

} // namespace

TrackerBank::TrackerBank()
    : trackers(maximum)
    , blocks(numBlocks)
{
    participants.reserve(maximum);
}

void TrackerBank::setFormat(int newNumChannels, double newSampleRate, int newFrameLength)
{
    numChannels = newNumChannels;
    sampleRate = newSampleRate;
    frameLength = newFrameLength;
    for (SinusoidalSynthesis& tracker : trackers)
        tracker.setFormat(numChannels, sampleRate);
    crossfade = Signal32(1, frameLength);
    float* const table = crossfade.getWriteChannelPtr(0);
    for (int n = 0; n < frameLength; ++n)
        table[n] = SinusoidalSynthesis::crossfade(n, frameLength);
    input = Signal64(1, frameLength);
    oscillations.assign(maximum * static_cast<std::size_t>(numChannels), {});
}

void TrackerBank::reset()
{
    for (SinusoidalSynthesis& tracker : trackers)
        tracker.reset();
}

void TrackerBank::subtractHarmonics(const Signal32& frame, Signal32& output, float fundamental,
                                    HarmonicSelection selection)
{
    gatherParticipants(fundamental, selection);
    if (participants.empty())
        return;
    for (int channel = 0; channel < numChannels; ++channel)
        measureChannel(frame, channel, fundamental);
    for (int channel = 0; channel < numChannels; ++channel)
        subtractFrom(output.getWriteChannelPtr(channel), channel);
    finishFrame();
}

void TrackerBank::gatherParticipants(float fundamental, HarmonicSelection selection)
{
    participants.clear();
    for (int index = 0; index < selection.count; ++index)
    {
        SinusoidalSynthesis& tracker = trackers[static_cast<std::size_t>(index)];
        const float frequency = selection.getFrequency(index, fundamental);
        if (!tracker.canTrack(frequency))
            continue;
        tracker.tune(frequency);
        const auto relativeFrequency =
            static_cast<float>(static_cast<double>(frequency) / sampleRate);
        const double w = 2.0 * std::numbers::pi * static_cast<double>(relativeFrequency);
        participants.push_back({&tracker, frequency, false, std::polar(1.0, -w),
                                std::polar(1.0, -w * (frameLength - 1))});
    }
}

void TrackerBank::measureChannel(const Signal32& frame, int channel, float fundamental)
{
    vo::convert32To64(frame.getReadChannelPtr(channel), input.getWriteChannelPtr(0), frameLength);
    primeNewTrackers(channel, fundamental);
    loadLanes(channel);
    kernels::isolateAndTransform(getBlocksInUse(), input.getReadChannelPtr(0),
                                 static_cast<std::size_t>(frameLength));
    planOscillations(channel);
}

void TrackerBank::loadLanes(int channel)
{
    // Lanes that nobody occupies stay at rest and must not shorten the run of the others.
    kernels::TrackerBlock idle;
    idle.transformLength.fill(frameLength);
    std::ranges::fill(getBlocksInUse(), idle);
    for (std::size_t i = 0; i < participants.size(); ++i)
    {
        const Participant& participant = participants[i];
        const std::span<const double> taps = participant.tracker->getBandPass().getNormalisedTaps();
        const std::span<const double> state =
            participant.tracker->getBandPass().getDelayLine(channel);
        const Place place(i);
        kernels::TrackerBlock& block = blocks[place.block];
        block.b0[place.lane] = taps[0];
        block.a1[place.lane] = taps[4];
        block.a2[place.lane] = taps[5];
        block.s1[place.lane] = state[0];
        block.s2[place.lane] = state[1];
        block.coefficient[place.lane] = 2.0 * participant.oneSampleBack.real();
        block.transformLength[place.lane] =
            participant.tracker->getWholePeriods(participant.frequency, frameLength);
    }
}

void TrackerBank::primeNewTrackers(int channel, float fundamental)
{
    const auto isNew = [](const Participant& participant)
    { return participant.tracker->isFirstFrame(); };
    if (std::ranges::none_of(participants, isNew))
        return;
    loadLanes(channel);
    // All start afresh here; those that are not new do not take the result over.
    for (kernels::TrackerBlock& block : getBlocksInUse())
    {
        block.s1.fill(0.0);
        block.s2.fill(0.0);
    }
    const int period = participants.front().tracker->getPrimingPeriod(fundamental, frameLength);
    const int numPasses = participants.front().tracker->getNumPrimingPasses(period, frameLength);
    kernels::isolate(getBlocksInUse(), input.getReadChannelPtr(0),
                     static_cast<std::size_t>(period));
    for (std::size_t i = 0; i < participants.size(); ++i)
    {
        if (!isNew(participants[i]))
            continue;
        const Place place(i);
        const kernels::TrackerBlock& block = blocks[place.block];
        std::ranges::copy(repeatPasses({block.s1[place.lane], block.s2[place.lane]},
                                       block.a1[place.lane], block.a2[place.lane], period,
                                       numPasses),
                          participants[i].tracker->getBandPass().getDelayLine(channel).begin());
    }
}

void TrackerBank::planOscillations(int channel)
{
    const std::span<SinusoidalSynthesis::Oscillation> planned = getOscillations(channel);
    for (std::size_t i = 0; i < participants.size(); ++i)
    {
        Participant& participant = participants[i];
        SinusoidalSynthesis& tracker = *participant.tracker;
        const Place place(i);
        const kernels::TrackerBlock& block = blocks[place.block];
        std::ranges::copy(std::array{block.s1[place.lane], block.s2[place.lane]},
                          tracker.getBandPass().getDelayLine(channel).begin());

        // The recursion ran to the frame's end; adding zero makes silence +0, whose phase is 0.
        const std::complex<double> atEnd =
            block.w1[place.lane] - participant.oneSampleBack * block.w2[place.lane];
        const std::complex<double> transform = atEnd * participant.backToStart;
        const std::complex<float> rounded{static_cast<float>(transform.real()) + 0.0F,
                                          static_cast<float>(transform.imag()) + 0.0F};

        const float foreseenPhase = tracker.getForeseenPhase(channel);
        const SinusoidalSynthesis::Measurement measurement =
            tracker.measure(channel, participant.frequency, frameLength, rounded);
        participant.hasFailed = participant.hasFailed || !measurement.isFinite();
        planned[i] = tracker.planOscillation(channel, participant.frequency, frameLength,
                                             foreseenPhase, measurement);
    }
}

void TrackerBank::subtractFrom(float* output, int channel) const
{
    std::array<SinusoidalSynthesis::Oscillation, maximum> audible;
    std::size_t count = 0;
    const std::size_t first = static_cast<std::size_t>(channel) * maximum;
    for (std::size_t i = 0; i < participants.size(); ++i)
        if (!participants[i].hasFailed && !oscillations[first + i].isSilent())
            audible[count++] = oscillations[first + i];
    kernels::subtractOscillations(std::span(audible).first(count), crossfade.getReadChannelPtr(0),
                                  output, static_cast<std::size_t>(frameLength));
}

void TrackerBank::finishFrame()
{
    for (const Participant& participant : participants)
        if (participant.hasFailed)
            participant.tracker->reset();
        else
            participant.tracker->finishFrame();
}

std::span<kernels::TrackerBlock> TrackerBank::getBlocksInUse()
{
    const std::size_t count =
        (participants.size() + kernels::lanesPerBlock - 1) / kernels::lanesPerBlock;
    return std::span(blocks).first(count);
}

std::span<SinusoidalSynthesis::Oscillation> TrackerBank::getOscillations(int channel)
{
    return std::span(oscillations).subspan(static_cast<std::size_t>(channel) * maximum, maximum);
}

} // namespace orvo::audio
