#pragma once

#include "dsp/hum/HarmonicSelection.h"
#include "dsp/hum/SinusoidalSynthesis.h"
#include "dsp/signal/IirFilter64.h"
#include "tests/support/TestSignals.h"

#include <vector>

/// The two ways of removing hum without the kernels, as slow and as readable as they are defined.
namespace testing_support
{

using orvo::audio::HarmonicSelection;
using orvo::audio::SinusoidalSynthesis;

/// Subtracts what each tracker makes by itself.
class PlainBank
{
public:
    PlainBank(int numChannels, double rate)
        : trackers(HarmonicSelection::maximum)
    {
        for (SinusoidalSynthesis& tracker : trackers)
            tracker.setFormat(numChannels, rate);
    }

    Signal32 clean(const Signal32& frame, float fundamental, HarmonicSelection selection)
    {
        Signal32 output = frame;
        for (int index = 0; index < selection.count; ++index)
            output =
                difference(output, trackers[static_cast<std::size_t>(index)].generateSignal(
                                       frame, fundamental, selection.getHarmonicNumber(index)));
        return output;
    }

    bool isPresent(int index) const
    {
        return trackers[static_cast<std::size_t>(index)].isSinusoidalPresent();
    }

private:
    std::vector<SinusoidalSynthesis> trackers;
};

/// The cascade by its definition, stage after stage.
class PlainCascade
{
public:
    explicit PlainCascade(double rate)
        : sampleRate(rate)
        , filters(HarmonicSelection::maximum)
    {
    }

    Signal32 clean(const Signal32& frame, float fundamental, HarmonicSelection selection)
    {
        Signal32 output = frame;
        for (int index = 0; index < selection.count; ++index)
        {
            const float frequency = selection.getFrequency(index, fundamental);
            if (!(static_cast<float>(0.49 * sampleRate) > frequency))
                continue;
            orvo::audio::IirFilter64& filter = filters[static_cast<std::size_t>(index)];
            filter.setFilter(frame.getNumChannels(),
                             orvo::audio::IirCoefficients::createBandPass(
                                 static_cast<double>(frequency), 25.0, sampleRate));
            output = difference(output, filter.process(output.toSignal64()).toSignal32());
        }
        return output;
    }

private:
    double sampleRate;
    std::vector<orvo::audio::IirFilter64> filters;
};

} // namespace testing_support
