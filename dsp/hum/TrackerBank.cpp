#include "dsp/hum/TrackerBank.h"

#include "dsp/signal/VectorOperations.h"

#include <algorithm>
#include <array>
#include <numbers>

namespace orvo::audio
{
namespace
{

constexpr std::size_t maximum = HarmonicSelection::maximum;
constexpr std::size_t numGroups = (maximum + kernels::lanesPerGroup - 1) / kernels::lanesPerGroup;

/// Which group and which lane of it a participant occupies.
struct Place
{
    explicit Place(std::size_t participant)
        : group(participant / kernels::lanesPerGroup)
        , lane(participant % kernels::lanesPerGroup)
    {
    }

    std::size_t group;
    std::size_t lane;
};

struct Matrix
{
    double m00;
    double m01;
    double m10;
    double m11;
};

Matrix operator*(const Matrix& a, const Matrix& b)
{
    return {a.m00 * b.m00 + a.m01 * b.m10, a.m00 * b.m01 + a.m01 * b.m11,
            a.m10 * b.m00 + a.m11 * b.m10, a.m10 * b.m01 + a.m11 * b.m11};
}

Matrix power(Matrix base, int exponent)
{
    Matrix result{1.0, 0.0, 0.0, 1.0};
    for (; exponent > 0; exponent /= 2)
    {
        if (exponent % 2 == 1)
            result = result * base;
        base = base * base;
    }
    return result;
}

/// The state of a second-order filter that starts from rest and is run `numPasses` times over the
/// same `period` samples, in closed form from `afterOnePass`, its state after the first pass: with
/// M the filter's state transition over a period, the sum of M^k afterOnePass for k below
/// numPasses.
std::array<double, 2> repeatPasses(std::array<double, 2> afterOnePass, double a1, double a2,
                                   int period, int numPasses)
{
    // Without input, y = s1, then s1 becomes s2 - a1 y and s2 becomes -a2 y.
    const Matrix m = power({-a1, 1.0, -a2, 0.0}, period);
    std::array<double, 2> state{};
    for (int pass = 0; pass < numPasses; ++pass)
        state = {m.m00 * state[0] + m.m01 * state[1] + afterOnePass[0],
                 m.m10 * state[0] + m.m11 * state[1] + afterOnePass[1]};
    return state;
}

} // namespace

TrackerBank::TrackerBank()
    : trackers(maximum)
    , groups(numGroups)
{
    participants.reserve(maximum);
}

void TrackerBank::reserve(int mostChannels, int longestFrame)
{
    for (SinusoidalSynthesis& tracker : trackers)
        tracker.reserve(mostChannels);
    crossfade.reserve(static_cast<std::size_t>(longestFrame));
    input.reserve(static_cast<std::size_t>(longestFrame));
    oscillations.reserve(maximum * static_cast<std::size_t>(mostChannels));
}

void TrackerBank::setFormat(int newNumChannels, double newSampleRate, int newFrameLength)
{
    numChannels = newNumChannels;
    sampleRate = newSampleRate;
    frameLength = newFrameLength;
    for (SinusoidalSynthesis& tracker : trackers)
        tracker.setFormat(numChannels, sampleRate);
    crossfade.resize(static_cast<std::size_t>(frameLength));
    for (int n = 0; n < frameLength; ++n)
        crossfade[static_cast<std::size_t>(n)] = SinusoidalSynthesis::crossfade(n, frameLength);
    input.resize(static_cast<std::size_t>(frameLength));
    oscillations.assign(maximum * static_cast<std::size_t>(numChannels), {});
}

void TrackerBank::reset()
{
    for (SinusoidalSynthesis& tracker : trackers)
        tracker.reset();
}

void TrackerBank::subtractHarmonics(std::span<float* const> frame, float fundamental,
                                    HarmonicSelection selection)
{
    gatherParticipants(fundamental, selection);
    if (participants.empty())
        return;
    for (int channel = 0; channel < numChannels; ++channel)
        measureChannel(frame[static_cast<std::size_t>(channel)], channel, fundamental);
    for (int channel = 0; channel < numChannels; ++channel)
        subtractFrom(frame[static_cast<std::size_t>(channel)], channel);
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

void TrackerBank::measureChannel(const float* samples, int channel, float fundamental)
{
    vo::convert32To64(samples, input.data(), frameLength);
    primeNewTrackers(channel, fundamental);
    loadLanes(channel);
    kernels::isolateAndTransform(getGroupsInUse(), input.data(),
                                 static_cast<std::size_t>(frameLength));
    planOscillations(channel);
}

void TrackerBank::loadLanes(int channel)
{
    // Lanes that nobody occupies stay at rest and must not shorten the run of the others.
    kernels::TrackerGroup idle;
    idle.transformLength.fill(frameLength);
    std::ranges::fill(getGroupsInUse(), idle);
    for (std::size_t i = 0; i < participants.size(); ++i)
    {
        const Participant& participant = participants[i];
        const NormalisedSection section = participant.tracker->getBandPass().getSection();
        const std::span<const double> state =
            participant.tracker->getBandPass().getDelayLine(channel);
        const Place place(i);
        kernels::TrackerGroup& group = groups[place.group];
        group.b0[place.lane] = section.b0;
        group.a1[place.lane] = section.a1;
        group.a2[place.lane] = section.a2;
        group.s1[place.lane] = state[0];
        group.s2[place.lane] = state[1];
        group.coefficient[place.lane] = 2.0 * participant.oneSampleBack.real();
        group.transformLength[place.lane] =
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
    for (kernels::TrackerGroup& group : getGroupsInUse())
    {
        group.s1.fill(0.0);
        group.s2.fill(0.0);
    }
    const int period = participants.front().tracker->getPrimingPeriod(fundamental, frameLength);
    const int numPasses = participants.front().tracker->getNumPrimingPasses(period, frameLength);
    kernels::isolate(getGroupsInUse(), input.data(), static_cast<std::size_t>(period));
    for (std::size_t i = 0; i < participants.size(); ++i)
    {
        if (!isNew(participants[i]))
            continue;
        const Place place(i);
        const kernels::TrackerGroup& group = groups[place.group];
        std::ranges::copy(repeatPasses({group.s1[place.lane], group.s2[place.lane]},
                                       group.a1[place.lane], group.a2[place.lane], period,
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
        const kernels::TrackerGroup& group = groups[place.group];
        std::ranges::copy(std::array{group.s1[place.lane], group.s2[place.lane]},
                          tracker.getBandPass().getDelayLine(channel).begin());

        // The recursion ran to the frame's end; adding zero makes silence +0, whose phase is 0.
        const std::complex<double> atEnd =
            group.w1[place.lane] - participant.oneSampleBack * group.w2[place.lane];
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
    kernels::subtractOscillations(std::span(audible).first(count), crossfade.data(), output,
                                  static_cast<std::size_t>(frameLength));
}

void TrackerBank::finishFrame()
{
    for (const Participant& participant : participants)
        if (participant.hasFailed)
            participant.tracker->reset();
        else
            participant.tracker->finishFrame();
}

std::span<kernels::TrackerGroup> TrackerBank::getGroupsInUse()
{
    const std::size_t count =
        (participants.size() + kernels::lanesPerGroup - 1) / kernels::lanesPerGroup;
    return std::span(groups).first(count);
}

std::span<SinusoidalSynthesis::Oscillation> TrackerBank::getOscillations(int channel)
{
    return std::span(oscillations).subspan(static_cast<std::size_t>(channel) * maximum, maximum);
}

} // namespace orvo::audio
