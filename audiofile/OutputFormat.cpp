#include "audiofile/OutputFormat.h"

#include "base/FileError.h"
#include "base/Text.h"

#include <fmt/format.h>
#include <sndfile.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace kalim
{
namespace
{

using enum ContainerName;

struct Container
{
    ContainerName name;
    std::string_view word;
    std::string_view display;
    int libraryFormat;
};

constexpr std::array containers{
    Container{wav, "wav", "WAV", SF_FORMAT_WAV}, Container{rf64, "rf64", "RF64", SF_FORMAT_RF64},
    Container{w64, "w64", "W64", SF_FORMAT_W64}, Container{aiff, "aiff", "AIFF", SF_FORMAT_AIFF},
    Container{caf, "caf", "CAF", SF_FORMAT_CAF}, Container{flac, "flac", "FLAC", SF_FORMAT_FLAC},
    Container{ogg, "ogg", "Ogg", SF_FORMAT_OGG}, Container{opus, "opus", "Opus", SF_FORMAT_OGG},
    Container{au, "au", "AU", SF_FORMAT_AU},     Container{mp3, "mp3", "MP3", SF_FORMAT_MPEG},
};

struct Extension
{
    std::string_view text;
    ContainerName container;
};

constexpr std::array extensions{
    Extension{".wav", wav},   Extension{".wave", wav},  Extension{".bwf", wav},
    Extension{".rf64", rf64}, Extension{".w64", w64},   Extension{".aif", aiff},
    Extension{".aiff", aiff}, Extension{".aifc", aiff}, Extension{".caf", caf},
    Extension{".flac", flac}, Extension{".ogg", ogg},   Extension{".oga", ogg},
    Extension{".opus", opus}, Extension{".au", au},     Extension{".snd", au},
    Extension{".mp3", mp3},
};

/// Room for headers and descriptions beside the samples in a file with 32-bit sizes.
constexpr std::int64_t largestSmallFile = (std::int64_t{1} << 32) - (std::int64_t{1} << 24);

constexpr std::array usualRates{8000,  11025, 12000, 16000, 22050,  24000,  32000,
                                44100, 48000, 88200, 96000, 176400, 192000, 384000};

const Container& containerOf(ContainerName name)
{
    return *std::ranges::find(containers, name, &Container::name);
}

template <typename Table, typename Member>
std::string listed(const Table& table, Member member)
{
    std::vector<std::string_view> words;
    for (const auto& entry : table)
        words.push_back(entry.*member);
    return fmt::format("{}", fmt::join(words, ", "));
}

const Container* findContainer(std::string_view word)
{
    const auto* found = std::ranges::find(containers, lowered(word), &Container::word);
    return found == containers.end() ? nullptr : found;
}

ContainerName parseContainer(std::string_view word)
{
    if (const auto* found = findContainer(word))
        return found->name;
    throw std::invalid_argument(fmt::format("unknown container '{}' (known: {})", word,
                                            listed(containers, &Container::word)));
}

SampleFormat parseSamples(std::string_view word)
{
    if (const auto found = sampleFormatOfName(word))
        return *found;
    throw std::invalid_argument(
        fmt::format("unknown sample format '{}' (known: {})", word, knownSampleFormats()));
}

int libraryContainer(ContainerName wanted, const AudioFileFormat& input, int channels)
{
    if (wanted != wav)
        return containerOf(wanted).libraryFormat;
    if (input.getContainer() == SF_FORMAT_WAVEX || input.getContainer() == SF_FORMAT_WAV)
        return input.getContainer();
    // Only the extensible header says which channel feeds which loudspeaker.
    return channels > 2 ? SF_FORMAT_WAVEX : SF_FORMAT_WAV;
}

/// Subtypes to try for a sample format, in a container that may store only one kind of it.
std::vector<int> subtypesIn(ContainerName container, SampleFormat format)
{
    if (container == opus)
        return format == SampleFormat::opus ? subtypesOf(format) : std::vector<int>{};
    return subtypesOf(format);
}

/// Tried and not looked up: the library lists codings that it then cannot write, such as MP3 in
/// WAV.
bool isStorable(int libraryFormat)
{
    const AudioFileFormat format(libraryFormat);
    return format.canHold(1, 48000) || format.canHold(1, 8000);
}

std::optional<AudioFileFormat> storedAs(ContainerName name, int container, SampleFormat samples)
{
    for (const int subtype : subtypesIn(name, samples))
        if (isStorable(container | subtype))
            return AudioFileFormat(container | subtype);
    return {};
}

std::string storableSamples(ContainerName name, int container)
{
    using enum SampleFormat;
    std::vector<std::string> names;
    for (const auto samples : {pcm8, pcm16, pcm24, pcm32, float32, float64, vorbis,
                               SampleFormat::opus, SampleFormat::mp3})
        if (storedAs(name, container, samples))
            names.push_back(nameOf(samples));
    return fmt::format("{}", fmt::join(names, ", "));
}

std::vector<SampleFormat> substitutesIn(ContainerName name, SampleFormat samples)
{
    return name == opus ? std::vector{SampleFormat::opus} : substitutesFor(samples);
}

/// The input's own coding and byte order, if the container can keep them.
std::optional<AudioFileFormat> keptAs(ContainerName name, int container,
                                      const AudioFileFormat& input)
{
    if (name == opus && input.getSubtype() != SF_FORMAT_OPUS)
        return {};
    const int plain = container | input.getSubtype();
    if (container == input.getContainer() && isStorable(plain | input.getByteOrder()))
        return AudioFileFormat(plain | input.getByteOrder());
    // Block codes of one family differ from container to container; only plain samples move.
    const auto samples = input.getSampleFormat();
    if (samples != SampleFormat::other || AudioFileFormat(container).isWav())
        if (isStorable(plain))
            return AudioFileFormat(plain);
    return storedAs(name, container, samples);
}

/// Whoever asks for a codec by its container's name knows that the samples are compressed.
bool isCodec(SampleFormat samples)
{
    using enum SampleFormat;
    return samples == vorbis || samples == SampleFormat::opus || samples == SampleFormat::mp3;
}

OutputFormat withSubstitute(ContainerName name, int container, const AudioFileFormat& input)
{
    for (const auto samples : substitutesIn(name, input.getSampleFormat()))
    {
        const auto format = storedAs(name, container, samples);
        if (format && isCodec(samples))
            return {*format, {}};
        if (format)
            return {
                *format,
                {fmt::format("{} cannot hold the input's {} samples; writing {} instead",
                             containerOf(name).display, input.getSamplesName(), nameOf(samples))}};
    }
    throw std::logic_error("no substitute for a sample format");
}

OutputFormat withSamples(ContainerName name, int container, const AudioFileFormat& input,
                         const std::filesystem::path& output, std::optional<SampleFormat> requested)
{
    if (!requested)
    {
        if (const auto kept = keptAs(name, container, input))
            return {*kept, {}};
        return withSubstitute(name, container, input);
    }
    if (*requested == input.getSampleFormat())
        if (const auto kept = keptAs(name, container, input))
            return {*kept, {}};
    if (const auto format = storedAs(name, container, *requested))
        return {*format, {}};
    throw FileError(output, fmt::format("{} cannot hold {} samples (it holds {})",
                                        containerOf(name).display, nameOf(*requested),
                                        storableSamples(name, container)));
}

void checkChannels(const AudioFileFormat& format, const AudioShape& shape,
                   const std::filesystem::path& output)
{
    if (format.canHold(shape.channels, 48000))
        return;
    int most = 0;
    while (most < shape.channels && format.canHold(most + 1, 48000))
        ++most;
    throw FileError(output, fmt::format("{} cannot hold {} channels (at most {})",
                                        format.getContainerName(), shape.channels, most));
}

void checkSampleRate(const AudioFileFormat& format, const AudioShape& shape,
                     const std::filesystem::path& output)
{
    if (format.canHold(shape.channels, shape.sampleRate))
        return;
    std::vector<int> possible;
    for (const int rate : usualRates)
        if (format.canHold(shape.channels, rate))
            possible.push_back(rate);
    throw FileError(output, fmt::format("{} cannot hold a sample rate of {} Hz (it takes {})",
                                        format.getContainerName(), shape.sampleRate,
                                        fmt::join(possible, ", ")));
}

bool hasSmallSizes(int container)
{
    return container == SF_FORMAT_WAV || container == SF_FORMAT_WAVEX ||
           container == SF_FORMAT_AIFF || container == SF_FORMAT_AU;
}

OutputFormat fittedToSize(OutputFormat chosen, const AudioShape& shape,
                          const std::filesystem::path& output)
{
    const auto bytes = chosen.format.bytesFor(shape.frames * shape.channels);
    if (bytes <= largestSmallFile || !hasSmallSizes(chosen.format.getContainer()))
        return chosen;
    const AudioFileFormat large(SF_FORMAT_RF64 | chosen.format.getSubtype());
    if (!chosen.format.isWav() || !isStorable(large.getLibraryFormat()))
        throw FileError(output,
                        fmt::format("{} cannot hold more than 4 GiB; choose wav, w64 or caf",
                                    chosen.format.getDescription()));
    chosen.warnings.push_back("WAV cannot hold more than 4 GiB; writing RF64 instead");
    return {large, chosen.warnings};
}

} // namespace

FormatRequest parseFormatRequest(std::string_view text)
{
    if (const auto colon = text.find(':'); colon != std::string_view::npos)
        return {parseContainer(text.substr(0, colon)), parseSamples(text.substr(colon + 1))};
    if (const auto* container = findContainer(text))
        return {container->name, {}};
    if (const auto samples = sampleFormatOfName(text))
        return {{}, samples};
    throw std::invalid_argument(fmt::format("unknown format '{}' (containers: {}; samples: {})",
                                            text, listed(containers, &Container::word),
                                            knownSampleFormats()));
}

std::string extensionOf(ContainerName container)
{
    return std::string(containerOf(container == rf64 ? wav : container).word);
}

ContainerName containerOfExtension(const std::filesystem::path& path)
{
    const auto text = lowered(path.extension().native());
    const auto* found = std::ranges::find(extensions, text, &Extension::text);
    if (found != extensions.end())
        return found->container;
    throw FileError(path,
                    fmt::format("unknown file name extension '{}' (known: {})",
                                printable(path.extension()), listed(extensions, &Extension::text)));
}

void requireMatchingName(const std::filesystem::path& path, const FormatRequest& request)
{
    if (!request.container)
    {
        containerOfExtension(path);
        return;
    }
    const auto text = lowered(path.extension().native());
    const auto* found = std::ranges::find(extensions, text, &Extension::text);
    if (found == extensions.end() || found->container == *request.container)
        return;
    const bool isKin = (found->container == wav && *request.container == rf64) ||
                       (found->container == ogg && *request.container == opus);
    if (!isKin)
        throw FileError(path, fmt::format("its name says {}, but {} is asked for",
                                          containerOf(found->container).display,
                                          containerOf(*request.container).display));
}

OutputFormat chooseOutputFormat(const AudioFileFormat& input, const AudioShape& shape,
                                const std::filesystem::path& output, const FormatRequest& request)
{
    const auto name = request.container ? *request.container : containerOfExtension(output);
    const int container = libraryContainer(name, input, shape.channels);
    auto chosen = withSamples(name, container, input, output, request.samples);
    checkChannels(chosen.format, shape, output);
    checkSampleRate(chosen.format, shape, output);
    return fittedToSize(std::move(chosen), shape, output);
}

} // namespace kalim
