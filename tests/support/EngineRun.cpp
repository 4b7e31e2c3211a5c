#include "tests/support/EngineRun.h"

#include "dsp/signal/SignalQueue.h"
#include "tests/support/TestSignals.h"

#include <algorithm>

namespace testing_support
{

using orvo::audio::Kalimmer;
using orvo::audio::Signal32;

void apply(const EngineSettings& settings, Kalimmer& engine)
{
    engine.setParameterValue(Kalimmer::FundamentalFrequency, settings.fundamental, false);
    engine.setParameterValue(Kalimmer::Adaptivity, settings.adaptivity, false);
    engine.setParameterValue(Kalimmer::NumberOfHarmonics, static_cast<float>(settings.harmonics),
                             false);
    engine.setParameterValue(Kalimmer::OnlyOddHarmonics, settings.onlyOdd ? 1.0F : 0.0F, false);
    engine.setParameterValue(Kalimmer::AggressiveMode, settings.aggressive ? 1.0F : 0.0F, false);
    engine.setParameterValue(Kalimmer::ResidualMode, settings.residual ? 1.0F : 0.0F, false);
}

orvo::audio::AudioFormat makeFormat(int numChannels, double sampleRate)
{
    orvo::audio::AudioFormat format;
    format.createDefaultChannelMapping(numChannels);
    format.sampleRate = sampleRate;
    return format;
}

PreparedEngine::PreparedEngine(const EngineSettings& settings, int channels, double rate)
{
    apply(settings, *this);
    setFormat(makeFormat(channels, rate), makeFormat(channels, rate));
}

Signal32 run(Kalimmer& engine, const Signal32& input, const std::vector<int>& blockSizes)
{
    orvo::audio::SignalQueue<Signal32> output;
    std::size_t call = 0;
    for (int position = 0; position < input.getNumSamples();)
    {
        const int count =
            std::min(blockSizes[call++ % blockSizes.size()], input.getNumSamples() - position);
        output.add(engine.process(cut(input, position, count), false));
        position += count;
    }
    return output.get(static_cast<int>(output.getNumSamples()));
}

Signal32 run(const EngineSettings& settings, const Signal32& input, double sampleRate,
             int blockSize)
{
    PreparedEngine engine(settings, input.getNumChannels(), sampleRate);
    return run(engine, input, {blockSize});
}

} // namespace testing_support
