#include "audiofile/SampleSource.h"

#include "audiofile/ChainedSource.h"
#include "audiofile/ChunkedFile.h"
#include "audiofile/FileBlocks.h"
#include "audiofile/FileBytes.h"
#include "audiofile/FlacSource.h"
#include "audiofile/LibrarySource.h"
#include "audiofile/Mp3Frames.h"
#include "audiofile/Mp3Source.h"
#include "audiofile/OggPages.h"
#include "audiofile/PlainSamples.h"
#include "base/FileError.h"

#ifdef KALIM_HAS_FFMPEG
#include "audiofile/media/MediaExtent.h"
#include "audiofile/media/MediaSource.h"
#endif

#include <algorithm>
#include <array>
#include <string_view>

namespace kalim
{
namespace
{

using Path = std::filesystem::path;
using Source = std::unique_ptr<SampleSource>;

constexpr std::string_view flacMark = "fLaC";

/// A file of FLAC may be followed by others. Each begins with its mark and a block of 34 bytes.
std::vector<FileRange> flacLinks(const FileRange& whole)
{
    FileBlocks file(whole);
    std::vector<std::int64_t> starts;
    for (auto at = file.find(flacMark, 0); at >= 0; at = file.find(flacMark, at + 1))
    {
        const auto header = file.at(at + std::ssize(flacMark), 4);
        if (header.size() == 4 && (bigEndian(header) & 0x7fffffff) == 34)
            starts.push_back(at);
    }
    std::vector<FileRange> links;
    for (std::size_t i = 0; i < starts.size(); ++i)
    {
        // Tags may stand before the first.
        const auto start = i == 0 ? 0 : starts[i];
        const auto end = i + 1 < starts.size() ? starts[i + 1] : whole.length;
        links.push_back({whole.descriptor, start, end - start});
    }
    return links;
}

std::vector<FileRange> oggLinks(int descriptor)
{
    std::vector<FileRange> links;
    for (const auto& link : surveyOgg(descriptor).links)
        links.push_back(link.range);
    return links;
}

/// Recordings one after the other; null if there is only one.
Source openChain(const Path& path, const std::vector<FileRange>& links)
{
    return links.size() > 1 ? std::make_unique<ChainedSource>(path, links) : nullptr;
}

/// Bytes that other programs left in front of a stream of MPEG audio.
constexpr std::int64_t farthestStart = 65536;

/// Containers that may hold frames of MPEG audio somewhere.
bool isOtherMedia(std::string_view start)
{
    using namespace std::string_view_literals;
    constexpr std::array marks{"RIFF"sv,
                               "RF64"sv,
                               "FORM"sv,
                               "caff"sv,
                               "riff"sv,
                               "fLaC"sv,
                               "OggS"sv,
                               "\x1a\x45\xdf\xa3"sv,
                               "\x30\x26\xb2\x75"sv,
                               "FLV"sv,
                               "G@"sv,
                               "\0\0\x01\xba"sv,
                               ".snd"sv};
    constexpr std::array boxes{"ftyp"sv, "moov"sv, "mdat"sv, "wide"sv, "free"sv, "skip"sv};
    const auto box = start.size() < 8 ? std::string_view() : start.substr(4, 4);
    return std::ranges::any_of(marks, [&](auto mark) { return start.starts_with(mark); }) ||
           std::ranges::find(boxes, box) != boxes.end();
}

/// What the sound library does not read, or not right. Null where it does.
Source openSpecially(const Path& path, const FileRange& whole)
{
    const auto start = readBytesAt(whole.descriptor, 0, 12);
    const auto text = asText(start);
    if (text.starts_with("RIFX") || text.starts_with("BW64"))
        return openPlainSamples(path, whole.descriptor);
    if (text.starts_with("OggS"))
        return openChain(path, oggLinks(whole.descriptor));
    if (text.starts_with(flacMark))
        if (auto chain = openChain(path, flacLinks(whole)))
            return chain;
    if (findFlacStart(whole))
        return std::make_unique<FlacSource>(path, whole);
    const auto chunks = ChunkedFile::open(whole.descriptor);
    if (chunks && chunks->findUnclaimedAudioBytes() > 0)
        return openPlainSamples(path, whole.descriptor);
    if (!isOtherMedia(text) && isMp3(whole, farthestStart))
        return std::make_unique<Mp3Source>(path, whole);
    return nullptr;
}

/// What only films and rarer recordings need. The failure is that of the sound library.
#ifdef KALIM_HAS_FFMPEG
Source openMedia(const Path& path, int descriptor, const FileError& failure)
{
    try
    {
        return std::make_unique<media::MediaSource>(path, descriptor);
    }
    catch (const FileError& error)
    {
        if (const auto missing = media::missingIn(descriptor); !missing.empty())
            throw FileError(path, "cannot be read as audio: " + missing);
        // What is no audio at all is told in the words of the sound library.
        const bool isKnown = std::string_view(error.what()).find("cannot be read as audio") ==
                             std::string_view::npos;
        throw isKnown ? error : failure;
    }
}
#else
Source openMedia(const Path&, int, const FileError& failure)
{
    throw FileError({}, std::string(failure.what()) +
                            " (MP4, Matroska, WMA and their like need a build with FFmpeg's "
                            "libraries, which this one is not)");
}
#endif

} // namespace

std::unique_ptr<SampleSource> openSampleSource(const Path& path, int descriptor,
                                               [[maybe_unused]] std::optional<int> stream)
{
#ifdef KALIM_HAS_FFMPEG
    if (stream)
        return std::make_unique<media::MediaSource>(path, descriptor, stream);
#endif
    const FileRange whole{descriptor, 0, fileSizeOf(descriptor)};
    if (auto source = openSpecially(path, whole))
        return source;
    try
    {
        return std::make_unique<LibrarySource>(path, whole);
    }
    catch (const FileError& failure)
    {
        if (auto source = openPlainSamples(path, descriptor))
            return source;
        return openMedia(path, descriptor, failure);
    }
}

} // namespace kalim
