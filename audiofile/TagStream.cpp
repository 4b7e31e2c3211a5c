#include "audiofile/TagStream.h"

#include "audiofile/FileBytes.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <span>
#include <system_error>
#include <taglib/tbytevector.h>

namespace kalim
{

TagStream::TagStream(int fileDescriptor, bool isWritable)
    : descriptor(fileDescriptor)
    , canWrite(isWritable)
{
}

TagLib::ByteVector TagStream::readBlock(unsigned long length)
{
    const auto wanted = std::min<std::uint64_t>(length, static_cast<std::uint64_t>(this->length()));
    const auto bytes = readBytesAt(descriptor, position, static_cast<std::int64_t>(wanted));
    position += static_cast<long>(bytes.size());
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<unsigned>(bytes.size())};
}

void TagStream::write(std::int64_t offset, const char* bytes, std::size_t count)
{
    if (firstError != 0 || !canWrite)
        return;
    try
    {
        writeBytesAt(descriptor, offset, std::as_bytes(std::span(bytes, count)));
    }
    catch (const std::system_error& error)
    {
        firstError = error.code().value();
    }
}

void TagStream::writeBlock(const TagLib::ByteVector& data)
{
    write(position, data.data(), data.size());
    position += static_cast<long>(data.size());
}

void TagStream::move(std::int64_t from, std::int64_t to)
{
    constexpr std::int64_t bytesAtOnce = 1 << 20;
    const std::int64_t rest = std::max<std::int64_t>(length() - from, 0);
    for (std::int64_t done = 0; done < rest && firstError == 0;)
    {
        const auto count = std::min(bytesAtOnce, rest - done);
        // Upwards from the end, downwards from the start, so that nothing is overwritten unread.
        const auto offset = to > from ? rest - done - count : done;
        const auto bytes = readBytesAt(descriptor, from + offset, count);
        write(to + offset, reinterpret_cast<const char*>(bytes.data()), bytes.size());
        done += count;
    }
    if (to < from)
        truncate(static_cast<long>(to + rest));
}

void TagStream::insert(const TagLib::ByteVector& data, unsigned long start, unsigned long replace)
{
    const auto first = static_cast<std::int64_t>(start);
    move(first + static_cast<std::int64_t>(replace),
         first + static_cast<std::int64_t>(data.size()));
    position = static_cast<long>(first);
    writeBlock(data);
}

void TagStream::removeBlock(unsigned long start, unsigned long length)
{
    insert({}, start, length);
}

void TagStream::seek(long offset, Position from)
{
    const long base = from == Beginning ? 0 : (from == Current ? position : length());
    position = std::max(base + offset, 0L);
}

long TagStream::length()
{
    return static_cast<long>(fileSizeOf(descriptor));
}

void TagStream::truncate(long length)
{
    if (canWrite && firstError == 0 && ftruncate(descriptor, length) != 0)
        firstError = errno;
}

} // namespace kalim
