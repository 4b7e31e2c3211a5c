#include "dsp/precise/LiveRemover.h"
#include "lv2/Controls.h"
#include "lv2/Remover.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace kalim::lv2
{
namespace
{

using orvo::audio::precise::LiveRemover;

/// The remover itself takes any block; what surrounds it wants memory for one.
constexpr int longestBlock = 1024;

constexpr double msPerSecond = 1000.0;

std::size_t findNearest(std::span<const ScalePoint> points, float value)
{
    const auto nearest = std::ranges::min_element(points, std::ranges::less(),
                                                  [&](const ScalePoint& point)
                                                  { return std::fabs(point.value - value); });
    return static_cast<std::size_t>(nearest - points.begin());
}

/// One remover for every choice, since they take memory when they are made; only one works.
class PreciseRemover : public Remover
{
public:
    PreciseRemover(double sampleRate, int numChannels)
    {
        for (std::size_t mains = 0; mains < removers.size(); ++mains)
            for (std::size_t i = 0; i < lookAheads.size(); ++i)
                removers[mains][i].prepare(sampleRate, numChannels,
                                           {.fundamental = frequenciesOfMains[mains].value,
                                            .lookAhead = lookAheads[i].value / msPerSecond});
    }

    int setControls(std::span<const float> values) override
    {
        LiveRemover& wanted = removers[findNearest(frequenciesOfMains, values[Mains])]
                                      [findNearest(lookAheads, values[LookAhead])];
        wanted.setOutput(values[Strength] / 100.0, values[Residual] > 0.0F);
        if (&wanted == active)
            return 0;
        active = &wanted;
        active->reset();
        return active->getLatency();
    }

    void reset() override { active->reset(); }

    void process(std::span<float* const> channels, int numSamples) override
    {
        active->process(channels.data(), numSamples);
    }

    int getLongestBlock() const override { return longestBlock; }

    int getLatency() const override { return active->getLatency(); }

    int getLongestLatency() const override { return removers.front().back().getLatency(); }

    float getFundamental() const override { return static_cast<float>(active->getFundamental()); }

private:
    std::array<std::array<LiveRemover, lookAheads.size()>, frequenciesOfMains.size()> removers;
    LiveRemover* active = &removers.front().front();
};

} // namespace

std::unique_ptr<Remover> makePreciseRemover(double sampleRate, int numChannels)
{
    return std::make_unique<PreciseRemover>(sampleRate, numChannels);
}

} // namespace kalim::lv2
