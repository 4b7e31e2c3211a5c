#include "dsp/precise/ClearestChannels.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace orvo::audio::precise
{
namespace
{

/// Of more channels than these only some are needed to find what all share: those where a comb is
/// clearest in a few windows, as many as make enough lines between them.
constexpr std::size_t fewChannels = 4;
constexpr int clearnessWindows = 3;
constexpr int enoughLines = 16;
constexpr int fewestClearest = 2;
constexpr int mostClearest = 4;

std::size_t countClearest(const ChannelView& view, double fundamental)
{
    const int numHarmonics = std::clamp(
        static_cast<int>(highestShareOfRate * view.sampleRate / fundamental), 1, enoughLines);
    const int wanted = (enoughLines + numHarmonics - 1) / numHarmonics;
    return std::min(view.channels.size(),
                    static_cast<std::size_t>(std::clamp(wanted, fewestClearest, mostClearest)));
}

} // namespace

ChannelView chooseClearest(const ChannelView& view, const Series<FundamentalRange>& ranges,
                           double highest)
{
    if (view.channels.size() <= fewChannels)
        return view;
    CombDetector detector(view.sampleRate, ranges, true);
    const int space = std::max(0, view.numSamples - detector.getWindowLength());
    Series<std::pair<double, const float*>> channels;
    for (const float* const samples : view.channels)
    {
        detector.forget();
        for (int i = 0; i < clearnessWindows; ++i)
        {
            const int start =
                static_cast<int>(static_cast<std::int64_t>(space) * i / (clearnessWindows - 1));
            detector.addWindow(samples + start, view.numSamples - start);
        }
        channels.emplace_back(-detector.getPeaks().front().score, samples);
    }
    std::stable_sort(channels.begin(), channels.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    ChannelView clearest{{}, view.numSamples, view.sampleRate};
    for (std::size_t i = 0; i < countClearest(view, highest); ++i)
        clearest.channels.push_back(channels[i].second);
    return clearest;
}

} // namespace orvo::audio::precise
