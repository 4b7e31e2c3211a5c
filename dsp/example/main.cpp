// Removes hum from raw samples, mono, 32-bit float at 48 kHz, on their way from standard input to
// standard output, which is late by one hop:  dehum 50 20 <in.f32 >out.f32

#include "dsp/hum/Kalimmer.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    using namespace orvo::audio;
    if (argc != 3)
    {
        std::fputs("usage: dehum FUNDAMENTAL_HZ NUMBER_OF_HARMONICS\n", stderr);
        return 2;
    }
    Kalimmer engine;
    engine.setParameterValue(Kalimmer::FundamentalFrequency, std::strtof(argv[1], nullptr), false);
    engine.setParameterValue(Kalimmer::NumberOfHarmonics, std::strtof(argv[2], nullptr), false);
    AudioFormat format;
    format.createDefaultChannelMapping(1);
    format.sampleRate = 48000.0;
    engine.maximumBlockSize = 512;
    engine.setFormat(format, format);

    Signal32 block(1, engine.maximumBlockSize);
    const auto length = static_cast<std::size_t>(block.getNumSamples());
    while (std::fread(block.getWriteChannelPtr(0), sizeof(float), length, stdin) == length)
    {
        const Signal32 cleaned = engine.process(block, false);
        const auto count = static_cast<std::size_t>(cleaned.getNumSamples());
        if (count > 0 &&
            std::fwrite(cleaned.getReadChannelPtr(0), sizeof(float), count, stdout) != count)
            return 1;
    }
    return 0;
}
