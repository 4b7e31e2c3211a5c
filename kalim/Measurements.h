#pragma once

#include "audiofile/AudioFileReader.h"
#include "kalim/Options.h"
#include "kalim/report/SpectrumMeter.h"
#include "kalim/report/SpectrumPlot.h"
#include "kalim/report/Tracking.h"

#include <optional>
#include <span>
#include <vector>

namespace kalim::program
{

/// What is measured on the way: where the fundamental went, and the spectra that the levels of the
/// harmonics and the picture come from. Those take a quarter of the time of a run, so they are left
/// out where nobody will look.
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
        , tracking(options.settings.get(orvo::audio::Kalimmer::FundamentalFrequency))
        , trackingInRange(tracking)
    {
        if (!options.isQuiet || options.reportsJson || options.plot)
            spectra.emplace(reader.getNumChannels(), reader.getSampleRate(), samples.getLength());
    }

    /// Takes interleaved samples of the input from a position on.
    void addInput(std::span<const float> interleaved, std::int64_t position)
    {
        if (spectra)
            spectra->before.add(samples.cut(interleaved, position, numChannels));
    }

    /// The same for what comes out.
    void addOutput(std::span<const float> interleaved, std::int64_t position)
    {
        if (spectra)
            spectra->after.add(samples.cut(interleaved, position, numChannels));
    }

    void addFundamental(float frequency, std::int64_t position)
    {
        tracking.add(frequency);
        if (samples.contains(position))
            trackingInRange.add(frequency);
    }

    /// Once, when everything was added and before any result is asked for.
    void finish()
    {
        if (!spectra)
            return;
        spectra->before.finish();
        spectra->after.finish();
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
    }

private:
    struct Spectra
    {
        Spectra(int channels, int sampleRate, std::int64_t numSamples)
            : before(channels, sampleRate, numSamples)
            , after(channels, sampleRate, numSamples)
        {
        }

        SpectrumMeter before;
        SpectrumMeter after;
    };

    MeasuredSamples samples;
    int numChannels;
    TrackingSummary tracking;
    TrackingSummary trackingInRange;
    std::optional<Spectra> spectra;
};

} // namespace kalim::program
