// Normal mode done straightforwardly, one tracker after the other by its readable operations, on a
// file: kalim_reference HARMONICS INPUT OUTPUT. What the fast engine is compared with.

#include "audiofile/AudioFileReader.h"
#include "dsp/hum/SinusoidalSynthesis.h"
#include "dsp/signal/DspCore.h"

#include <sndfile.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <stdexcept>
#include <vector>

namespace
{

using orvo::audio::Signal32;
using orvo::audio::SinusoidalSynthesis;

constexpr int frameLength = 2048;
constexpr float fundamental = 50.0F;

struct FileCloser
{
    void operator()(SNDFILE* file) const { sf_close(file); }
};

void subtract(const Signal32& part, Signal32& whole)
{
    for (int channel = 0; channel < whole.getNumChannels(); ++channel)
        for (int n = 0; n < whole.getNumSamples(); ++n)
            whole.getWriteChannelPtr(channel)[n] -= part.getReadChannelPtr(channel)[n];
}

void run(int numHarmonics, const char* input, const char* output)
{
    kalim::AudioFileReader reader(input);
    const int channels = reader.getNumChannels();
    SF_INFO info{};
    info.samplerate = reader.getSampleRate();
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
    const std::unique_ptr<SNDFILE, FileCloser> file(sf_open(output, SFM_WRITE, &info));
    if (file == nullptr)
        throw std::runtime_error(sf_strerror(nullptr));

    std::vector<SinusoidalSynthesis> trackers(static_cast<std::size_t>(numHarmonics));
    for (SinusoidalSynthesis& tracker : trackers)
        tracker.setFormat(channels, reader.getSampleRate());
    const orvo::audio::ScopedFlushToZero flushToZero;
    std::vector<float> samples(static_cast<std::size_t>(frameLength * channels));
    Signal32 frame(channels, frameLength, 0.0F);
    for (std::int64_t done = 0; done + frameLength <= reader.getNumFrames(); done += frameLength)
    {
        reader.read(samples);
        for (int n = 0; n < frameLength; ++n)
            for (int channel = 0; channel < channels; ++channel)
                frame.getWriteChannelPtr(channel)[n] =
                    samples[static_cast<std::size_t>(n * channels + channel)];
        Signal32 cleaned = frame;
        for (int index = 0; index < numHarmonics; ++index)
            subtract(trackers[static_cast<std::size_t>(index)].generateSignal(frame, fundamental,
                                                                              index + 1),
                     cleaned);
        for (int n = 0; n < frameLength; ++n)
            for (int channel = 0; channel < channels; ++channel)
                samples[static_cast<std::size_t>(n * channels + channel)] =
                    cleaned.getReadChannelPtr(channel)[n];
        sf_write_float(file.get(), samples.data(), static_cast<sf_count_t>(samples.size()));
    }
}

} // namespace

int main(int numArguments, char** arguments)
{
    const int numHarmonics = numArguments == 4 ? std::atoi(arguments[1]) : 0;
    if (numHarmonics < 1)
    {
        std::fputs("usage: kalim_reference HARMONICS INPUT OUTPUT\n", stderr);
        return 2;
    }
    try
    {
        run(numHarmonics, arguments[2], arguments[3]);
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "kalim_reference: %s\n", error.what());
        return 1;
    }
    return 0;
}
