#include "audiofile/media/MediaFile.h"

#include "audiofile/FileBytes.h"
#include "base/FileError.h"
#include "base/Text.h"

extern "C"
{
#include <libavutil/error.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
}

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <mutex>
#include <string_view>
#include <utility>

namespace kalim::media
{
namespace
{

/// Containers that people have; what reads play lists and further files is not among them.
constexpr const char* knownFormats =
    "mov,mp4,m4a,3gp,3g2,mj2,matroska,webm,asf,avi,ogg,wav,w64,aac,ac3,eac3,dts,flv,mpegts,mpeg,"
    "aiff,caf,flac,mp3,ape,wv,tta,amr,tak,mpc,mpc8,au";

/// Largest single piece of memory that the library may take.
constexpr std::size_t largestPiece = std::size_t{48} << 20;

constexpr int ioBytes = 65536;

thread_local std::string heard;
thread_local int listeners = 0;

void listen(void*, int level, const char* format, va_list values)
{
    if (level > AV_LOG_ERROR || listeners == 0 || !heard.empty())
        return;
    std::array<char, 200> line{};
    std::vsnprintf(line.data(), line.size(), format, values);
    heard = line.data();
    std::ranges::replace_if(
        heard, [](unsigned char c) { return c < 0x20 || c >= 0x7f; }, ' ');
    while (!heard.empty() && (heard.back() == ' ' || heard.back() == '.'))
        heard.pop_back();
}

void prepareLibrary()
{
    static std::once_flag flag;
    std::call_once(flag,
                   []
                   {
                       av_log_set_callback(listen);
                       av_max_alloc(largestPiece);
                   });
}

} // namespace

std::string textOf(int error)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return text.data();
}

DamageListener::DamageListener()
{
    ++listeners;
    heard.clear();
}

DamageListener::~DamageListener()
{
    --listeners;
}

std::string DamageListener::take()
{
    return std::exchange(heard, {});
}

struct MediaFile::Input
{
    int descriptor;
    std::int64_t position = 0;

    static int read(void* user, std::uint8_t* data, int count)
    {
        auto& self = *static_cast<Input*>(user);
        const auto got =
            pread(self.descriptor, data, static_cast<std::size_t>(count), self.position);
        if (got < 0)
            return AVERROR(errno);
        self.position += got;
        return got == 0 ? AVERROR_EOF : static_cast<int>(got);
    }

    static std::int64_t seek(void* user, std::int64_t offset, int whence)
    {
        auto& self = *static_cast<Input*>(user);
        const auto size = fileSizeOf(self.descriptor);
        if ((whence & AVSEEK_SIZE) != 0)
            return size;
        const auto base = whence == SEEK_SET ? 0 : (whence == SEEK_CUR ? self.position : size);
        std::int64_t target = 0;
        if (__builtin_add_overflow(base, offset, &target) || target < 0)
            return AVERROR(EINVAL);
        return self.position = target;
    }
};

MediaFile::MediaFile(const std::filesystem::path& path, int descriptor)
    : input(std::make_unique<Input>(Input{descriptor}))
{
    prepareLibrary();
    auto* const buffer = static_cast<unsigned char*>(av_malloc(ioBytes));
    io = avio_alloc_context(buffer, ioBytes, 0, input.get(), &Input::read, nullptr, &Input::seek);
    context = avformat_alloc_context();
    if (io == nullptr || context == nullptr)
        throw std::bad_alloc();
    context->pb = io;
    context->flags |= AVFMT_FLAG_CUSTOM_IO;
    av_opt_set(context, "format_whitelist", knownFormats, 0);
    av_opt_set(context, "protocol_whitelist", "none", 0);
    open(path);
}

void MediaFile::open(const std::filesystem::path& path)
{
    // A failure frees the context.
    int result = avformat_open_input(&context, nullptr, nullptr, nullptr);
    if (result >= 0)
        result = avformat_find_stream_info(context, nullptr);
    if (result >= 0)
        return;
    avformat_close_input(&context);
    if (io != nullptr)
        av_freep(&io->buffer);
    avio_context_free(&io);
    throw FileError(path, "cannot be read as audio: " + textOf(result));
}

MediaFile::~MediaFile()
{
    avformat_close_input(&context);
    if (io != nullptr)
        av_freep(&io->buffer);
    avio_context_free(&io);
}

std::vector<int> MediaFile::getSoundStreams() const
{
    std::vector<int> numbers;
    for (unsigned i = 0; i < context->nb_streams; ++i)
        if (context->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
            numbers.push_back(static_cast<int>(i));
    return numbers;
}

bool MediaFile::read(AVPacket& packet)
{
    DamageListener listener;
    const int result = av_read_frame(context, &packet);
    auto damage = listener.take();
    if (result < 0 && result != AVERROR_EOF)
        damage = textOf(result);
    if (result >= 0 && (packet.flags & AV_PKT_FLAG_CORRUPT) != 0)
        damage = "a packet is cut short";
    if (error.empty())
        error = damage;
    return result >= 0;
}

std::string MediaFile::getName() const
{
    const std::string_view name = context->iformat->name;
    if (name.starts_with("mov,"))
        return "MP4";
    if (name.starts_with("matroska"))
        return "Matroska";
    std::string upper(name.substr(0, name.find(',')));
    std::ranges::transform(upper, upper.begin(),
                           [](char c)
                           { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return upper == "ASF" ? "WMA" : upper;
}

} // namespace kalim::media
