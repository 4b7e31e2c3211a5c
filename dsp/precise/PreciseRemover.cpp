#include "dsp/precise/PreciseRemover.h"

#include "dsp/precise/Decimator.h"
#include "dsp/precise/HumSynthesis.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace orvo::audio::precise
{
namespace
{

/// Stretches of two channels at 48 kHz; with more samples a second they are shorter, so that memory
/// stays within bounds, but not below what a good estimate needs.
constexpr double longestStretch = 20.0; // seconds
constexpr double shortestStretch = 10.0;
constexpr double shortestRest = 5.0; // below, hum is hardly told from notes
constexpr double usualSampleRate = 2.0 * 48000.0;
constexpr double overlapShare = 0.125;
constexpr double fadeShare = 0.4; // of the overlap

/// Hum whose pattern was learnt is elsewhere within this share of its frequency: mains are, and
/// tapes nearly always.
constexpr double learnedReach = 0.01;

/// Stretches that are analysed at the same time. With two more than there are cores these stay busy
/// while the first of them is waited for.
constexpr std::size_t usuallyRunning = 2;
constexpr std::size_t mostRunning = 4;

constexpr int chunk = 1 << 16; // samples that go to the sink at once

/// Half the rate of the survey over the twelfth harmonic, with room for the decimator.
constexpr double surveyMargin = 2.0 * 1.4 * 13.0;

/// The range of a survey is taken for the whole recording when its score is higher by so much than
/// that of any other range, and by so much over the root of the number of windows: in some seconds
/// of music, notes and chance make differences of 1.
constexpr double decisiveScore = 0.5;
constexpr double decisiveOfOneWindow = 2.7;

double getHighest(const Series<FundamentalRange>& ranges)
{
    double highest = 0.0;
    for (const FundamentalRange& range : ranges)
        highest = std::max(highest, range.highest);
    return highest;
}

/// Channels that a survey hears at the same time: more of them say little more of what all share.
constexpr std::size_t mostHeard = 4;

int chooseSurveyFactor(double sampleRate, const PreciseSettings& settings)
{
    return std::max(1, static_cast<int>(sampleRate / (surveyMargin * getHighest(settings.ranges))));
}

/// Numbers that no recording holds would leave nothing of the others in single precision.
bool isSound(float sample)
{
    return std::abs(sample) < 1e6F;
}

bool isAllSound(const ChannelView& view)
{
    for (const float* const samples : view.channels)
    {
        int numOther = 0; // counted to the end: several are looked at together then
        for (int i = 0; i < view.numSamples; ++i)
            numOther += isSound(samples[i]) ? 0 : 1;
        if (numOther > 0)
            return false;
    }
    return true;
}

/// Beside the caller's thread, or within it once the result is asked for.
std::launch choosePolicy(const PreciseSettings& settings)
{
    return settings.usesThreads ? std::launch::async : std::launch::deferred;
}

} // namespace

std::optional<PreciseSettings> learnHum(ChannelView view, const PreciseSettings& settings)
{
    view.numSamples =
        static_cast<int>(std::min<double>(view.numSamples, longestStretch * view.sampleRate));
    // Nothing else sounds there, so whatever is found is no bass note.
    const StretchResult result =
        StretchRemover({settings.ranges, settings.mostHarmonics, false}).analyse(view);
    if (!result.model)
        return {};
    PreciseSettings learned = settings;
    learned.pattern = learnPattern(*result.model);
    const double fundamental = learned.pattern->fundamental;
    learned.ranges = {{(1.0 - learnedReach) * fundamental, (1.0 + learnedReach) * fundamental}};
    learned.distrustsOthers = false;
    return learned;
}

HumSurvey::HumSurvey(double sampleRate, int numberOfChannels, const PreciseSettings& settingsToUse)
    : settings(settingsToUse)
    , decimator(chooseSurveyFactor(sampleRate, settings))
    , halves{Half{{sampleRate / decimator.getFactor(), settings.ranges}},
             Half{{sampleRate / decimator.getFactor(), settings.ranges}}}
    , windowLength(static_cast<std::size_t>(halves[0].detector.getWindowLength()) *
                   static_cast<std::size_t>(decimator.getFactor()))
    , numChannels(static_cast<std::size_t>(numberOfChannels))
{
    startWindow();
}

void HumSurvey::startWindow()
{
    window.assign(std::min(numChannels, mostHeard), {});
    for (Series<float>& samples : window)
        samples.reserve(windowLength);
}

void HumSurvey::add(const float* const* channels, int numSamples)
{
    for (int start = 0; start < numSamples;)
    {
        const auto count = static_cast<int>(
            std::min(windowLength - getFilled(), static_cast<std::size_t>(numSamples - start)));
        for (std::size_t i = 0; i < window.size(); ++i)
        {
            const float* const samples = channels[(firstChannel + i) % numChannels] + start;
            std::transform(samples, samples + count, std::back_inserter(window[i]),
                           [](float sample) { return isSound(sample) ? sample : 0.0F; });
        }
        start += count;
        if (getFilled() < windowLength)
            break;
        firstChannel = (firstChannel + window.size()) % numChannels;
        Half& half = halves[turn];
        turn = 1 - turn;
        if (half.measuring.valid())
            half.measuring.get();
        half.measuring = std::async(choosePolicy(settings), [this, &half, heard = std::move(window)]
                                    { measure(heard, half.detector); });
        startWindow();
    }
}

void HumSurvey::measure(const Window& heard, CombDetector& detector) const
{
    for (const Series<float>& samples : heard)
    {
        const Series<float> low =
            decimator.process(samples.data(), static_cast<int>(samples.size()));
        detector.addWindow(low.data(), static_cast<int>(low.size()));
    }
}

void HumSurvey::wait()
{
    for (Half& half : halves)
        if (half.measuring.valid())
            half.measuring.get();
}

PreciseSettings HumSurvey::finish()
{
    wait();
    CombDetector& detector = halves[0].detector;
    detector.add(halves[1].detector);
    const auto numHeard = static_cast<int>(window.size());
    if (getFilled() > 0)
        measure(window, detector);
    const Series<CombPeak> peaks = detector.getPeaks();
    const auto isInside = [](const FundamentalRange& range, const CombPeak& peak)
    { return peak.fundamental >= range.lowest && peak.fundamental <= range.highest; };
    const auto best = std::find_if(settings.ranges.begin(), settings.ranges.end(),
                                   [&](const auto& range) { return isInside(range, peaks[0]); });
    if (best == settings.ranges.end())
        return settings;
    const int numWindows = detector.getNumWindows() / numHeard;
    const double decisive =
        std::max(decisiveScore,
                 decisiveOfOneWindow / std::sqrt(static_cast<double>(std::max(1, numWindows))));
    for (const CombPeak& peak : peaks)
        if (!isInside(*best, peak) && peak.score > peaks[0].score - decisive)
            return settings;
    PreciseSettings decided = settings;
    decided.ranges = {*best};
    return decided;
}

PreciseRemover::PreciseRemover(double rate, int numChannels, PreciseSettings settingsToUse,
                               Sink sinkToUse)
    : sampleRate(rate)
    , settings(std::move(settingsToUse))
    , sink(std::move(sinkToUse))
    , remover({settings.ranges, settings.mostHarmonics, settings.distrustsOthers, settings.pattern})
    , buffers(static_cast<std::size_t>(numChannels))
    , tail(static_cast<std::size_t>(numChannels))
{
    if (settings.keepsMemory)
        reuse.emplace();
    const double seconds = std::clamp(longestStretch * usualSampleRate / (rate * numChannels),
                                      shortestStretch, longestStretch);
    length = static_cast<int>(seconds * rate);
    overlap = static_cast<int>(overlapShare * length);
    fade = static_cast<int>(fadeShare * overlap);
    // Grown step by step they would take twice the memory.
    for (auto& buffer : buffers)
        buffer.reserve(static_cast<std::size_t>(getNeeded()) + 2 * chunk);
}

int PreciseRemover::getNeeded() const
{
    return length + std::max(length / 4, static_cast<int>(shortestRest * sampleRate));
}

void PreciseRemover::add(const float* const* channels, int numSamples)
{
    for (std::size_t channel = 0; channel < buffers.size(); ++channel)
        buffers[channel].insert(buffers[channel].end(), channels[channel],
                                channels[channel] + numSamples);
    while (getBuffered() > getNeeded())
    {
        makeRoom();
        Series<Series<float>> samples;
        for (const auto& buffer : buffers)
            samples.emplace_back(buffer.begin(), buffer.begin() + length);
        start(std::move(samples));
        for (auto& buffer : buffers)
            buffer.erase(buffer.begin(), buffer.begin() + (length - overlap));
        position += length - overlap;
    }
}

/// Waits until another stretch may be analysed. What is delivered goes to the sink while the other
/// one is still analysed, so that two threads are busy without a third stretch.
void PreciseRemover::makeRoom()
{
    if (running.size() == (settings.keepsMemory ? mostRunning : usuallyRunning))
        deliverNext(false);
}

void PreciseRemover::start(Series<Series<float>> samples)
{
    running.push_back(std::async(choosePolicy(settings),
                                 [this, first = position, all = std::move(samples)]() mutable
                                 { return analyse(first, std::move(all)); }));
}

void PreciseRemover::deliverNext(bool isLast)
{
    Stretch ready = running.front().get();
    running.pop_front();
    deliver(std::move(ready), isLast);
}

PreciseRemover::Stretch PreciseRemover::analyse(std::int64_t first,
                                                Series<Series<float>> samples) const
{
    Stretch stretch{first, std::move(samples), {}, {}};
    ChannelView view{{}, stretch.getLength(), sampleRate};
    for (const auto& channel : stretch.samples)
        view.channels.push_back(channel.data());
    Series<Series<float>> mended;
    if (!isAllSound(view))
        for (const float*& channel : view.channels)
        {
            mended.emplace_back(channel, channel + view.numSamples);
            std::replace_if(
                mended.back().begin(), mended.back().end(),
                [](float sample) { return !isSound(sample); }, 0.0F);
            channel = mended.back().data();
        }
    stretch.result = remover.analyse(view);
    if (stretch.result.model)
        stretch.hum = synthesise(*stretch.result.model, view);
    return stretch;
}

void PreciseRemover::finish()
{
    makeRoom();
    start(std::move(buffers));
    while (!running.empty())
        deliverNext(running.size() == 1);
}

/// Sends what is settled once the hum of a stretch is known: all up to where the next fades in.
void PreciseRemover::deliver(Stretch stretch, bool isLast)
{
    const int fadeStart = (overlap - fade) / 2;
    const int start = hasTail ? fadeStart : 0;
    const int end = isLast ? stretch.getLength() : stretch.getLength() - overlap + fadeStart;
    const double begin = static_cast<double>(stretch.first) / sampleRate;
    const double from = begin + start / sampleRate;
    const double to = begin + end / sampleRate;
    if (stretch.result.model)
        summary.add(*stretch.result.model, begin, from, to);
    else
        summary.addNothing(from, to, stretch.result.isBursts);
    if (hasTail)
        crossfade(stretch, start);
    if (!isLast)
        keepTail(stretch, end);
    hasTail = !isLast;
    send(stretch, start, end);
}

/// Blends the hum of the stretch before into the beginning; no values stand for no hum.
void PreciseRemover::crossfade(Stretch& stretch, int start) const
{
    if (stretch.hum.empty() && tail.front().empty())
        return;
    if (stretch.hum.empty())
        stretch.hum.assign(tail.size(),
                           Series<float>(static_cast<std::size_t>(stretch.getLength())));
    const int count = std::min(fade, stretch.getLength() - start);
    for (std::size_t channel = 0; channel < tail.size(); ++channel)
        for (int i = 0; i < count; ++i)
        {
            const float share = (static_cast<float>(i) + 0.5F) / static_cast<float>(fade);
            const float before = tail[channel].empty() ? 0.0F : tail[channel][i];
            float& value = stretch.hum[channel][start + i];
            value = before + share * (value - before);
        }
}

void PreciseRemover::keepTail(const Stretch& stretch, int start)
{
    for (std::size_t channel = 0; channel < tail.size(); ++channel)
        if (stretch.hum.empty())
            tail[channel].clear();
        else
            tail[channel].assign(stretch.hum[channel].begin() + start,
                                 stretch.hum[channel].begin() + start + fade);
}

void PreciseRemover::send(Stretch& stretch, int start, int end)
{
    const Series<float> nothing(stretch.hum.empty() ? chunk : 0);
    const auto strength = static_cast<float>(settings.strength);
    if (strength != 1.0F)
        for (auto& values : stretch.hum)
            for (float& value : values)
                value *= strength;
    for (; start < end; start += chunk)
    {
        Series<const float*> samples;
        Series<const float*> hum;
        for (std::size_t channel = 0; channel < tail.size(); ++channel)
        {
            samples.push_back(stretch.samples[channel].data() + start);
            hum.push_back(stretch.hum.empty() ? nothing.data()
                                              : stretch.hum[channel].data() + start);
        }
        const int count = std::min(chunk, end - start);
        sink(samples.data(), hum.data(), count);
    }
}

} // namespace orvo::audio::precise
