#include "audiofile/AudioFileFormat.h"

#include "base/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace kalim
{
namespace
{

struct NamedFormat
{
    SampleFormat format;
    std::string_view name;
    std::array<int, 2> subtypes;
};

constexpr std::array namedFormats{
    NamedFormat{SampleFormat::pcm8, "pcm8", {SF_FORMAT_PCM_U8, SF_FORMAT_PCM_S8}},
    NamedFormat{SampleFormat::pcm16, "pcm16", {SF_FORMAT_PCM_16, 0}},
    NamedFormat{SampleFormat::pcm24, "pcm24", {SF_FORMAT_PCM_24, 0}},
    NamedFormat{SampleFormat::pcm32, "pcm32", {SF_FORMAT_PCM_32, 0}},
    NamedFormat{SampleFormat::float32, "float", {SF_FORMAT_FLOAT, 0}},
    NamedFormat{SampleFormat::float64, "double", {SF_FORMAT_DOUBLE, 0}},
    NamedFormat{SampleFormat::vorbis, "vorbis", {SF_FORMAT_VORBIS, 0}},
    NamedFormat{SampleFormat::opus, "opus", {SF_FORMAT_OPUS, 0}},
    NamedFormat{SampleFormat::mp3, "mp3", {SF_FORMAT_MPEG_LAYER_III, 0}},
};

/// A sink that forgets everything: opening an encoder on it tells whether it takes a layout.
SF_VIRTUAL_IO nullDevice()
{
    SF_VIRTUAL_IO device{};
    device.get_filelen = [](void*) -> sf_count_t { return 0; };
    device.seek = [](sf_count_t, int, void*) -> sf_count_t { return 0; };
    device.read = [](void*, sf_count_t, void*) -> sf_count_t { return 0; };
    device.write = [](const void*, sf_count_t count, void*) -> sf_count_t { return count; };
    device.tell = [](void*) -> sf_count_t { return 0; };
    return device;
}

std::string libraryName(int format)
{
    SF_FORMAT_INFO info{};
    info.format = format;
    const bool found = sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) == 0;
    return found && info.name != nullptr ? info.name : "unknown";
}

} // namespace

std::string nameOf(SampleFormat format)
{
    const auto* found = std::ranges::find(namedFormats, format, &NamedFormat::format);
    return found == namedFormats.end() ? "other" : std::string(found->name);
}

std::optional<SampleFormat> sampleFormatOfName(std::string_view name)
{
    const auto* found = std::ranges::find(namedFormats, lowered(name), &NamedFormat::name);
    return found == namedFormats.end() ? std::nullopt : std::optional(found->format);
}

std::string knownSampleFormats()
{
    std::vector<std::string_view> names;
    for (const auto& named : namedFormats)
        names.push_back(named.name);
    return fmt::format("{}", fmt::join(names, ", "));
}

SampleFormat sampleFormatOfSubtype(int subtype)
{
    for (const auto& named : namedFormats)
        if (std::ranges::find(named.subtypes, subtype) != named.subtypes.end())
            return named.format;
    return SampleFormat::other;
}

std::vector<int> subtypesOf(SampleFormat format)
{
    std::vector<int> subtypes;
    for (const auto& named : namedFormats)
        if (named.format == format)
            std::ranges::copy_if(named.subtypes, std::back_inserter(subtypes),
                                 [](int subtype) { return subtype != 0; });
    return subtypes;
}

std::vector<SampleFormat> substitutesFor(SampleFormat format)
{
    using enum SampleFormat;
    switch (format)
    {
    case pcm8:
        return {pcm16, vorbis, mp3};
    case pcm16:
        return {pcm24, float32, vorbis, mp3};
    case pcm24:
        return {pcm32, float32, pcm16, vorbis, mp3};
    case pcm32:
        return {float64, float32, pcm24, pcm16, vorbis, mp3};
    case float32:
        return {float64, pcm32, pcm24, pcm16, vorbis, mp3};
    case float64:
        return {float32, pcm32, pcm24, pcm16, vorbis, mp3};
    case vorbis:
    case opus:
    case mp3:
        return {pcm24, pcm16, vorbis, mp3};
    case other:
        break;
    }
    // Companded and adaptive codes decode to exactly 16 bits.
    return {pcm16, pcm24, vorbis, mp3};
}

std::optional<int> integerBitsOf(int subtype)
{
    switch (subtype)
    {
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
    case SF_FORMAT_VORBIS:
    case SF_FORMAT_OPUS:
    case SF_FORMAT_MPEG_LAYER_I:
    case SF_FORMAT_MPEG_LAYER_II:
    case SF_FORMAT_MPEG_LAYER_III:
        return {};
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_DPCM_8:
        return 8;
    case SF_FORMAT_DWVW_12:
        return 12;
    case SF_FORMAT_ALAC_20:
        return 20;
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_ALAC_24:
    case SF_FORMAT_DWVW_24:
        return 24;
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_ALAC_32:
        return 32;
    default:
        return 16;
    }
}

AudioFileFormat::AudioFileFormat(int libraryFormat)
    : value(libraryFormat)
{
}

AudioFileFormat::AudioFileFormat(int nearestSubtype, std::string container, std::string coding)
    : value(nearestSubtype)
    , containerName(std::move(container))
    , samplesName(std::move(coding))
{
}

int AudioFileFormat::getContainer() const
{
    return value & SF_FORMAT_TYPEMASK;
}

int AudioFileFormat::getSubtype() const
{
    return value & SF_FORMAT_SUBMASK;
}

int AudioFileFormat::getByteOrder() const
{
    return value & SF_FORMAT_ENDMASK;
}

SampleFormat AudioFileFormat::getSampleFormat() const
{
    return sampleFormatOfSubtype(getSubtype());
}

bool AudioFileFormat::isWav() const
{
    return getContainer() == SF_FORMAT_WAV || getContainer() == SF_FORMAT_WAVEX ||
           getContainer() == SF_FORMAT_RF64;
}

bool AudioFileFormat::isLossy() const
{
    const auto samples = getSampleFormat();
    return samples == SampleFormat::vorbis || samples == SampleFormat::opus ||
           samples == SampleFormat::mp3;
}

std::string AudioFileFormat::getContainerName() const
{
    if (!containerName.empty())
        return containerName;
    switch (getContainer())
    {
    case SF_FORMAT_WAV:
    case SF_FORMAT_WAVEX:
        return "WAV";
    case SF_FORMAT_RF64:
        return "RF64";
    case SF_FORMAT_W64:
        return "W64";
    case SF_FORMAT_AIFF:
        return "AIFF";
    case SF_FORMAT_CAF:
        return "CAF";
    case SF_FORMAT_FLAC:
        return "FLAC";
    case SF_FORMAT_OGG:
        return getSubtype() == SF_FORMAT_OPUS ? "Opus" : "Ogg";
    case SF_FORMAT_AU:
        return "AU";
    case SF_FORMAT_MPEG:
        return "MP3";
    default:
        return libraryName(getContainer());
    }
}

std::string AudioFileFormat::getSamplesName() const
{
    if (!samplesName.empty())
        return samplesName;
    const auto format = getSampleFormat();
    return format == SampleFormat::other ? libraryName(getSubtype()) : nameOf(format);
}

std::string AudioFileFormat::getDescription() const
{
    const bool isOneWord = lowered(getContainerName()) == getSamplesName();
    return isOneWord ? getContainerName() : getContainerName() + " " + getSamplesName();
}

bool AudioFileFormat::canHold(int channels, int sampleRate) const
{
    SF_INFO info{};
    info.channels = channels;
    info.samplerate = sampleRate;
    info.format = value;
    if (sampleRate < 1 || sf_format_check(&info) == 0)
        return false;

    auto device = nullDevice();
    SNDFILE* file = sf_open_virtual(&device, SFM_WRITE, &info, nullptr);
    if (file == nullptr)
        return false;
    sf_close(file);
    return true;
}

std::int64_t AudioFileFormat::bytesFor(std::int64_t samples) const
{
    if (getSubtype() == SF_FORMAT_DOUBLE)
        return samples * 8;
    return samples * ((integerBitsOf(getSubtype()).value_or(32) + 7) / 8);
}

} // namespace kalim
