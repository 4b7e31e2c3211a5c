#include "audiofile/media/FilmWriter.h"

#include "audiofile/media/SoundEncoder.h"
#include "base/FileError.h"
#include "base/Text.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <map>
#include <memory>
#include <string_view>

namespace kalim::media
{
namespace
{

struct Container
{
    std::string_view ending;
    const char* muxer;
    const char* display;
    AVCodecID lossy;
    AVCodecID lossless;
};

constexpr std::array containers{
    Container{".mp4", "mp4", "MP4", AV_CODEC_ID_AAC, AV_CODEC_ID_ALAC},
    Container{".m4v", "mp4", "MP4", AV_CODEC_ID_AAC, AV_CODEC_ID_ALAC},
    Container{".m4a", "ipod", "M4A", AV_CODEC_ID_AAC, AV_CODEC_ID_ALAC},
    Container{".mov", "mov", "MOV", AV_CODEC_ID_AAC, AV_CODEC_ID_ALAC},
    Container{".mkv", "matroska", "Matroska", AV_CODEC_ID_FLAC, AV_CODEC_ID_FLAC},
    Container{".mka", "matroska", "Matroska", AV_CODEC_ID_FLAC, AV_CODEC_ID_FLAC},
    Container{".webm", "webm", "WebM", AV_CODEC_ID_OPUS, AV_CODEC_ID_OPUS},
};

const Container* containerOf(const std::filesystem::path& path)
{
    const auto ending = lowered(path.extension().native());
    const auto* found = std::ranges::find(containers, ending, &Container::ending);
    return found == containers.end() ? nullptr : found;
}

FileDescriptor openFilm(const std::filesystem::path& path)
{
    FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen())
        throw FileError(path, errno);
    return file;
}

/// Copies packets of one film into another while new sound is encoded beside them.
class FilmCopy
{
public:
    FilmCopy(const std::filesystem::path& film, OutputFile& outputFile,
             const std::vector<NewSound>& newSounds)
        : output(outputFile)
        , container(*containerOf(outputFile.getTarget()))
        , descriptor(openFilm(film))
        , input(film, descriptor.get())
        , sounds(newSounds)
    {
        openOutput();
        for (unsigned i = 0; i < input.get()->nb_streams; ++i)
            addStream(static_cast<int>(i));
        copyDescriptions();
    }

    ~FilmCopy()
    {
        if (io != nullptr)
            av_freep(&io->buffer);
        avio_context_free(&io);
        avformat_free_context(context);
    }

    FilmCopy(const FilmCopy&) = delete;
    FilmCopy& operator=(const FilmCopy&) = delete;

    WrittenFilm write()
    {
        require(avformat_write_header(context, nullptr));
        Packet packet(av_packet_alloc());
        while (input.read(*packet))
        {
            copyPacket(*packet);
            av_packet_unref(packet.get());
        }
        encodeUntil(std::numeric_limits<double>::infinity());
        require(av_write_trailer(context));
        avio_flush(io);
        require(io->error);
        if (!input.getError().empty())
            losses.push_back("the film is damaged: " + input.getError());
        const auto coding =
            encoders.empty() ? std::string()
                             : std::string(" ") +
                                   avcodec_get_name(encoders.begin()->second->getCodec().codec_id);
        return {container.display + coding, losses};
    }

private:
    void require(int result) const
    {
        if (ioError != 0)
            throw FileError(output.getTarget(), ioError);
        if (result < 0)
            throw FileError(output.getTarget(), fmt::format("cannot be written as {}: {}",
                                                            container.display, textOf(result)));
    }

    void openOutput()
    {
        require(avformat_alloc_output_context2(&context, nullptr, container.muxer, nullptr));
        constexpr int ioBytes = 1 << 16;
        auto* const buffer = static_cast<unsigned char*>(av_malloc(ioBytes));
        io = avio_alloc_context(buffer, ioBytes, 1, this, nullptr, &FilmCopy::writeSome,
                                &FilmCopy::moveTo);
        if (io == nullptr)
            throw std::bad_alloc();
        context->pb = io;
        context->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_BITEXACT;
    }

    static int writeSome(void* user, std::uint8_t* data, int count)
    {
        auto& self = *static_cast<FilmCopy*>(user);
        const std::span<const std::uint8_t> bytes(data, static_cast<std::size_t>(count));
        self.ioError = writeBytes(self.output.getDescriptor(), std::as_bytes(bytes));
        return self.ioError == 0 ? count : AVERROR(self.ioError);
    }

    static std::int64_t moveTo(void* user, std::int64_t offset, int whence)
    {
        const int file = static_cast<FilmCopy*>(user)->output.getDescriptor();
        if ((whence & AVSEEK_SIZE) != 0)
            return fileSizeOf(file);
        return lseek(file, offset, whence);
    }

    void addStream(int number)
    {
        const auto& source = *input.get()->streams[number];
        const auto* const sound = soundOf(number);
        const auto type = source.codecpar->codec_type;
        if (sound == nullptr && (type == AVMEDIA_TYPE_DATA || type == AVMEDIA_TYPE_UNKNOWN))
        {
            // Chapters are written anew, and so are time codes, from the descriptions.
            const bool isRemade = source.codecpar->codec_id == AV_CODEC_ID_BIN_DATA ||
                                  source.codecpar->codec_tag == MKTAG('t', 'm', 'c', 'd');
            if (!isRemade)
                losses.push_back(fmt::format("not kept in the {} file: stream {} of data",
                                             container.display, number));
            return;
        }
        auto* const stream = avformat_new_stream(context, nullptr);
        if (stream == nullptr)
            throw std::bad_alloc();
        targets[number] = stream->index;
        if (sound != nullptr)
            addSound(*sound, source, *stream);
        else
            addCopy(number, source, *stream);
        stream->disposition = source.disposition;
        av_dict_copy(&stream->metadata, source.metadata, 0);
    }

    const NewSound* soundOf(int number) const
    {
        const auto found = std::ranges::find(sounds, number, &NewSound::stream);
        return found == sounds.end() ? nullptr : &*found;
    }

    void addSound(const NewSound& sound, const AVStream& source, AVStream& stream)
    {
        const auto bits = integerBitsOf(sound.original.getSubtype());
        auto encoder = std::make_unique<SoundEncoder>(
            sound, bits ? container.lossless : container.lossy, source.codecpar->ch_layout,
            (context->oformat->flags & AVFMT_GLOBALHEADER) != 0);
        require(avcodec_parameters_from_context(stream.codecpar, &encoder->getCodec()));
        stream.time_base = encoder->getCodec().time_base;
        encoders.emplace(stream.index, std::move(encoder));
    }

    void addCopy(int number, const AVStream& source, AVStream& stream)
    {
        const auto id = source.codecpar->codec_id;
        if (avformat_query_codec(context->oformat, id, FF_COMPLIANCE_NORMAL) == 0)
            throw FileError(output.getTarget(),
                            fmt::format("{} cannot hold stream {} of the film ({})",
                                        container.display, number, avcodec_get_name(id)));
        require(avcodec_parameters_copy(stream.codecpar, source.codecpar));
        const auto tag = source.codecpar->codec_tag;
        const auto* const tags = context->oformat->codec_tag;
        const bool isKnown = tags == nullptr || av_codec_get_id(tags, tag) == id;
        stream.codecpar->codec_tag = isKnown ? tag : 0;
        stream.time_base = source.time_base;
        stream.avg_frame_rate = source.avg_frame_rate;
        stream.r_frame_rate = source.r_frame_rate;
        stream.sample_aspect_ratio = source.sample_aspect_ratio;
        for (int i = 0; i < source.nb_side_data; ++i)
            if (auto* const data = av_stream_new_side_data(&stream, source.side_data[i].type,
                                                           source.side_data[i].size))
                std::copy_n(source.side_data[i].data, source.side_data[i].size, data);
    }

    void copyDescriptions()
    {
        const auto& from = *input.get();
        av_dict_copy(&context->metadata, from.metadata, 0);
        for (unsigned i = 0; i < from.nb_chapters; ++i)
        {
            auto** const list = static_cast<AVChapter**>(
                av_realloc_array(context->chapters, context->nb_chapters + 1, sizeof(AVChapter*)));
            auto* const chapter = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
            if (list == nullptr || chapter == nullptr)
                throw std::bad_alloc();
            context->chapters = list;
            *chapter = *from.chapters[i];
            chapter->metadata = nullptr;
            av_dict_copy(&chapter->metadata, from.chapters[i]->metadata, 0);
            list[context->nb_chapters++] = chapter;
        }
    }

    void copyPacket(AVPacket& packet)
    {
        const int from = packet.stream_index;
        const auto& source = *input.get()->streams[from];
        const auto target = targets.find(from);
        if (target == targets.end() || soundOf(from) != nullptr)
            return;
        if (packet.dts != AV_NOPTS_VALUE)
            encodeUntil(static_cast<double>(packet.dts) * av_q2d(source.time_base));
        auto& stream = *context->streams[target->second];
        av_packet_rescale_ts(&packet, source.time_base, stream.time_base);
        packet.stream_index = stream.index;
        packet.pos = -1;
        require(av_interleaved_write_frame(context, &packet));
    }

    /// Matroska takes the delay of Opus off its times once more than the encoder does.
    std::int64_t delayOf(const AVCodecContext& codec) const
    {
        const bool isMatroska =
            std::string_view(container.muxer) != "mp4" && codec.codec_id == AV_CODEC_ID_OPUS;
        return isMatroska ? codec.initial_padding : 0;
    }

    void encodeUntil(double time)
    {
        for (const auto& entry : encoders)
        {
            auto& stream = *context->streams[entry.first];
            const auto& codec = entry.second->getCodec();
            entry.second->encodeUntil(time,
                                      [&](AVPacket& packet)
                                      {
                                          packet.pts += delayOf(codec);
                                          packet.dts += delayOf(codec);
                                          av_packet_rescale_ts(&packet, codec.time_base,
                                                               stream.time_base);
                                          packet.stream_index = stream.index;
                                          require(av_interleaved_write_frame(context, &packet));
                                      });
        }
    }

    OutputFile& output;
    const Container& container;
    FileDescriptor descriptor;
    MediaFile input;
    const std::vector<NewSound>& sounds;
    AVFormatContext* context = nullptr;
    AVIOContext* io = nullptr;
    int ioError = 0;
    std::map<int, int> targets;
    std::map<int, std::unique_ptr<SoundEncoder>> encoders;
    std::vector<std::string> losses;
};

} // namespace

bool isFilmName(const std::filesystem::path& path)
{
    return containerOf(path) != nullptr;
}

std::vector<int> soundStreamsOf(const std::filesystem::path& film)
{
    const auto file = openFilm(film);
    auto numbers = MediaFile(film, file.get()).getSoundStreams();
    if (numbers.empty())
        throw FileError(film, "holds no sound");
    return numbers;
}

WrittenFilm writeFilm(const std::filesystem::path& film, OutputFile& output,
                      const std::vector<NewSound>& sounds)
{
    return FilmCopy(film, output, sounds).write();
}

} // namespace kalim::media
