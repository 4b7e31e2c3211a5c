#include "audiofile/LibrarySource.h"

#include "audiofile/FileBytes.h"
#include "base/FileError.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <system_error>
#include <utility>

namespace kalim
{
namespace
{

std::string messageOf(SNDFILE* sound)
{
    // A header that lies makes the library seek in vain, of which it tells as of a missing file.
    if (sf_error(sound) == SF_ERR_SYSTEM)
        return "its header is damaged";
    std::string message = sf_strerror(sound);
    if (message.find("does not exist") != std::string::npos)
        return "its header is damaged";
    while (!message.empty() && (message.back() == '.' || message.back() == '\n'))
        message.pop_back();
    return message;
}

/// The sound library lets the decoder remark on descriptions on standard error, and has no switch
/// for that.
class SilentStandardError
{
public:
    SilentStandardError()
        : lock(mutex)
        , kept(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0))
        , nothing(open("/dev/null", O_WRONLY | O_CLOEXEC))
    {
        if (kept.isOpen() && nothing.isOpen())
            dup2(nothing.get(), STDERR_FILENO);
    }

    ~SilentStandardError()
    {
        if (kept.isOpen())
            dup2(kept.get(), STDERR_FILENO);
    }

    SilentStandardError(const SilentStandardError&) = delete;
    SilentStandardError& operator=(const SilentStandardError&) = delete;

private:
    static inline std::mutex mutex;
    std::lock_guard<std::mutex> lock;
    FileDescriptor kept;
    FileDescriptor nothing;
};

/// Whether the library will give the file to its decoder of MPEG audio.
bool isLikeMpeg(const FileRange& range)
{
    const auto start = readBytesAt(range.descriptor, range.start, 3);
    return asText(start).starts_with("ID3") || asText(start).starts_with("\xff");
}

} // namespace

LibrarySource::LibrarySource(std::filesystem::path path, const FileRange& range)
    : filePath(std::move(path))
    , input{range}
    , sound(open(info))
{
}

LibrarySource::LibrarySource(std::filesystem::path path, const FileRange& range,
                             const SF_INFO& rawFormat)
    : filePath(std::move(path))
    , input{range}
    , raw(rawFormat)
    , sound(open(info))
{
}

/// Errors of the disk are kept, because to the library they are the end of the file.
SF_VIRTUAL_IO LibrarySource::functions()
{
    SF_VIRTUAL_IO io{};
    io.get_filelen = [](void* user) -> sf_count_t
    { return static_cast<Input*>(user)->range.length; };
    io.seek = [](sf_count_t offset, int whence, void* user) -> sf_count_t
    {
        auto& in = *static_cast<Input*>(user);
        const auto base =
            whence == SEEK_SET ? 0 : (whence == SEEK_CUR ? in.position : in.range.length);
        sf_count_t target = 0;
        if (__builtin_add_overflow(base, offset, &target) || target < 0)
            return -1;
        return in.position = target;
    };
    io.read = [](void* data, sf_count_t count, void* user) -> sf_count_t
    {
        auto& in = *static_cast<Input*>(user);
        const auto rest = std::clamp<sf_count_t>(in.range.length - in.position, 0, count);
        const auto got = pread(in.range.descriptor, data, static_cast<std::size_t>(rest),
                               in.range.start + in.position);
        if (got < 0)
            in.error = errno;
        in.position += std::max<ssize_t>(got, 0);
        return std::max<ssize_t>(got, 0);
    };
    io.write = [](const void*, sf_count_t, void*) -> sf_count_t { return 0; };
    io.tell = [](void* user) -> sf_count_t { return static_cast<Input*>(user)->position; };
    return io;
}

SoundFileHandle LibrarySource::open(SF_INFO& opened)
{
    input.position = 0;
    opened = raw.value_or(SF_INFO{});
    auto io = functions();
    std::optional<SilentStandardError> silence;
    if (!raw && isLikeMpeg(input.range))
        silence.emplace();
    SoundFileHandle handle(sf_open_virtual(&io, SFM_READ, &opened, &input));
    if (input.error != 0)
        throw FileError(filePath, input.error);
    if (!handle)
        throw FileError(filePath, "cannot be read as audio: " + messageOf(nullptr));
    return handle;
}

SampleShape LibrarySource::getShape() const
{
    const bool isUnknown = info.frames == SF_COUNT_MAX || info.frames < 0;
    return {AudioFileFormat(info.format), info.channels, info.samplerate,
            isUnknown ? -1 : info.frames};
}

std::int64_t LibrarySource::decode(std::span<float> interleaved, std::int64_t frames)
{
    return std::max<std::int64_t>(sf_readf_float(sound.get(), interleaved.data(), frames), 0);
}

std::string LibrarySource::getError() const
{
    if (input.error != 0)
        return std::generic_category().message(input.error);
    return sf_error(sound.get()) == SF_ERR_NO_ERROR ? "" : messageOf(sound.get());
}

bool LibrarySource::seek(std::int64_t frame)
{
    return sf_seek(sound.get(), frame, SEEK_SET) == frame;
}

void LibrarySource::restart()
{
    SF_INFO again{};
    sound = open(again);
    if (again.channels != info.channels || again.samplerate != info.samplerate)
        throw FileError(filePath, "was changed while it was read");
}

} // namespace kalim
