#pragma once

#include "audiofile/AudioFileReader.h"
#include "kalim/Options.h"
#include "kalim/report/Spectrogram.h"
#include "kalim/report/SpectrumMeter.h"
#include "kalim/report/SpectrumPlot.h"
#include "kalim/report/Tracking.h"

#include <fmt/format.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kalim::program
{

/// In seconds: so much is short enough to be seen in one spectrum.
inline constexpr double longestWithoutSpectrogram = 20.0;

/// What is measured on the way: where the fundamental went, and the spectra that the levels of the
/// harmonics and the picture come from. Those take a quarter of the time of a run, so they are left
/// out where nobody will look. Memory does not grow with the recording.
class Measurements
{
public:
    Measurements(const Options& options, const AudioFileReader& reader)
        : samples(withUsageError<std::invalid_argument>(
              "--measure: ",
              [&] {
                  return MeasuredSamples(options.measured, reader.getNumFrames(),
                                         reader.getSampleRate());
              }))
        , numChannels(reader.getNumChannels())
        , sampleRate(reader.getSampleRate())
        , tracking(options.settings.get(orvo::audio::Kalimmer::FundamentalFrequency))
        , trackingInRange(tracking)
    {
        if (!options.isQuiet || options.reportsJson || options.plot)
            spectra.emplace(numChannels, sampleRate, samples.getLength());
        if (options.plot && toSeconds(samples.getLength()) > longestWithoutSpectrogram)
            overTime.emplace(numChannels, sampleRate);
    }

    /// Takes interleaved samples of the input from a position on.
    void addInput(std::span<const float> interleaved, std::int64_t position)
    {
        const auto piece = samples.cut(interleaved, position, numChannels);
        if (spectra)
            spectra->before.add(piece);
        if (overTime)
            overTime->before.add(piece);
    }

    /// The same for what comes out.
    void addOutput(std::span<const float> interleaved, std::int64_t position)
    {
        const auto piece = samples.cut(interleaved, position, numChannels);
        if (spectra)
            spectra->after.add(piece);
        if (overTime)
            overTime->after.add(piece);
    }

    void addFundamental(float frequency, std::int64_t position)
    {
        tracking.add(frequency);
        if (!samples.contains(position))
            return;
        trackingInRange.add(frequency);
        if (overTime)
            overTime->fundamental.add(toSeconds(position - samples.getFirst()),
                                      static_cast<double>(frequency));
    }

    /// Once, when everything was added and before any result is asked for.
    void finish()
    {
        if (spectra)
        {
            spectra->before.finish();
            spectra->after.finish();
        }
        if (overTime)
        {
            overTime->before.finish();
            overTime->after.finish();
        }
    }

    const TrackingSummary& getTracking() const { return tracking; }

    /// In Hz, within the measured range.
    float getMeanFundamental() const { return trackingInRange.getMean(); }

    /// None where the spectra were left out.
    std::vector<HarmonicLevels> getHarmonics(orvo::audio::HarmonicSelection selection) const
    {
        if (!spectra)
            return {};
        return measureHarmonics(spectra->before, spectra->after, selection,
                                static_cast<double>(getMeanFundamental()));
    }

    /// Requires the spectra.
    void drawInto(SpectrumPlotData& data) const
    {
        data.binSpacing = spectra->before.getBinSpacing();
        data.before = spectra->before.getLevels();
        data.after = spectra->after.getLevels();
        if (overTime)
            data.overTime = getOverTime();
    }

private:
    struct Spectra
    {
        Spectra(int channels, int rate, std::int64_t numSamples)
            : before(channels, rate, numSamples)
            , after(channels, rate, numSamples)
        {
        }

        SpectrumMeter before;
        SpectrumMeter after;
    };

    struct OverTime
    {
        OverTime(int channels, int rate)
            : before(channels, rate)
            , after(channels, rate)
        {
        }

        Spectrogram before;
        Spectrogram after;
        FundamentalCourse fundamental;
    };

    double toSeconds(std::int64_t numSamples) const
    {
        return static_cast<double>(numSamples) / sampleRate;
    }

    SpectrogramData getOverTime() const
    {
        const double start = toSeconds(samples.getFirst());
        return {start,
                start + toSeconds(samples.getLength()),
                overTime->before.getSecondsPerColumn(),
                overTime->before.getBinSpacing(),
                overTime->before.getLevels(),
                overTime->after.getLevels(),
                overTime->fundamental.getSecondsPerColumn(),
                overTime->fundamental.getFrequencies(),
                fmt::format("fundamental, {:.2f} Hz to {:.2f} Hz", trackingInRange.getLowest(),
                            trackingInRange.getHighest()),
                0.0};
    }

    MeasuredSamples samples;
    int numChannels;
    int sampleRate;
    TrackingSummary tracking;
    TrackingSummary trackingInRange;
    std::optional<Spectra> spectra;
    std::optional<OverTime> overTime;
};

} // namespace kalim::program
