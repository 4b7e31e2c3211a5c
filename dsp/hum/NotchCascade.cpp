#include "dsp/hum/NotchCascade.h"

#include "dsp/signal/IirFilter64.h"

#include <algorithm>
#include <cmath>

namespace orvo::audio
{

using kernels::NotchGroup;
using kernels::NotchState;
using kernels::stagesPerGroup;

void NotchCascade::reserve(int mostChannels)
{
    const auto count = static_cast<std::size_t>(mostChannels);
    states.reserve(count);
    idleStates.reserve(count);
    channels.reserve(count);
}

void NotchCascade::setFormat(int newNumChannels, double newSampleRate)
{
    const auto count = static_cast<std::size_t>(newNumChannels);
    sampleRate = newSampleRate;
    states.resize(count);
    idleStates.resize(count);
    channels.resize(count);
    tuning.reset();
    reset();
}

void NotchCascade::reset()
{
    std::ranges::fill(states, States());
}

void NotchCascade::process(std::span<float* const> samples, int numSamples, float fundamental,
                           HarmonicSelection selection)
{
    tune({fundamental, selection});
    if (numStages == 0)
        return;
    for (std::size_t channel = 0; channel < channels.size(); ++channel)
        channels[channel] = {samples[channel], states[channel].data()};
    run(numSamples);
    for (States& channelStates : states)
        sanitise(channelStates);
}

void NotchCascade::tune(const Tuning& wanted)
{
    // Tuning takes as long as a short block, and the fundamental changes once in many of them.
    if (tuning == wanted)
        return;
    tuning = wanted;
    groups.fill({});
    numStages = 0;
    const auto limit = static_cast<float>(HarmonicSelection::highestRelativeFrequency * sampleRate);
    // Frequencies rise, so that the first one beyond the limit ends the cascade.
    for (; static_cast<int>(numStages) < wanted.selection.count; ++numStages)
    {
        const float frequency =
            wanted.selection.getFrequency(static_cast<int>(numStages), wanted.fundamental);
        if (!(limit > frequency && frequency > 0.0F))
            break;
        const NormalisedSection section = normalise(
            IirCoefficients::designBandPass(static_cast<double>(frequency), notchQ, sampleRate));
        NotchGroup& group = groups[numStages / stagesPerGroup];
        const std::size_t lane = numStages % stagesPerGroup;
        group.b0[lane] = section.b0;
        group.a1[lane] = section.a1;
        group.a2[lane] = section.a2;
        group.numStages = lane + 1;
    }
}

/// The last group may have stages that are not selected: they must be at rest to pass the sound on,
/// and have their state back afterwards, from which they go on when they are selected again.
void NotchCascade::run(int numSamples)
{
    const std::size_t numInUse = (numStages + stagesPerGroup - 1) / stagesPerGroup;
    const std::size_t last = numInUse - 1;
    const auto firstIdle = static_cast<std::ptrdiff_t>(groups[last].numStages);
    const auto copyIdle = [&](const NotchState& from, NotchState& to)
    {
        std::copy(from.s1.begin() + firstIdle, from.s1.end(), to.s1.begin() + firstIdle);
        std::copy(from.s2.begin() + firstIdle, from.s2.end(), to.s2.begin() + firstIdle);
    };
    for (std::size_t channel = 0; channel < states.size(); ++channel)
    {
        copyIdle(states[channel][last], idleStates[channel]);
        copyIdle({}, states[channel][last]);
    }
    kernels::runNotches(std::span(groups).first(numInUse), channels,
                        static_cast<std::size_t>(numSamples));
    for (std::size_t channel = 0; channel < states.size(); ++channel)
        copyIdle(idleStates[channel], states[channel][last]);
}

/// A state that is NaN or infinite would never leave a recursive filter again.
void NotchCascade::sanitise(States& channelStates) const
{
    for (std::size_t stage = 0; stage < numStages; ++stage)
    {
        NotchState& state = channelStates[stage / stagesPerGroup];
        double& s1 = state.s1[stage % stagesPerGroup];
        double& s2 = state.s2[stage % stagesPerGroup];
        if (!std::isfinite(s1) || !std::isfinite(s2))
            s1 = s2 = 0.0;
    }
}

} // namespace orvo::audio
