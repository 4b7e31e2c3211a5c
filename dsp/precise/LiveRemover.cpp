#include "dsp/precise/LiveRemover.h"

#include "dsp/precise/HarmonicLines.h"

#include <algorithm>
#include <stdexcept>

namespace orvo::audio::precise
{
namespace
{

constexpr int mostChannels = 8;

/// What the next plan needs is spread over this part of the hop that follows the frame, the rest
/// over the part up to the other.
constexpr double urgentShare = 0.12;
constexpr double latestShare = 0.95;

/// What it takes to read a channel's frame, against the other parts that the next plan needs.
constexpr int workOfReading = 8;

constexpr double fadeSeconds = 0.008;

/// So many zeros on end are digital silence, which holds no hum: its removal fades.
constexpr int zerosOfSilence = 32;
constexpr float presenceStep = 1.0F / 64.0F;

/// Frames that are remembered for those who start late: a little over four seconds of 60 Hz.
constexpr int numRemembered = 125;

constexpr double lowestRate = 8000.0;
constexpr double highestRate = 384000.0;
constexpr double lowestFundamental = 16.0;
constexpr double highestFundamental = 400.0;
constexpr double longestLookAhead = 0.2;
constexpr int mostHarmonics = 96;

} // namespace

void LiveRemover::prepare(double sampleRate, int numChannels, const Settings& newSettings)
{
    const auto isWithin = [](auto value, auto low, auto high)
    { return value >= low && value <= high; };
    if (!isWithin(sampleRate, lowestRate, highestRate) || !isWithin(numChannels, 1, mostChannels) ||
        !isWithin(newSettings.fundamental, lowestFundamental, highestFundamental) ||
        !isWithin(newSettings.lookAhead, 0.0, longestLookAhead) ||
        !isWithin(newSettings.numHarmonics, 1, mostHarmonics) ||
        !isWithin(newSettings.strength, 0.0, 1.0))
        throw std::invalid_argument("LiveRemover: a setting is out of its range");
    settings = newSettings;
    layout.sampleRate = sampleRate;
    layout.nominal = settings.fundamental;
    layout.numHarmonics = std::max(
        1, std::min(settings.numHarmonics, static_cast<int>(highestShareOfRate * sampleRate /
                                                            (1.02 * settings.fundamental))));
    layout.numChannels = numChannels;
    const int step = LiveReader::chooseFactor(layout);
    layout.hop =
        step * static_cast<int>(std::lround(2.0 * sampleRate / settings.fundamental / step));
    latency = static_cast<int>(std::lround(settings.lookAhead * sampleRate));
    fade = std::min(static_cast<int>(fadeSeconds * sampleRate), layout.hop / 4);
    reader.prepare(layout);
    guard.prepare(sampleRate, layout.hop / 2);
    const int needed = 2 * reader.getReach() + 2 * layout.hop + latency;
    std::int64_t size = 1;
    while (size < needed)
        size *= 2;
    mask = size - 1;
    channelStates.resize(static_cast<std::size_t>(numChannels));
    for (auto& channel : channelStates)
        channel.ring.resize(static_cast<std::size_t>(size));
    history = LiveHistory(numRemembered, layout.getNumLines());
    contest.prepare(layout, static_cast<int>(latency / layout.hop) + 6);
    for (auto& plan : plans)
        plan.prepare(layout);
    scheduleParts();
    reset();
}

void LiveRemover::scheduleParts()
{
    const int numUrgent = getNumUrgentParts();
    const int numLater = contest.getNumParts();
    schedule.clear();
    const double lastUrgent = urgentShare * layout.hop * (numUrgent - 1) / numUrgent;
    const int all = (workOfReading - 1) * layout.numChannels + numUrgent - 1;
    for (int part = 0; part < numUrgent; ++part)
    {
        const int before = part + (workOfReading - 1) * std::min(part, layout.numChannels);
        schedule.push_back(static_cast<int>(lastUrgent * before / all));
    }
    for (int part = 0; part < numLater; ++part)
        schedule.push_back(static_cast<int>(
            layout.hop * (urgentShare + (latestShare - urgentShare) * part / numLater)));
}

void LiveRemover::reset()
{
    for (auto& channel : channelStates)
    {
        std::fill(channel.ring.begin(), channel.ring.end(), 0.0F);
        channel.numZeros = 0;
        channel.presence = 1.0F;
    }
    history.clear();
    reader.reset();
    contest.reset();
    guard.reset();
    plannedSegment = 0;
    for (auto& plan : plans)
        plan.clear();
    order = {0, 1, 2};
    position = 0;
    frameStart = 2 * reader.getReach() + 1;
    fadeStart = -fade;
    nextPart = 0;
}

void LiveRemover::setOutput(double strength, bool residual)
{
    settings.strength = strength;
    settings.residual = residual;
}

double LiveRemover::getFundamental() const
{
    const auto& leader = contest.getLeader();
    return leader.isAudible() ? layout.nominal + leader.getDeviation() : 0.0;
}

int LiveRemover::getNumUrgentParts() const
{
    return layout.numChannels + 4 + plans[0].getNumTables();
}

void LiveRemover::process(float* const* channels, int numSamples)
{
    for (int done = 0; done < numSamples;)
    {
        const std::int64_t due = frameStart + schedule[nextPart];
        if (position == due)
        {
            runPart(static_cast<int>(nextPart));
            if (++nextPart == schedule.size())
            {
                nextPart = 0;
                frameStart += layout.hop;
            }
            continue;
        }
        const auto count =
            static_cast<int>(std::min<std::int64_t>(numSamples - done, due - position));
        render(channels, done, count);
        done += count;
    }
}

void LiveRemover::readFrame(int channel)
{
    if (channel == 0)
    {
        auto& observation = history.advance();
        observation.centre = frameStart - reader.getReach() - 1;
        observation.isValid = true;
        const double limit = 0.02 * layout.nominal;
        reader.tune(layout.nominal + std::clamp(contest.getLeader().getDeviation(), -limit, limit));
    }
    reader.read(channelStates[static_cast<std::size_t>(channel)].ring.data(), mask, channel,
                history.getNewest());
}

void LiveRemover::runPart(int part)
{
    auto& plan = plans[static_cast<std::size_t>(order[2])];
    const int step = part - layout.numChannels;
    const int table = step - 3;
    if (step < 0)
        readFrame(part);
    else if (step == 0)
        contest.lead(history);
    else if (step == 1)
        contest.considerChange(history);
    else if (step == 2)
    {
        const auto last = static_cast<std::size_t>(getNumUrgentParts() - 1);
        const std::int64_t begin = frameStart + schedule[last] - latency;
        plan.make(contest.getLeader(), begin, begin + layout.hop + fade);
    }
    else if (table < plan.getNumTables())
        plan.makeTable(table);
    else if (table == plan.getNumTables())
        takeOver();
    else
        contest.runPart(part - getNumUrgentParts(), history);
}

void LiveRemover::takeOver()
{
    const int segment = contest.getLeader().getRecord(0).segment;
    if (segment != plannedSegment)
        guard.release();
    plannedSegment = segment;
    order = {order[2], order[0], order[1]};
    fadeStart = position;
}

float LiveRemover::follow(Channel& channel, float source) const
{
    if (source != 0.0F)
    {
        channel.numZeros = 0;
        channel.presence = 1.0F;
    }
    else if (++channel.numZeros > zerosOfSilence)
    {
        channel.numZeros = zerosOfSilence;
        channel.presence = std::max(channel.presence - presenceStep, 0.0F);
    }
    return channel.presence;
}

void LiveRemover::render(float* const* channels, int offset, int numSamples)
{
    const auto& now = plans[static_cast<std::size_t>(order[0])];
    const auto& before = plans[static_cast<std::size_t>(order[1])];
    std::array<float, mostChannels> hum{};
    const auto strength = static_cast<float>(settings.strength);
    for (int n = 0; n < numSamples; ++n, ++position)
    {
        // What is played late has been seen as a whole.
        const float trust = latency > 0 ? 1.0F : guard.advance();
        const std::int64_t time = position - latency;
        const float share =
            std::min(1.0F, static_cast<float>(position - fadeStart) / static_cast<float>(fade));
        std::fill(hum.begin(), hum.end(), 0.0F);
        now.addTo(time, share, hum.data());
        if (share < 1.0F)
            before.addTo(time, 1.0F - share, hum.data());
        for (int channel = 0; channel < layout.numChannels; ++channel)
        {
            auto& state = channelStates[static_cast<std::size_t>(channel)];
            float& sample = channels[channel][offset + n];
            state.ring[static_cast<std::size_t>(position & mask)] = sample;
            const float source = state.ring[static_cast<std::size_t>(time & mask)];
            const float found = hum[static_cast<std::size_t>(channel)];
            guard.add(source, found);
            const float removed = strength * trust * follow(state, source) * found;
            sample = settings.residual ? removed : source - removed;
        }
    }
    for (int channel = 0; channel < layout.numChannels; ++channel)
        reader.follow(channelStates[static_cast<std::size_t>(channel)].ring.data(), mask, channel,
                      position - numSamples, position);
}

} // namespace orvo::audio::precise
