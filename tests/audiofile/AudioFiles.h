#pragma once

#include "audiofile/AudioFileReader.h"
#include "audiofile/OutputFile.h"
#include "audiofile/RecordingCopy.h"
#include "tests/audiofile/ScratchFolder.h"

#include <sndfile.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

namespace kalim::test
{

constexpr int rf64 = SF_FORMAT_RF64 | SF_FORMAT_PCM_16;
constexpr int w64 = SF_FORMAT_W64 | SF_FORMAT_PCM_16;
constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
constexpr int flac16 = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
constexpr int oggVorbis = SF_FORMAT_OGG | SF_FORMAT_VORBIS;
constexpr int mp3 = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;

/// Sets what a file is to say of itself.
using Describe = std::function<void(SNDFILE*)>;

inline SoundFileHandle openLibraryFile(const std::filesystem::path& path, int mode, int format = 0,
                                       int channels = 1, int rate = 48000)
{
    SF_INFO info{0, rate, channels, format, 0, 0};
    return SoundFileHandle(sf_open(path.c_str(), mode, &info));
}

/// Writes with the library alone, and returns the bytes of the file.
inline std::string writeLibraryFile(
    const std::filesystem::path& path, int format, const std::vector<int>& samples,
    int channels = 1, const Describe& describe = [](SNDFILE*) {})
{
    auto file = openLibraryFile(path, SFM_WRITE, format, channels);
    describe(file.get());
    sf_write_int(file.get(), samples.data(), static_cast<sf_count_t>(samples.size()));
    file.reset();
    return contentsOf(path);
}

/// Samples of all sizes, the same in each run.
inline std::vector<int> noise(std::size_t count)
{
    std::vector<int> samples(count);
    std::ranges::generate(samples, std::minstd_rand());
    return samples;
}

/// Reads a short file with the library alone.
inline std::vector<int> readLibraryIntegers(const std::filesystem::path& path)
{
    std::vector<int> samples(10000);
    const auto file = openLibraryFile(path, SFM_READ);
    samples.resize(static_cast<std::size_t>(sf_read_int(file.get(), samples.data(), 10000)));
    return samples;
}

/// Reads in parts, as a program does.
inline std::vector<float> readAll(const std::filesystem::path& path)
{
    AudioFileReader reader(path);
    std::vector<float> samples;
    std::vector<float> part(static_cast<std::size_t>(1000 * reader.getNumChannels()));
    while (const auto frames = reader.read(part))
        samples.insert(samples.end(), part.begin(),
                       part.begin() + frames * reader.getNumChannels());
    return samples;
}

/// Copies samples and descriptions unchanged, and returns the warnings.
inline std::vector<std::string> copyAudio(const std::filesystem::path& from,
                                          const std::filesystem::path& to, int format)
{
    const AudioFileReader reader(from);
    CopySettings settings;
    settings.existing = Existing::replace;
    settings.note = "Kalim test";
    RecordingCopy copy(reader, to, settings, {AudioFileFormat(format), {}});
    copy.write(readAll(from));
    copy.close();
    auto warnings = copy.findWarnings();
    copy.commit();
    return warnings;
}

} // namespace kalim::test
