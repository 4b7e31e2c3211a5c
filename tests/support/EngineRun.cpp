#include "tests/support/EngineRun.h"

#include "tests/support/TestSignals.h"

#include <algorithm>
#include <array>
#include <vector>

namespace testing_support
{

using orvo::audio::Kalimmer;
using orvo::audio::Signal32;

namespace
{

Signal32 join(const std::vector<Signal32>& parts, int numChannels)
{
    int length = 0;
    for (const Signal32& part : parts)
        length += part.getNumSamples();
    Signal32 result(numChannels, length);
    int position = 0;
    for (const Signal32& part : parts)
    {
        for (int channel = 0; part.getNumSamples() > 0 && channel < numChannels; ++channel)
            orvo::vo::copy(part.getReadChannelPtr(channel),
                           result.getWriteChannelPtr(channel) + position, part.getNumSamples());
        position += part.getNumSamples();
    }
    return result;
}

} // namespace

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

Signal32 run(Kalimmer& engine, const Signal32& input, std::span<const int> blockSizes)
{
    std::vector<Signal32> parts;
    std::size_t call = 0;
    for (int position = 0; position < input.getNumSamples();)
    {
        const int count =
            std::min(blockSizes[call++ % blockSizes.size()], input.getNumSamples() - position);
        parts.push_back(engine.process(cut(input, position, count), false));
        position += count;
    }
    return join(parts, input.getNumChannels());
}

Signal32 run(const EngineSettings& settings, const Signal32& input, double sampleRate,
             int blockSize)
{
    Kalimmer engine;
    apply(settings, engine);
    const auto format = makeFormat(input.getNumChannels(), sampleRate);
    engine.setFormat(format, format);
    return run(engine, input, std::array{blockSize});
}

} // namespace testing_support
