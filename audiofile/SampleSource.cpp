#include "audiofile/SampleSource.h"

#include "audiofile/ChainedSource.h"
#include "audiofile/ChunkedFile.h"
#include "audiofile/FileBlocks.h"
#include "audiofile/FileBytes.h"
#include "audiofile/LibrarySource.h"
#include "audiofile/Mp3Frames.h"
#include "audiofile/Mp3Source.h"
#include "audiofile/OggPages.h"
#include "audiofile/PlainSamples.h"
#include "base/FileError.h"

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
        return openChain(path, flacLinks(whole));
    const auto chunks = ChunkedFile::open(whole.descriptor);
    if (chunks && chunks->findUnclaimedAudioBytes() > 0)
        return openPlainSamples(path, whole.descriptor);
    const bool isOther = text.starts_with("RIFF") || text.starts_with("RF64") ||
                         text.starts_with("FORM") || text.starts_with("caff") ||
                         text.starts_with("riff");
    if (!isOther && isMp3(whole))
        return std::make_unique<Mp3Source>(path, whole);
    return nullptr;
}

} // namespace

std::unique_ptr<SampleSource> openSampleSource(const Path& path, int descriptor)
{
    const FileRange whole{descriptor, 0, fileSizeOf(descriptor)};
    if (auto source = openSpecially(path, whole))
        return source;
    try
    {
        return std::make_unique<LibrarySource>(path, whole);
    }
    catch (const FileError&)
    {
        if (auto source = openPlainSamples(path, descriptor))
            return source;
        throw;
    }
}

} // namespace kalim
