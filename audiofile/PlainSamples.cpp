#include "audiofile/PlainSamples.h"

#include "audiofile/ChunkedFile.h"
#include "audiofile/FileBytes.h"
#include "audiofile/LibrarySource.h"
#include "base/FileError.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string_view>

namespace kalim
{
namespace
{

enum FormatTag : std::uint16_t
{
    integers = 1,
    floats = 3,
    aLaw = 6,
    muLaw = 7,
    extensible = 0xfffe
};

/// What the chunk "fmt " says.
struct WaveFormat
{
    std::uint64_t tag;
    std::uint64_t channels;
    std::uint64_t sampleRate;
    std::uint64_t frameBytes;
};

std::optional<WaveFormat> waveFormatOf(std::span<const std::byte> bytes, const ChunkLayout& layout)
{
    constexpr std::size_t shortest = 16;
    constexpr std::size_t tagOfExtensible = 24;
    if (bytes.size() < shortest)
        return {};
    const auto number = [&](std::size_t offset, std::size_t count)
    { return layout.number(bytes.subspan(offset, count)); };
    WaveFormat format{number(0, 2), number(2, 2), number(4, 4), number(12, 2)};
    if (format.tag == extensible && bytes.size() >= tagOfExtensible + 2)
        format.tag = number(tagOfExtensible, 2);
    return format;
}

int subtypeOf(const WaveFormat& format)
{
    const auto bytes = format.channels == 0 ? 0 : format.frameBytes / format.channels;
    const bool isEven = bytes * format.channels == format.frameBytes;
    if (!isEven || bytes == 0)
        return 0;
    constexpr std::array integerTypes{SF_FORMAT_PCM_U8, SF_FORMAT_PCM_16, SF_FORMAT_PCM_24,
                                      SF_FORMAT_PCM_32};
    if (format.tag == integers && bytes <= integerTypes.size())
        return integerTypes[bytes - 1];
    if (format.tag == floats && (bytes == 4 || bytes == 8))
        return bytes == 4 ? SF_FORMAT_FLOAT : SF_FORMAT_DOUBLE;
    if (bytes == 1 && (format.tag == aLaw || format.tag == muLaw))
        return format.tag == aLaw ? SF_FORMAT_ALAW : SF_FORMAT_ULAW;
    return 0;
}

/// Known by its own name although the library sees nothing but samples.
class PlainSource : public LibrarySource
{
public:
    PlainSource(const std::filesystem::path& path, const FileRange& range, const SF_INFO& samples,
                int format)
        : LibrarySource(path, range, samples)
        , ownFormat(format)
    {
        try
        {
            described = std::make_unique<LibrarySource>(
                path, FileRange{range.descriptor, 0, fileSizeOf(range.descriptor)});
        }
        catch (const FileError&)
        {
            // The chunks go over all the same.
        }
    }

    SampleShape getShape() const override
    {
        auto shape = LibrarySource::getShape();
        shape.format = AudioFileFormat(ownFormat);
        return shape;
    }

    SNDFILE* getHandle() override
    {
        return described ? described->getHandle() : LibrarySource::getHandle();
    }

private:
    int ownFormat;
    std::unique_ptr<LibrarySource> described;
};

} // namespace

std::unique_ptr<SampleSource> openPlainSamples(const std::filesystem::path& path, int descriptor)
{
    const auto layout = chunkLayoutOf(descriptor);
    const auto file = ChunkedFile::open(descriptor);
    if (!layout || layout->family != ChunkFamily::riff ||
        asText(readBytesAt(descriptor, 8, 4)) != "WAVE")
        return nullptr;
    const auto chunks = file->findChunks();
    const auto format = std::ranges::find(chunks, "fmt ", &ChunkPlace::id);
    const auto audio = std::ranges::find(chunks, "data", &ChunkPlace::id);
    if (format == chunks.end() || audio == chunks.end())
        return nullptr;
    const auto wave = waveFormatOf(
        readBytesAt(descriptor, format->dataStart, std::min<std::int64_t>(format->dataSize, 40)),
        *layout);
    const int subtype = wave ? subtypeOf(*wave) : 0;
    if (subtype == 0 || wave->sampleRate == 0 || wave->sampleRate > INT32_MAX)
        return nullptr;
    const int order = layout->isBigEndian ? SF_ENDIAN_BIG : SF_ENDIAN_LITTLE;
    const SF_INFO raw{0,
                      static_cast<int>(wave->sampleRate),
                      static_cast<int>(wave->channels),
                      SF_FORMAT_RAW | subtype | order,
                      0,
                      0};
    // A recorder that was cut off has not told how many there are.
    const auto bytes = std::max(audio->dataSize, file->findUnclaimedAudioBytes());
    const int container = layout->hasLargeSizes ? SF_FORMAT_RF64 : SF_FORMAT_WAV;
    return std::make_unique<PlainSource>(path, FileRange{descriptor, audio->dataStart, bytes}, raw,
                                         container | subtype |
                                             (layout->isBigEndian ? SF_ENDIAN_BIG : 0));
}

} // namespace kalim
