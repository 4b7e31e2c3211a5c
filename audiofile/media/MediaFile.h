#pragma once

#include "audiofile/SampleSource.h"

extern "C"
{
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
}

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace kalim::media
{

struct PacketCloser
{
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

struct FrameCloser
{
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

struct CodecCloser
{
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};

using Packet = std::unique_ptr<AVPacket, PacketCloser>;
using Frame = std::unique_ptr<AVFrame, FrameCloser>;
using Codec = std::unique_ptr<AVCodecContext, CodecCloser>;

/// What an error number of the library means.
std::string textOf(int error);

/// A film or recording, open for reading its packets. Reads nothing but the open file, whatever
/// that names.
class MediaFile
{
public:
    /// The descriptor is not owned. Throws FileError when the file is none that is known.
    MediaFile(const std::filesystem::path& path, int descriptor);
    ~MediaFile();

    MediaFile(const MediaFile&) = delete;
    MediaFile& operator=(const MediaFile&) = delete;

    AVFormatContext* get() const { return context; }

    /// Numbers of the streams of sound.
    std::vector<int> getSoundStreams() const;

    /// The next packet of any stream; false at the end and where getError() tells why.
    bool read(AVPacket& packet);

    /// What went wrong since the file was opened, empty if nothing did.
    const std::string& getError() const { return error; }

    /// "MP4", "Matroska"; short enough for a message.
    std::string getName() const;

private:
    struct Input;

    void open(const std::filesystem::path& path);

    std::unique_ptr<Input> input;
    AVIOContext* io = nullptr;
    AVFormatContext* context = nullptr;
    std::string error;
};

/// Counts what the library says of damage while it lives, on this thread.
class DamageListener
{
public:
    DamageListener();
    ~DamageListener();

    DamageListener(const DamageListener&) = delete;
    DamageListener& operator=(const DamageListener&) = delete;

    /// The first line since the last call, empty if there was none.
    std::string take();
};

} // namespace kalim::media
