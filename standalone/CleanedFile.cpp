#include "standalone/CleanedFile.h"

#include "audiofile/AudioFileWriter.h"
#include "audiofile/FileDamage.h"
#include "audiofile/FileMetadata.h"
#include "audiofile/OutputFile.h"
#include "audiofile/OutputFormat.h"
#include "base/FileError.h"
#include "dsp/hum/Kalimmer.h"
#include "plugin/KalimConstants.h"
#include "standalone/HumFinder.h"

#include <algorithm>
#include <cmath>

namespace kalim::standalone
{
namespace
{

using orvo::audio::Kalimmer;
using orvo::audio::Signal32;

/// The engine over a whole file, with as many frames out as in.
class HeardCleaning
{
public:
    HeardCleaning(const WindowSettings& settings, int channels, int sampleRate, FrameTaker taker)
        : take(std::move(taker))
        , numChannels(channels)
    {
        orvo::audio::AudioFormat format;
        format.createDefaultChannelMapping(channels);
        format.sampleRate = sampleRate;
        for (std::size_t id = 0; id < settings.size(); ++id)
            engine.setParameterValue(static_cast<int>(id), settings[id], false);
        engine.setDisplayed(false);
        engine.maximumBlockSize = mostBlockFrames;
        engine.setFormat(format, format);
        // Of a call the engine analyses one hop at most; without any it lets all pass.
        if (engine.getHopSize() > 0)
            blockFrames = std::min(blockFrames, engine.getHopSize());
    }

    void add(const float* const* channels, int numFrames)
    {
        numOwed += numFrames;
        for (int offset = 0; offset < numFrames; offset += blockFrames)
        {
            Signal32 block(numChannels, std::min(blockFrames, numFrames - offset));
            for (int channel = 0; channel < numChannels; ++channel)
                std::copy_n(channels[channel] + offset, block.getNumSamples(),
                            block.getWriteChannelPtr(channel));
            process(block);
        }
    }

    /// What the engine holds back comes out behind silence.
    void finish()
    {
        const Signal32 silence(numChannels, blockFrames, 0.0F);
        while (numOwed > 0)
            process(silence);
    }

private:
    static constexpr int mostBlockFrames = 512;

    void process(const Signal32& block)
    {
        const Signal32 result = engine.process(block, false);
        const auto count =
            static_cast<int>(std::min<std::int64_t>(result.getNumSamples(), numOwed));
        if (count == 0)
            return;
        std::vector<const float*> channels;
        for (int channel = 0; channel < numChannels; ++channel)
            channels.push_back(result.getReadChannelPtr(channel));
        numOwed -= count;
        take(channels.data(), count);
    }

    Kalimmer engine;
    FrameTaker take;
    int numChannels;
    int blockFrames = mostBlockFrames;
    std::int64_t numOwed = 0;
};

/// A copy of a file with other samples.
class Copy
{
public:
    Copy(const std::filesystem::path& input, const std::filesystem::path& output)
        : reader(input)
        , metadata(reader)
        , target(chooseOutputFormat(
              reader.getFormat(),
              {reader.getNumFrames(), reader.getNumChannels(), reader.getSampleRate()}, output))
        , file(output, Existing::replace)
        , writer(file, target.format, reader.getNumChannels(), reader.getSampleRate())
    {
        metadata.applyTo(writer, std::string("Kalim ") + KalimConstants::plugInVersion);
    }

    AudioFileReader& getReader() { return reader; }

    /// Appends frames, whose samples are given by a function of channel and frame.
    template <typename Sample>
    void write(int numFrames, const Sample& sample)
    {
        const int numChannels = reader.getNumChannels();
        interleaved.clear();
        for (int frame = 0; frame < numFrames; ++frame)
            for (int channel = 0; channel < numChannels; ++channel)
                interleaved.push_back(sample(channel, frame));
        writer.write(interleaved);
    }

    /// The last moment to cancel is before the file gets its name.
    std::vector<std::string> finish(const Progress& progress)
    {
        writer.close();
        std::vector<std::string> warnings = target.warnings;
        for (const FileNote& damage : damagesOf(reader))
            warnings.push_back(damage.text);
        for (const std::string& loss : metadata.lossesIn(file.getTemporaryPath()))
            warnings.push_back(loss);
        progress.check();
        file.commit();
        return warnings;
    }

private:
    AudioFileReader reader;
    FileMetadata metadata;
    OutputFormat target;
    OutputFile file;
    AudioFileWriter writer;
    std::vector<float> interleaved;
};

void cleanAsHeard(Copy& copy, const WindowSettings& settings, Progress& progress)
{
    AudioFileReader& reader = copy.getReader();
    HeardCleaning cleaning(settings, reader.getNumChannels(), reader.getSampleRate(),
                           [&copy](const float* const* channels, int count) {
                               copy.write(count, [channels](int channel, int frame)
                                          { return channels[channel][frame]; });
                           });
    readInPieces(reader, progress,
                 [&](const float* const* channels, int count)
                 {
                     cleaning.add(channels, count);
                     progress.update(static_cast<double>(reader.getPosition()) /
                                     static_cast<double>(reader.getNumFrames()));
                 });
    cleaning.finish();
}

void cleanPrecisely(Copy& copy, bool isResidual, Progress& progress)
{
    readPrecisely(copy.getReader().getPath(), progress,
                  [&](const float* const* samples, const float* const* hum, int count)
                  {
                      copy.write(count,
                                 [&](int channel, int frame)
                                 {
                                     const float removed = hum[channel][frame];
                                     return isResidual ? removed
                                                       : samples[channel][frame] - removed;
                                 });
                  });
}

} // namespace

WindowSettings getWindowSettings(const BasePlugInProcessor& plugIn)
{
    WindowSettings settings{};
    for (std::size_t id = 0; id < settings.size(); ++id)
        settings[id] = plugIn.getBaseProcessor()->getParameterValue(static_cast<int>(id));
    return settings;
}

std::vector<std::string> writeCleaned(const std::filesystem::path& input,
                                      const std::filesystem::path& output, CleaningMethod method,
                                      const WindowSettings& settings, Progress& progress)
{
    if (isSameFile(input, output))
        throw FileError(output, "is the file that is cleaned; choose another name");
    Copy copy(input, output);
    if (method == CleaningMethod::precise)
        cleanPrecisely(copy, settings[orvo::audio::ResidualMode] > 0.5F, progress);
    else
        cleanAsHeard(copy, settings, progress);
    return copy.finish(progress);
}

} // namespace kalim::standalone
