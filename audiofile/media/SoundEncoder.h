#pragma once

#include "audiofile/AudioFileReader.h"
#include "audiofile/media/FilmWriter.h"
#include "audiofile/media/MediaFile.h"

extern "C"
{
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
}

#include <functional>

namespace kalim::media
{

/// Encodes one stream of new sound, as far as asked for.
class SoundEncoder
{
public:
    using Write = std::function<void(AVPacket&)>;

    /// The channels are those of the stream that is replaced. Throws FileError.
    SoundEncoder(const NewSound& sound, AVCodecID codecId, const AVChannelLayout& layout,
                 bool wantsGlobalHeader);
    ~SoundEncoder();

    SoundEncoder(const SoundEncoder&) = delete;
    SoundEncoder& operator=(const SoundEncoder&) = delete;

    const AVCodecContext& getCodec() const { return *codec; }

    /// Encodes what sounds before a time in seconds, or all that is left.
    void encodeUntil(double time, const Write& write);

private:
    void openCodec(AVCodecID codecId, const AVChannelLayout& layout, bool wantsGlobalHeader);
    void chooseSampleFormat(const AVCodec& encoder);
    bool fill(int wanted);
    void encode(int count, const Write& write);
    void receive(const Write& write);

    AudioFileReader reader;
    AudioFileFormat original;
    Codec codec;
    SwrContext* converter = nullptr;
    AVAudioFifo* fifo = nullptr;
    std::vector<float> samples;
    Packet packet{av_packet_alloc()};
    std::int64_t nextTime = 0;
    bool isRead = false;
    bool isFinished = false;
};

} // namespace kalim::media
