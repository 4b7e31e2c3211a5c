#include "audiofile/media/SoundEncoder.h"

#include "base/FileError.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace kalim::media
{
namespace
{

/// Re-encoding should add nothing audible.
constexpr std::int64_t bitsPerSecondAndChannel = 160000;

constexpr int usualFrame = 4096;

void require(int result, const std::filesystem::path& path, const char* what)
{
    if (result < 0)
        throw FileError(path, fmt::format("{}: {}", what, textOf(result)));
}

int nearestRate(const AVCodec& encoder, int rate)
{
    if (encoder.supported_samplerates == nullptr)
        return rate;
    int highest = 0;
    for (const int* known = encoder.supported_samplerates; *known != 0; ++known)
    {
        if (*known == rate)
            return rate;
        highest = std::max(highest, *known);
    }
    return highest;
}

} // namespace

SoundEncoder::SoundEncoder(const NewSound& sound, AVCodecID codecId, const AVChannelLayout& layout,
                           bool wantsGlobalHeader)
    : reader(sound.samples)
    , original(sound.original)
{
    openCodec(codecId, layout, wantsGlobalHeader);
    require(swr_alloc_set_opts2(&converter, &codec->ch_layout, codec->sample_fmt,
                                codec->sample_rate, &codec->ch_layout, AV_SAMPLE_FMT_FLT,
                                reader.getSampleRate(), 0, nullptr),
            reader.getPath(), "cannot be converted");
    require(swr_init(converter), reader.getPath(), "cannot be converted");
    fifo = av_audio_fifo_alloc(codec->sample_fmt, codec->ch_layout.nb_channels, usualFrame);
    if (fifo == nullptr)
        throw std::bad_alloc();
    nextTime = std::llround(sound.startTime * codec->sample_rate);
}

SoundEncoder::~SoundEncoder()
{
    swr_free(&converter);
    if (fifo != nullptr)
        av_audio_fifo_free(fifo);
}

void SoundEncoder::openCodec(AVCodecID codecId, const AVChannelLayout& layout,
                             bool wantsGlobalHeader)
{
    const auto* const encoder = codecId == AV_CODEC_ID_OPUS
                                    ? avcodec_find_encoder_by_name("libopus")
                                    : avcodec_find_encoder(codecId);
    if (encoder == nullptr)
        throw FileError(reader.getPath(), fmt::format("FFmpeg's libraries cannot encode {} here",
                                                      avcodec_get_name(codecId)));
    codec.reset(avcodec_alloc_context3(encoder));
    if (!codec)
        throw std::bad_alloc();
    const bool isKnown = layout.order != AV_CHANNEL_ORDER_UNSPEC;
    if (isKnown && layout.nb_channels == reader.getNumChannels())
        av_channel_layout_copy(&codec->ch_layout, &layout);
    else
        av_channel_layout_default(&codec->ch_layout, reader.getNumChannels());
    codec->sample_rate = nearestRate(*encoder, reader.getSampleRate());
    codec->time_base = {1, codec->sample_rate};
    codec->bit_rate = bitsPerSecondAndChannel * reader.getNumChannels();
    chooseSampleFormat(*encoder);
    if (wantsGlobalHeader)
        codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    require(avcodec_open2(codec.get(), encoder, nullptr), reader.getPath(),
            "its sound cannot be encoded");
}

/// The finest that the encoder takes, but no more than a lossless original had.
void SoundEncoder::chooseSampleFormat(const AVCodec& encoder)
{
    const auto bits = integerBitsOf(original.getSubtype());
    const bool isShort = bits && *bits <= 16;
    codec->sample_fmt = encoder.sample_fmts[0];
    for (const auto* format = encoder.sample_fmts; *format != AV_SAMPLE_FMT_NONE; ++format)
    {
        const auto packed = av_get_packed_sample_fmt(*format);
        if (packed == AV_SAMPLE_FMT_FLT || (packed == AV_SAMPLE_FMT_S32 && !isShort) ||
            (packed == AV_SAMPLE_FMT_S16 && isShort))
            codec->sample_fmt = *format;
    }
    if (av_get_packed_sample_fmt(codec->sample_fmt) == AV_SAMPLE_FMT_S32)
        codec->bits_per_raw_sample = 24;
}

/// Reads until so many samples wait; false at the end.
bool SoundEncoder::fill(int wanted)
{
    while (!isRead && av_audio_fifo_size(fifo) < wanted)
    {
        samples.resize(static_cast<std::size_t>(usualFrame * reader.getNumChannels()));
        const auto got = static_cast<int>(reader.read(samples));
        isRead = got == 0;
        const auto room = swr_get_out_samples(converter, got);
        Frame converted(av_frame_alloc());
        converted->nb_samples = std::max(room, 1);
        converted->format = codec->sample_fmt;
        av_channel_layout_copy(&converted->ch_layout, &codec->ch_layout);
        require(av_frame_get_buffer(converted.get(), 0), reader.getPath(), "cannot be encoded");
        const auto* source = reinterpret_cast<const std::uint8_t*>(samples.data());
        const int count = swr_convert(converter, converted->extended_data, converted->nb_samples,
                                      isRead ? nullptr : &source, got);
        require(count, reader.getPath(), "cannot be converted");
        av_audio_fifo_write(fifo, reinterpret_cast<void**>(converted->extended_data), count);
    }
    return av_audio_fifo_size(fifo) >= wanted;
}

void SoundEncoder::encode(int count, const Write& write)
{
    Frame frame(av_frame_alloc());
    frame->nb_samples = count;
    frame->format = codec->sample_fmt;
    frame->sample_rate = codec->sample_rate;
    av_channel_layout_copy(&frame->ch_layout, &codec->ch_layout);
    require(av_frame_get_buffer(frame.get(), 0), reader.getPath(), "cannot be encoded");
    av_audio_fifo_read(fifo, reinterpret_cast<void**>(frame->extended_data), count);
    frame->pts = nextTime;
    nextTime += count;
    require(avcodec_send_frame(codec.get(), frame.get()), reader.getPath(), "cannot be encoded");
    receive(write);
}

void SoundEncoder::receive(const Write& write)
{
    while (avcodec_receive_packet(codec.get(), packet.get()) >= 0)
    {
        write(*packet);
        av_packet_unref(packet.get());
    }
}

void SoundEncoder::encodeUntil(double time, const Write& write)
{
    const int frameSize = codec->frame_size > 0 ? codec->frame_size : usualFrame;
    while (!isFinished && static_cast<double>(nextTime) / codec->sample_rate <= time)
    {
        if (fill(frameSize))
        {
            encode(frameSize, write);
            continue;
        }
        if (const int rest = av_audio_fifo_size(fifo); rest > 0)
            encode(rest, write);
        avcodec_send_frame(codec.get(), nullptr);
        receive(write);
        isFinished = true;
    }
}

} // namespace kalim::media
