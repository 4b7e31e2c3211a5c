#include "audiofile/media/MediaSource.h"

#include "audiofile/FileBytes.h"
#include "audiofile/media/MediaExtent.h"
#include "base/FileError.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <utility>

namespace kalim::media
{
namespace
{

/// Times of packets are rounded to milliseconds in many files.
constexpr double smallestGap = 0.05;

/// Longer ones are no pauses but errors of the times.
constexpr double longestGap = 3600.0;

/// How the sound library would call the coding, for the choice of what to write.
int subtypeOf(const AVCodecParameters& parameters, const AVCodecContext& codec)
{
    switch (parameters.codec_id)
    {
    case AV_CODEC_ID_VORBIS:
        return SF_FORMAT_VORBIS;
    case AV_CODEC_ID_OPUS:
        return SF_FORMAT_OPUS;
    case AV_CODEC_ID_PCM_F64LE:
    case AV_CODEC_ID_PCM_F64BE:
        return SF_FORMAT_DOUBLE;
    case AV_CODEC_ID_PCM_F32LE:
    case AV_CODEC_ID_PCM_F32BE:
        return SF_FORMAT_FLOAT;
    default:
        break;
    }
    const auto* const known = avcodec_descriptor_get(parameters.codec_id);
    const bool isLossless = known != nullptr && (known->props & AV_CODEC_PROP_LOSSY) == 0;
    if (!isLossless)
        return SF_FORMAT_MPEG_LAYER_III;
    const int bits = parameters.bits_per_raw_sample > 0
                         ? parameters.bits_per_raw_sample
                         : 8 * av_get_bytes_per_sample(codec.sample_fmt);
    if (bits <= 8)
        return SF_FORMAT_PCM_U8;
    return bits <= 16 ? SF_FORMAT_PCM_16 : (bits <= 24 ? SF_FORMAT_PCM_24 : SF_FORMAT_PCM_32);
}

} // namespace

MediaSource::MediaSource(std::filesystem::path path, int fileDescriptor,
                         std::optional<int> streamNumber)
    : filePath(std::move(path))
    , descriptor(fileDescriptor)
    , wanted(streamNumber)
{
    restart();
    const auto& parameters = *file->get()->streams[number]->codecpar;
    shape.channels = codec->ch_layout.nb_channels;
    shape.sampleRate = codec->sample_rate;
    if (shape.channels < 1 || shape.sampleRate < 1)
        throw FileError(filePath, "has no valid number of channels or sample rate");
    shape.format = AudioFileFormat(subtypeOf(parameters, *codec), file->getName(),
                                   avcodec_get_name(parameters.codec_id));
}

MediaSource::~MediaSource()
{
    swr_free(&converter);
}

void MediaSource::restart()
{
    file = std::make_unique<MediaFile>(filePath, descriptor);
    const int found =
        wanted.value_or(av_find_best_stream(file->get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0));
    if (found < 0)
        throw FileError(filePath, "holds no sound");
    number = found;
    for (unsigned i = 0; i < file->get()->nb_streams; ++i)
        if (static_cast<int>(i) != number)
            file->get()->streams[i]->discard = AVDISCARD_ALL;
    openDecoder();
    swr_free(&converter);
    ready.clear();
    readyStart = 0;
    position = 0;
    firstTime.reset();
    silence = 0;
    silentFrames = 0;
    endOfPackets = 0;
    isAtEnd = false;
    error.clear();
}

void MediaSource::openDecoder()
{
    const auto& stream = *file->get()->streams[number];
    const auto* const decoder = avcodec_find_decoder(stream.codecpar->codec_id);
    const std::string name = avcodec_get_name(stream.codecpar->codec_id);
    if (decoder == nullptr)
        throw FileError(filePath, "holds sound of a kind that cannot be decoded: " + name);
    codec.reset(avcodec_alloc_context3(decoder));
    if (!codec || avcodec_parameters_to_context(codec.get(), stream.codecpar) < 0)
        throw std::bad_alloc();
    codec->pkt_timebase = stream.time_base;
    codec->err_recognition = AV_EF_CRCCHECK | AV_EF_CAREFUL;
    const int result = avcodec_open2(codec.get(), decoder, nullptr);
    if (result < 0)
        throw FileError(filePath, fmt::format("cannot be decoded as {}: {}", name, textOf(result)));
}

std::int64_t MediaSource::decode(std::span<float> interleaved, std::int64_t frames)
{
    const auto step = static_cast<std::size_t>(shape.channels);
    while (silence == 0 && readyStart == ready.size() && receive())
    {
    }
    if (silence > 0)
    {
        const auto silent = std::min(frames, silence);
        std::ranges::fill(interleaved.first(static_cast<std::size_t>(silent) * step), 0.0F);
        silence -= silent;
        return silent;
    }
    const auto there = (ready.size() - readyStart) / step;
    const auto count = std::min(static_cast<std::size_t>(frames), there);
    std::copy_n(ready.begin() + static_cast<std::ptrdiff_t>(readyStart), count * step,
                interleaved.begin());
    readyStart += count * step;
    return static_cast<std::int64_t>(count);
}

/// Decodes the next frame; false at the end.
bool MediaSource::receive()
{
    ready.clear();
    readyStart = 0;
    const int result = avcodec_receive_frame(codec.get(), frame.get());
    if (result == AVERROR(EAGAIN))
        return sendNext();
    if (result == AVERROR_EOF)
    {
        compareWithStatedLength();
        return false;
    }
    if (result < 0)
    {
        noteDamage(textOf(result));
        return sendNext();
    }
    if (frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0)
        noteDamage("a frame is damaged");
    take(*frame);
    av_frame_unref(frame.get());
    return true;
}

bool MediaSource::sendNext()
{
    if (isAtEnd)
        return false;
    bool isRead = false;
    do
    {
        av_packet_unref(packet.get());
        isRead = file->read(*packet);
    } while (isRead && packet->stream_index != number);
    isAtEnd = !isRead;
    if (isRead)
        endOfPackets = std::max(endOfPackets, packet->pos + packet->size);
    noteDamage(file->getError());
    DamageListener listener;
    const int result = avcodec_send_packet(codec.get(), isRead ? packet.get() : nullptr);
    av_packet_unref(packet.get());
    if (const auto text = listener.take(); !text.empty())
        noteDamage(text);
    if (result < 0 && result != AVERROR_EOF)
        noteDamage(textOf(result));
    return true;
}

/// Only some containers tell how long each stream is.
void MediaSource::compareWithStatedLength()
{
    const auto rest = fileSizeOf(descriptor) - endOfPackets;
    if (isBare() && rest > 0)
        noteDamage(fmt::format("{} bytes at its end are not read", rest));
    const auto& stream = *file->get()->streams[number];
    const bool tells = file->getName() == "MP4" || file->getName() == "AVI";
    const bool isAlone = file->getName() == "WMA" && file->get()->nb_streams == 1;
    const bool isExact = av_get_exact_bits_per_sample(codec->codec_id) > 0;
    const double tolerance =
        isExact ? 0.001 : (isAlone ? 0.1 : 0.2); // of delays and of times in milliseconds
    double stated = 0.0;
    // The length of an AVI stream is a guess from bytes where its header counts blocks.
    const auto length = file->getName() == "AVI" ? stream.nb_frames : stream.duration;
    if (tells && length > 0)
        stated = static_cast<double>(length) * av_q2d(stream.time_base);
    else if (isAlone && file->get()->duration > 0)
        stated = static_cast<double>(file->get()->duration) / AV_TIME_BASE;
    const double there = static_cast<double>(position) / shape.sampleRate;
    if (there + tolerance < stated)
        noteDamage(fmt::format("only {:.1f} of {:.1f} s could be decoded", there, stated));
}

/// Whether the file is nothing but packets, one behind the other.
bool MediaSource::isBare() const
{
    constexpr std::array<std::string_view, 4> names{"aac", "ac3", "eac3", "dts"};
    return std::ranges::find(names, file->get()->iformat->name) != names.end();
}

double MediaSource::getStartTime() const
{
    return startTime;
}

void MediaSource::noteDamage(const std::string& text)
{
    if (damage.empty() && !text.empty())
        damage = fmt::format("it is damaged from about {:.1f} s on: {}",
                             static_cast<double>(position) / std::max(codec->sample_rate, 1), text);
}

void MediaSource::take(AVFrame& taken)
{
    const bool isLikeFirst =
        taken.ch_layout.nb_channels == shape.channels && taken.sample_rate == shape.sampleRate;
    if (!isLikeFirst)
    {
        noteDamage("its channels or sample rate change");
        isAtEnd = true;
        avcodec_flush_buffers(codec.get());
        return;
    }
    placeInTime(taken);
    convert(taken);
}

/// Puts silence where the times leave a gap.
void MediaSource::placeInTime(const AVFrame& taken)
{
    if (taken.best_effort_timestamp == AV_NOPTS_VALUE)
        return;
    const auto time = av_rescale_q(taken.best_effort_timestamp, codec->pkt_timebase,
                                   AVRational{1, shape.sampleRate});
    if (!firstTime)
    {
        firstTime = time - position;
        startTime = static_cast<double>(*firstTime) / shape.sampleRate;
    }
    const auto gap = static_cast<double>(time - *firstTime - position);
    if (gap < smallestGap * shape.sampleRate || gap > longestGap * shape.sampleRate)
        return;
    silence = static_cast<std::int64_t>(gap);
    silentFrames += silence;
    mostSilentFrames = std::max(mostSilentFrames, silentFrames);
    position += silence;
}

void MediaSource::convert(AVFrame& taken)
{
    if (converter == nullptr)
    {
        const int result = swr_alloc_set_opts2(
            &converter, &taken.ch_layout, AV_SAMPLE_FMT_FLT, taken.sample_rate, &taken.ch_layout,
            static_cast<AVSampleFormat>(taken.format), taken.sample_rate, 0, nullptr);
        if (result < 0 || swr_init(converter) < 0)
            throw FileError(filePath, "cannot be decoded: its samples are of an unknown kind");
    }
    ready.resize(static_cast<std::size_t>(taken.nb_samples) *
                 static_cast<std::size_t>(taken.ch_layout.nb_channels));
    auto* target = reinterpret_cast<std::uint8_t*>(ready.data());
    const int got =
        swr_convert(converter, &target, taken.nb_samples,
                    const_cast<const std::uint8_t**>(taken.extended_data), taken.nb_samples);
    ready.resize(static_cast<std::size_t>(std::max(got, 0)) *
                 static_cast<std::size_t>(taken.ch_layout.nb_channels));
    position += std::max(got, 0);
}

std::vector<FileNote> MediaSource::getNotes() const
{
    std::vector<FileNote> notes;
    if (!damage.empty())
        notes.push_back({damage, true});
    if (const auto text = missingIn(descriptor); !text.empty())
        notes.push_back({text, true});
    // The sound of a film may pause; a recording has no reason to.
    const bool isFilm =
        av_find_best_stream(file->get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0) >= 0;
    if (mostSilentFrames > 0)
        notes.push_back({fmt::format("its times leave out {:.2f} s, which are silent",
                                     static_cast<double>(mostSilentFrames) / shape.sampleRate),
                         !isFilm});
    if (!wanted && file->getSoundStreams().size() > 1)
        notes.push_back({fmt::format("it holds {} streams of sound, of which a recording takes "
                                     "one; write a film to keep them",
                                     file->getSoundStreams().size()),
                         true});
    return notes;
}

} // namespace kalim::media
