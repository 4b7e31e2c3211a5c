#pragma once

#include "audiofile/AudioFileReader.h"

#include <filesystem>
#include <string>

namespace kalim
{

/// Checksums of the samples of a recording, whatever the file around them: interleaved, the least
/// significant byte first, in the width that the file has them in.
struct SoundChecksums
{
    /// That width as many programs call it: "s8", "s16le", "s24le", "s32le", "f32le", "f64le". What
    /// is decoded from lossy codings counts as "f32le".
    std::string samples;

    /// Hexadecimal.
    std::string md5;
    std::string sha256;
};

/// Reads the whole file. Throws FileError as the reader does.
SoundChecksums checksumsOf(const std::filesystem::path& path, Damaged whatToDo = Damaged::refuse);

/// SHA-256 of all bytes of a file, in hexadecimal. Throws FileError.
std::string fileChecksumOf(const std::filesystem::path& path);

} // namespace kalim
