#pragma once

#include "audiofile/AudioFileFormat.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kalim
{

/// Containers that can be asked for by name.
enum class ContainerName
{
    wav,
    rf64,
    w64,
    aiff,
    caf,
    flac,
    ogg,
    opus,
    au,
    mp3
};

/// What a person asked for; what is left out follows from the input and the output's name.
struct FormatRequest
{
    std::optional<ContainerName> container;
    std::optional<SampleFormat> samples;
};

/// What is known of the material before it is written.
struct AudioShape
{
    std::int64_t frames = 0;
    int channels = 0;
    int sampleRate = 0;
};

/// A format to write and what a person should be told about it, one line each.
struct OutputFormat
{
    AudioFileFormat format;
    std::vector<std::string> warnings;
};

/// Reads "CONTAINER", "SAMPLES" or "CONTAINER:SAMPLES", in any letter case. Throws
/// std::invalid_argument with a line that lists the known words.
FormatRequest parseFormatRequest(std::string_view text);

/// The container that belongs to a file name's extension. Throws FileError for an unknown or
/// missing extension, with a list of the known ones.
ContainerName containerOfExtension(const std::filesystem::path& path);

/// The usual extension of a container without the dot, "wav" for RF64 as well.
std::string extensionOf(ContainerName container);

/// Throws FileError where a name does not tell a container and none is asked for, and where it
/// tells another than is asked for. WAV files may be RF64 inside, and Ogg files hold Opus.
void requireMatchingName(const std::filesystem::path& path, const FormatRequest& request);

/// The format to write: the container asked for, else the one that the output's name asks for, with
/// the sample format asked for, else the input's own, else the one that loses least. A WAV file
/// that would pass 4 GiB becomes RF64, and RF64 becomes WAV where WAV is asked for and suffices.
/// Throws FileError when the container cannot hold the sample format asked for, the number of
/// channels, the sample rate or the size.
OutputFormat chooseOutputFormat(const AudioFileFormat& input, const AudioShape& shape,
                                const std::filesystem::path& output,
                                const FormatRequest& request = {});

} // namespace kalim
