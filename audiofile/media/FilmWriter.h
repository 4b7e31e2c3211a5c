#pragma once

#include "audiofile/AudioFileFormat.h"
#include "audiofile/OutputFile.h"

#include <filesystem>
#include <string>
#include <vector>

namespace kalim::media
{

/// New sound for one stream of a film.
struct NewSound
{
    /// The number of the stream that it replaces.
    int stream = 0;

    /// A file with the samples, which AudioFileReader reads.
    std::filesystem::path samples;

    /// When the first of them sounds, in seconds on the film's clock.
    double startTime = 0.0;

    /// The format of the stream that is replaced, by which the coding is chosen.
    AudioFileFormat original;
};

/// What became of a film.
struct WrittenFilm
{
    /// Such as "MP4 aac".
    std::string format;

    /// What could not be kept, one line each.
    std::vector<std::string> losses;
};

/// Whether a name's ending is one of films or of recordings in their containers: .mp4, .m4v, .mov,
/// .m4a, .mkv, .mka, .webm.
bool isFilmName(const std::filesystem::path& path);

/// Numbers of the streams of sound in a film or recording. Throws FileError.
std::vector<int> soundStreamsOf(const std::filesystem::path& film);

/// Copies a film with new sound: AAC in MP4 and MOV (ALAC where it was lossless), Opus in WebM,
/// FLAC in Matroska. All other streams, chapters and tags go over as they are. Throws FileError
/// when the container of the output's name cannot hold one of them.
WrittenFilm writeFilm(const std::filesystem::path& film, OutputFile& output,
                      const std::vector<NewSound>& sounds);

} // namespace kalim::media
