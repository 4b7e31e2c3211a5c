#include "kalim/streams/InputSpool.h"

#include "base/FileError.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

namespace kalim::program
{
namespace
{

/// Bytes that are read at once, whole samples of every kind.
constexpr std::size_t readAtOnce = 3 << 18;

FileDescriptor openNameless(const std::filesystem::path& folder)
{
    FileDescriptor file(open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file.isOpen())
        return file;
    // Not every file system can.
    std::string name = folder / ".kalim-XXXXXX";
    FileDescriptor named(mkostemp(name.data(), O_CLOEXEC));
    if (!named.isOpen())
        throw FileError(folder, errno);
    unlink(name.c_str());
    return named;
}

/// As many bytes as there are, fewer than wanted only at the end.
std::size_t readPiece(int descriptor, std::span<std::byte> bytes, const std::string& name)
{
    std::size_t done = 0;
    while (done < bytes.size())
    {
        const ssize_t got = read(descriptor, bytes.data() + done, bytes.size() - done);
        if (got < 0 && errno != EINTR)
            throw FileError(name, errno);
        if (got == 0)
            break;
        done += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    return done;
}

} // namespace

std::filesystem::path findScratchFolder()
{
    std::error_code failed;
    const auto folder = std::filesystem::temp_directory_path(failed);
    return failed ? std::filesystem::path("/tmp") : folder;
}

InputSpool::InputSpool(int descriptor, const std::string& name, const std::optional<RawFormat>& raw,
                       bool mayBeCut)
    : file(openNameless(findScratchFolder()))
{
    if (raw)
        write(makeWavHeader(*raw, 0));
    copy(descriptor, name, raw);
    if (raw)
        completeRaw(name, *raw, mayBeCut);
}

std::filesystem::path InputSpool::getPath() const
{
    return fmt::format("/proc/self/fd/{}", file.get());
}

void InputSpool::copy(int descriptor, const std::string& name, const std::optional<RawFormat>& raw)
{
    std::vector<std::byte> piece(readAtOnce);
    while (const std::size_t count = readPiece(descriptor, piece, name))
    {
        const auto bytes = std::span(piece).first(count);
        if (raw)
            exchangeWithWav(bytes, raw->samples);
        write(bytes);
    }
}

void InputSpool::write(std::span<const std::byte> bytes) const
{
    if (const int error = writeBytes(file.get(), bytes))
        throw FileError(findScratchFolder(), error);
}

void InputSpool::completeRaw(const std::string& name, const RawFormat& raw, bool mayBeCut) const
{
    const std::int64_t size = fileSizeOf(file.get()) - static_cast<std::int64_t>(wavHeaderSize);
    const std::int64_t rest = size % raw.getBytesPerFrame();
    if (size == 0)
        throw FileError(name, "is empty");
    if (rest != 0 && !mayBeCut)
        throw FileError(name, fmt::format("{} bytes are no whole frames of {} bytes; another "
                                          "--raw, or --salvage leaves the rest out",
                                          size, raw.getBytesPerFrame()));
    if (ftruncate(file.get(), static_cast<off_t>(wavHeaderSize) + size - rest) != 0)
        throw FileError(findScratchFolder(), errno);
    writeBytesAt(file.get(), 0, makeWavHeader(raw, size - rest));
}

} // namespace kalim::program
