#pragma once

#include "dsp/precise/Decimator.h"
#include "dsp/precise/HumSummary.h"
#include "dsp/precise/Series.h"
#include "dsp/precise/StretchRemover.h"

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>

namespace orvo::audio::precise
{

/// What precise removal looks for and how much of it is taken off.
struct PreciseSettings
{
    Series<FundamentalRange> ranges{{48.75, 51.25}, {58.5, 61.5}};
    int mostHarmonics = 200;
    bool distrustsOthers = true; ///< as in StretchSettings
    double strength = 1.0;       ///< share of the copy that is subtracted, 0 to 1

    /// The shape that the hum is known to have, as learnHum() finds it.
    std::optional<HumPattern> pattern{};

    /// Two threads beside the caller's; all work is done in the caller's own where many recordings
    /// are worked on at the same time. The result is the same.
    bool usesThreads = true;

    /// Large blocks of memory are kept from stretch to stretch, and four stretches are under way at
    /// a time. It is faster where channels are many, and takes more memory.
    bool keepsMemory = false;
};

/// Where a fundamental can be looked for: from railway mains to aircraft.
inline constexpr FundamentalRange possibleFundamentals{15.0, 440.0};

/// Where hum of mains of `frequency` Hz lies: they and the speeds of tapes stay within 2.5 %.
constexpr FundamentalRange getRangeAround(double frequency)
{
    constexpr double reach = 0.025;
    return {(1.0 - reach) * frequency, (1.0 + reach) * frequency};
}

/// Settings for a recording of which `view` holds a part where nothing but hum sounds: only that
/// hum is looked for, and its harmonics are what they are there. No value without hum there. Longer
/// parts than half a minute are heard no further. Samples must be finite; throws std::bad_alloc.
std::optional<PreciseSettings> learnHum(ChannelView view, const PreciseSettings& settings);

/// First reading of a recording: which fundamental its hum has, if it has any. Where there are more
/// than four channels they are heard in turns, four at a time. Memory is that of some seconds. One
/// thread at a time; what was added is measured by two others meanwhile.
class HumSurvey
{
public:
    HumSurvey(double sampleRate, int numChannels, const PreciseSettings& settings);

    HumSurvey(const HumSurvey&) = delete;
    HumSurvey& operator=(const HumSurvey&) = delete;

    /// Takes the next samples of every channel.
    void add(const float* const* channels, int numSamples);

    /// Once, after all samples: settings with the range that the recording as a whole speaks for,
    /// or all of them where it does not.
    PreciseSettings finish();

private:
    /// What is heard of some seconds.
    using Window = Series<Series<float>>;

    /// Measures every other window.
    struct Half
    {
        CombDetector detector;
        std::future<void> measuring{}; // ends before the other goes
    };

    std::size_t getFilled() const { return window.front().size(); }

    void startWindow();
    void measure(const Window& heard, CombDetector& detector) const;
    void wait();

    PreciseSettings settings;
    Decimator decimator;
    std::array<Half, 2> halves;
    std::size_t windowLength; // samples before decimation
    std::size_t numChannels;
    std::size_t firstChannel = 0; // of those that are heard
    std::size_t turn = 0;         // of the halves
    Window window;
};

/// Second reading: removes hum from a recording of any length, by overlapping stretches of 20
/// seconds and less where there are many channels, two or four of which are analysed at the same
/// time, beside the caller's thread unless the settings say otherwise. Memory does not grow with
/// the length but for the course of the summary. Where there is no hum nothing changes.
class PreciseRemover
{
public:
    /// Takes samples as they came in, in order, and the hum to be subtracted from them; every
    /// channel is given by its own pointer.
    using Sink =
        std::function<void(const float* const* samples, const float* const* hum, int count)>;

    /// Rates from 100 Hz to 384 kHz; harmonics above 0.45 of the rate are left alone. Any number of
    /// channels; time and memory grow with it.
    PreciseRemover(double sampleRate, int numChannels, PreciseSettings settings, Sink sink);

    PreciseRemover(const PreciseRemover&) = delete;
    PreciseRemover& operator=(const PreciseRemover&) = delete;

    /// Takes the next samples of every channel; gives what is ready to the sink. Samples that are
    /// no finite numbers count as silence in the analysis. Throws what the sink throws, and
    /// std::bad_alloc.
    void add(const float* const* channels, int numSamples);

    /// Once, after all samples: gives the rest to the sink.
    void finish();

    const HumSummary& getSummary() const { return summary; }

private:
    struct Stretch
    {
        std::int64_t first;            // of the recording
        Series<Series<float>> samples; // as they came in
        StretchResult result;
        Series<Series<float>> hum; // empty without hum

        int getLength() const { return static_cast<int>(samples.front().size()); }
    };

    int getBuffered() const { return static_cast<int>(buffers.front().size()); }

    /// Samples from which on a stretch is analysed: what is left after it is one of its own.
    int getNeeded() const;

    void makeRoom();
    void start(Series<Series<float>> samples);
    Stretch analyse(std::int64_t first, Series<Series<float>> samples) const;
    void deliverNext(bool isLast);
    void deliver(Stretch stretch, bool isLast);
    void crossfade(Stretch& stretch, int start) const;
    void keepTail(const Stretch& stretch, int start);
    void send(Stretch& stretch, int start, int end);

    std::optional<LargeBlockReuse> reuse;
    double sampleRate;
    PreciseSettings settings;
    Sink sink;
    StretchRemover remover;
    HumSummary summary;
    int length; // of a stretch, samples
    int overlap;
    int fade;
    std::int64_t position = 0;     // of the buffers' first sample
    Series<Series<float>> buffers; // as they came in, from the next stretch on
    Series<Series<float>> tail;    // hum of the stretch before, over the fade
    bool hasTail = false;
    std::deque<std::future<Stretch>> running; // end before the others go
};

} // namespace orvo::audio::precise
