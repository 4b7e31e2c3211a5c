#include "dsp/precise/LivePlan.h"

#include <algorithm>
#include <cmath>

namespace orvo::audio::precise
{
namespace
{

constexpr int tableSize = 4096;

/// One point before and two after, for the cubic interpolation.
constexpr int tableStride = tableSize + 3;

constexpr double lifeOfSlope = 0.5;
constexpr double mostSlope = 0.7;

/// Seconds of the cross-fade between frames that a jump separates.
constexpr double jumpFade = 0.005;

double getSlopeGain(double slope, double seconds)
{
    const double held = seconds > 0.0 ? 0.5 * (1.0 - std::exp(-seconds / lifeOfSlope)) : seconds;
    return std::exp(std::clamp(slope * held, -mostSlope, mostSlope));
}

} // namespace

void LivePlan::prepare(const LiveLayout& newLayout)
{
    layout = newLayout;
    const auto numLines = static_cast<std::size_t>(layout.getNumLines());
    knots.resize(mostKnots);
    for (auto& knot : knots)
    {
        knot.amplitudes.resize(numLines);
        knot.tables.resize(static_cast<std::size_t>(layout.numChannels * tableStride));
    }
    smoothed.resize(numLines);
    variances.resize(numLines);
    transform.allocate(tableSize, true);
    input = Signal32(2, tableSize);
    spectrum = ComplexSignal32(2, tableSize / 2 + 1);
    clear();
}

void LivePlan::make(const LiveTracker& tracker, std::int64_t begin, std::int64_t end)
{
    clear();
    if (!tracker.isAudible())
        return;
    first = begin;
    last = end;
    const LiveRecord* later = nullptr;
    for (int back = 0; back < tracker.getNumRecords(); ++back)
    {
        const auto& record = tracker.getRecord(back);
        if (later == nullptr || later->segment != record.segment)
            believe(record);
        else
            smooth(record);
        later = &record;
        if (record.centre >= end)
            numKnots = 0;
        if (numKnots == mostKnots)
            break;
        setKnot(knots[static_cast<std::size_t>(numKnots++)], tracker, record);
        if (record.centre <= begin)
            break;
    }
}

void LivePlan::believe(const LiveRecord& record)
{
    phaseModel = record.phaseModel;
    gainModel = record.gainModel;
    walk = record.walk;
    phase = record.phase.states[phaseModel].mean;
    gain = record.gain.states[gainModel].mean;
    smoothed = record.walks[walk].amplitudes;
    variances = record.walks[walk].variances;
}

void LivePlan::smooth(const LiveRecord& record)
{
    const double seconds = layout.getHopSeconds();
    const auto phaseStep = LiveTracker::getPhaseTransition(seconds);
    const auto gainStep = LiveTracker::getGainTransition(seconds);
    const auto& state = record.phase.states[phaseModel];
    const auto& level = record.gain.states[gainModel];
    const auto nextState =
        predictState(state, phaseStep, LiveTracker::getPhaseNoise(seconds)[phaseModel]);
    const auto nextLevel =
        predictState(level, gainStep, LiveTracker::getGainNoise(seconds)[gainModel]);
    phase = smoothMean(state, nextState, phaseStep, phase);
    gain = smoothMean(level, nextLevel, gainStep, gain);
    const auto& [amplitudes, spread] = record.walks[walk];
    for (std::size_t i = 0; i < smoothed.size(); ++i)
    {
        const double predicted =
            spread[i] + LivePattern::getGrowth(walk, getPower(amplitudes[i]), 0.0);
        const double share = spread[i] / std::max(predicted, 1e-30);
        smoothed[i] = amplitudes[i] + share * (smoothed[i] - amplitudes[i]);
        variances[i] = spread[i] + share * share * (variances[i] - predicted);
    }
}

void LivePlan::setKnot(Knot& knot, const LiveTracker& tracker, const LiveRecord& record)
{
    knot.centre = record.centre;
    knot.segment = record.segment;
    knot.phase = phase;
    const auto after = [this, &record](std::int64_t time)
    { return static_cast<double>(time - record.centre) / layout.sampleRate; };
    knot.gainAtBegin = getSlopeGain(gain[1], after(first));
    knot.gainAtEnd = getSlopeGain(gain[1], after(last));
    const double level = LiveTracker::getLevel(gain);
    for (std::size_t i = 0; i < smoothed.size(); ++i)
    {
        const double power = getPower(smoothed[i]);
        const double weight =
            tracker.getEvidence().isTrusted(i) ? power / (power + variances[i] + 1e-30) : 0.0;
        knot.amplitudes[i] = level * weight * smoothed[i];
    }
}

void LivePlan::makeTable(int part)
{
    const int index = part / layout.numChannels;
    const int channel = part % layout.numChannels;
    if (index >= numKnots)
        return;
    auto& knot = knots[static_cast<std::size_t>(index)];
    float* const real = input.getWriteChannelPtr(0);
    float* const imaginary = input.getWriteChannelPtr(1);
    std::fill(real, real + tableSize, 0.0F);
    std::fill(imaginary, imaginary + tableSize, 0.0F);
    for (int h = 1; h <= layout.numHarmonics; ++h)
    {
        const auto a =
            knot.amplitudes[static_cast<std::size_t>(channel * layout.numHarmonics + h - 1)];
        real[h] = static_cast<float>(a.real());
        imaginary[h] = static_cast<float>(a.imag());
    }
    transform.forwardReal(input, spectrum);
    const auto* const even = spectrum.getReadChannelPtr(0);
    const auto* const odd = spectrum.getReadChannelPtr(1);
    float* const table = &knot.tables[static_cast<std::size_t>(channel * tableStride)];
    // Re(sum a exp(i h x)) is the even part of one transform and the odd part of the other.
    for (int n = 0; n <= tableSize / 2; ++n)
    {
        table[1 + n] = even[n].real() + odd[n].imag();
        table[1 + (tableSize - n) % tableSize] = even[n].real() - odd[n].imag();
    }
    table[0] = table[tableSize];
    table[tableSize + 1] = table[1];
    table[tableSize + 2] = table[2];
}

void LivePlan::addKnot(const Knot& knot, std::int64_t time, float weight, float* sums) const
{
    const double seconds = static_cast<double>(time - knot.centre) / layout.sampleRate;
    const double carrier = layout.nominal / layout.sampleRate * static_cast<double>(time);
    const double cycles =
        carrier +
        (knot.phase[0] + seconds * (knot.phase[1] + 0.5 * seconds * knot.phase[2])) / (2.0 * pi);
    const double position = (cycles - std::floor(cycles)) * tableSize;
    const int index = std::min(static_cast<int>(position), tableSize - 1);
    const auto d = static_cast<float>(position - index);
    const double place = static_cast<double>(time - first) / static_cast<double>(last - first);
    const auto level =
        weight * static_cast<float>(knot.gainAtBegin + place * (knot.gainAtEnd - knot.gainAtBegin));
    const float* y = &knot.tables[static_cast<std::size_t>(index)];
    for (int channel = 0; channel < layout.numChannels; ++channel, y += tableStride)
        sums[channel] += level * (y[1] + 0.5F * d *
                                             (y[2] - y[0] +
                                              d * (2.0F * y[0] - 5.0F * y[1] + 4.0F * y[2] - y[3] +
                                                   d * (3.0F * (y[1] - y[2]) + y[3] - y[0]))));
}

void LivePlan::addTo(std::int64_t time, float weight, float* sums) const
{
    for (int i = 0; i < numKnots; ++i)
    {
        const auto& knot = knots[static_cast<std::size_t>(i)];
        if (time >= knot.centre || i + 1 == numKnots)
        {
            if (i == 0 || time < knot.centre)
                addKnot(knot, time, weight, sums);
            else
            {
                const auto& next = knots[static_cast<std::size_t>(i - 1)];
                const auto span = static_cast<double>(next.centre - knot.centre);
                const auto offset = static_cast<double>(time - knot.centre);
                const double share =
                    next.segment == knot.segment
                        ? offset / span
                        : std::clamp((offset - 0.5 * span) / (jumpFade * layout.sampleRate) + 0.5,
                                     0.0, 1.0);
                if (share > 0.0)
                    addKnot(next, time, weight * static_cast<float>(share), sums);
                if (share < 1.0)
                    addKnot(knot, time, weight * static_cast<float>(1.0 - share), sums);
            }
            return;
        }
    }
}

} // namespace orvo::audio::precise
