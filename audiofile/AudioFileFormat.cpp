#include "audiofile/AudioFileFormat.h"

#include "base/Text.h"

#include <sndfile.h>

namespace kalim
{
namespace
{

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

AudioFileFormat::AudioFileFormat(int libraryFormat)
    : value(libraryFormat)
{
}

int AudioFileFormat::container() const
{
    return value & SF_FORMAT_TYPEMASK;
}

int AudioFileFormat::subtype() const
{
    return value & SF_FORMAT_SUBMASK;
}

int AudioFileFormat::byteOrder() const
{
    return value & SF_FORMAT_ENDMASK;
}

SampleFormat AudioFileFormat::sampleFormat() const
{
    return sampleFormatOfSubtype(subtype());
}

bool AudioFileFormat::isWav() const
{
    return container() == SF_FORMAT_WAV || container() == SF_FORMAT_WAVEX ||
           container() == SF_FORMAT_RF64;
}

std::string AudioFileFormat::containerName() const
{
    switch (container())
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
        return subtype() == SF_FORMAT_OPUS ? "Opus" : "Ogg";
    case SF_FORMAT_AU:
        return "AU";
    case SF_FORMAT_MPEG:
        return "MP3";
    default:
        return libraryName(container());
    }
}

std::string AudioFileFormat::samplesName() const
{
    const auto format = sampleFormat();
    return format == SampleFormat::other ? libraryName(subtype()) : nameOf(format);
}

std::string AudioFileFormat::description() const
{
    const bool isOneWord = lowered(containerName()) == samplesName();
    return isOneWord ? containerName() : containerName() + " " + samplesName();
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
    if (subtype() == SF_FORMAT_DOUBLE)
        return samples * 8;
    return samples * ((integerBitsOf(subtype()).value_or(32) + 7) / 8);
}

} // namespace kalim
