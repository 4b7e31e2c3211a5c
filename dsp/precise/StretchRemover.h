#pragma once

#include "dsp/precise/CombDetector.h"
#include "dsp/precise/HumModel.h"
#include "dsp/precise/HumPattern.h"
#include "dsp/precise/Series.h"

#include <optional>

namespace orvo::audio::precise
{

/// What is looked for in a stretch.
struct StretchSettings
{
    Series<FundamentalRange> ranges{{48.75, 51.25}, {58.5, 61.5}};
    int mostHarmonics = 200;

    /// Hum beside the mains frequencies, as on tapes, must be there all the time to be told from
    /// bass notes. Not needed where the ranges leave no doubt.
    bool distrustsOthers = true;

    /// The shape that the hum is known to have, of as many channels.
    std::optional<HumPattern> pattern{};
};

/// The hum of a stretch, if there is any.
struct StretchResult
{
    double fundamental = 0.0; ///< Hz, the mean over the stretch; also of what was rejected
    double combScore = 0.0;
    bool isBursts = false;         ///< clicks at a steady rate, which are no hum
    std::optional<HumModel> model; ///< no value when nothing is to be removed
};

/// Finds the hum of one stretch of sound. Channels share one fundamental, phase and gain.
class StretchRemover
{
public:
    explicit StretchRemover(StretchSettings settings);

    /// Analyses a stretch of 0.2 s and more; samples must be finite. One thread at a time per
    /// object; throws std::bad_alloc.
    StretchResult analyse(const ChannelView& view) const;

private:
    /// A stretch, and copies of it for the first 80 harmonics and for those that are fitted.
    struct Views
    {
        const ChannelView& full;
        const ChannelView& middle;
        const ChannelView& low;
    };

    std::optional<HumModel> find(const Views& views, double fundamental,
                                 StretchResult& result) const;
    bool isHum(const HumModel& model, const Series<double>& evidenceOfLines,
               const ChannelView& view) const;

    StretchSettings settings;
};

} // namespace orvo::audio::precise
