#include "audiofile/Mp3Source.h"

#include "audiofile/LibrarySource.h"
#include "base/FileError.h"

#include <fmt/format.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mpg123.h>
#include <system_error>
#include <utility>

namespace kalim
{
/// One run of the decoder through the stream.
class Mp3Source::Decoder
{
public:
    explicit Decoder(const FileRange& fileRange)
        : range(fileRange)
        , handle(mpg123_new(nullptr, nullptr))
    {
        if (!handle)
            throw std::bad_alloc();
        configure();
        mpg123_replace_reader_handle(handle.get(), &Decoder::readSome, &Decoder::moveTo, nullptr);
        isOpen = mpg123_open_handle(handle.get(), this) == MPG123_OK &&
                 mpg123_scan(handle.get()) == MPG123_OK &&
                 mpg123_getformat(handle.get(), &rate, &channels, &encoding) == MPG123_OK;
    }

    bool isUsable() const { return isOpen && rate > 0 && channels > 0; }

    int getChannels() const { return channels; }

    int getRate() const { return static_cast<int>(rate); }

    int getLayer() const
    {
        mpg123_frameinfo information{};
        mpg123_info(handle.get(), &information);
        return information.layer;
    }

    std::int64_t decode(std::span<float> interleaved, std::int64_t frames)
    {
        const auto frameBytes = sizeof(float) * static_cast<std::size_t>(channels);
        std::size_t done = 0;
        const int result = mpg123_read(handle.get(), interleaved.data(),
                                       static_cast<std::size_t>(frames) * frameBytes, &done);
        // Another format begins; what the stream had of the first is complete.
        isFailed = result != MPG123_OK && result != MPG123_DONE && result != MPG123_NEW_FORMAT;
        return static_cast<std::int64_t>(done / frameBytes);
    }

    bool seek(std::int64_t frame) { return mpg123_seek(handle.get(), frame, SEEK_SET) == frame; }

    std::string getError() const
    {
        if (ioError != 0)
            return std::generic_category().message(ioError);
        return isFailed ? mpg123_strerror(handle.get()) : "";
    }

private:
    void configure()
    {
        auto* const h = handle.get();
        mpg123_param(h, MPG123_REMOVE_FLAGS, MPG123_AUTO_RESAMPLE, 0.0);
        // Tags are read elsewhere, and damaged ones would be told of on standard error.
        mpg123_param(h, MPG123_ADD_FLAGS,
                     MPG123_QUIET | MPG123_FORCE_FLOAT | MPG123_GAPLESS | MPG123_SKIP_ID3V2, 0.0);
        constexpr long noLimit = -1;
        mpg123_param(h, MPG123_RESYNC_LIMIT, noLimit, 0.0);
        mpg123_format_none(h);
        const long* rates = nullptr;
        std::size_t count = 0;
        mpg123_rates(&rates, &count);
        for (std::size_t i = 0; i < count; ++i)
            mpg123_format(h, rates[i], MPG123_MONO | MPG123_STEREO, MPG123_ENC_FLOAT_32);
    }

    static ssize_t readSome(void* user, void* data, std::size_t count)
    {
        auto& self = *static_cast<Decoder*>(user);
        const auto rest = std::clamp<std::int64_t>(self.range.length - self.position, 0,
                                                   static_cast<std::int64_t>(count));
        const auto got = pread(self.range.descriptor, data, static_cast<std::size_t>(rest),
                               self.range.start + self.position);
        if (got < 0)
            self.ioError = errno;
        self.position += std::max<ssize_t>(got, 0);
        return got;
    }

    static off_t moveTo(void* user, off_t offset, int whence)
    {
        auto& self = *static_cast<Decoder*>(user);
        const auto base =
            whence == SEEK_SET ? 0 : (whence == SEEK_CUR ? self.position : self.range.length);
        if (base + offset < 0)
            return -1;
        return self.position = base + offset;
    }

    struct Closer
    {
        void operator()(mpg123_handle* closed) const { mpg123_delete(closed); }
    };

    FileRange range;
    std::int64_t position = 0;
    std::unique_ptr<mpg123_handle, Closer> handle;
    long rate = 0;
    int channels = 0;
    int encoding = 0;
    int ioError = 0;
    bool isOpen = false;
    bool isFailed = false;
};

Mp3Source::Mp3Source(std::filesystem::path path, const FileRange& fileRange)
    : filePath(std::move(path))
    , range(fileRange)
{
    restart();
    constexpr std::array subtypes{SF_FORMAT_MPEG_LAYER_I, SF_FORMAT_MPEG_LAYER_II,
                                  SF_FORMAT_MPEG_LAYER_III};
    const auto layer = static_cast<std::size_t>(std::clamp(decoder->getLayer(), 1, 3));
    shape = {AudioFileFormat(SF_FORMAT_MPEG | subtypes[layer - 1]), decoder->getChannels(),
             decoder->getRate(), 0};
    countFrames();
    compareWithFrames();
    restart();
}

Mp3Source::~Mp3Source() = default;

void Mp3Source::restart()
{
    decoder = std::make_unique<Decoder>(range);
    const bool isChanged = shape.channels != 0 && (decoder->getChannels() != shape.channels ||
                                                   decoder->getRate() != shape.sampleRate);
    if (isChanged)
        throw FileError(filePath, "was changed while it was read");
    if (!decoder->isUsable())
        throw FileError(filePath, "cannot be read as audio: no MPEG stream was found");
}

void Mp3Source::countFrames()
{
    constexpr std::int64_t framesAtOnce = 16384;
    std::vector<float> samples(static_cast<std::size_t>(framesAtOnce * shape.channels));
    while (const auto got = decoder->decode(samples, framesAtOnce))
        shape.frames += got;
    if (!decoder->getError().empty())
        notes.push_back(
            {fmt::format("cannot be decoded after {:.1f} s: {}",
                         static_cast<double>(shape.frames) / shape.sampleRate, decoder->getError()),
             true});
}

/// Holds what was decoded against the frames that are there.
void Mp3Source::compareWithFrames()
{
    const auto survey = surveyMp3(range);
    const double rate = shape.sampleRate;
    const auto perFrame = survey.samples / std::max<std::int64_t>(survey.frames, 1);
    // Encoders add up to two frames at each end, which the decoder takes off where it is told.
    const auto tolerance = (4 + survey.indexFrames) * perFrame;
    const auto sounding = survey.frames - survey.indexFrames;
    // Where other bytes were put into a frame its number is right all the same.
    const bool isComplete =
        survey.isStrayEmpty && survey.statedFrames && *survey.statedFrames <= sounding;
    if (survey.missingBytes > 0)
        notes.push_back(
            {fmt::format("the file is cut short: {} bytes of its last frame are missing",
                         survey.missingBytes),
             true});
    if (survey.changesAt)
        notes.push_back({fmt::format("its channels or sample rate change after {:.1f} s",
                                     static_cast<double>(*survey.changesAt) / rate),
                         true});
    else if (shape.frames + tolerance < survey.samples)
        notes.push_back({fmt::format("{:.1f} of {:.1f} s could be decoded",
                                     static_cast<double>(shape.frames) / rate,
                                     static_cast<double>(survey.samples) / rate),
                         true});
    if (survey.statedFrames && *survey.statedFrames > sounding)
        notes.push_back({fmt::format("{} of {} frames are missing", *survey.statedFrames - sounding,
                                     *survey.statedFrames),
                         true});
    else if (survey.strayBytes > 0)
        notes.push_back({fmt::format("{} bytes between its frames are no sound that can be decoded",
                                     survey.strayBytes),
                         !isComplete});
}

std::int64_t Mp3Source::decode(std::span<float> interleaved, std::int64_t frames)
{
    const auto got = decoder->decode(interleaved, frames);
    error = decoder->getError();
    return got;
}

bool Mp3Source::seek(std::int64_t frame)
{
    return decoder->seek(frame);
}

SNDFILE* Mp3Source::getHandle()
{
    try
    {
        if (!described)
            described = std::make_unique<LibrarySource>(filePath, range);
    }
    catch (const FileError&)
    {
        return nullptr;
    }
    return described->getHandle();
}

} // namespace kalim
