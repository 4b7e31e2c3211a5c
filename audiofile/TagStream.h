#pragma once

#include <cstdint>
#include <taglib/tiostream.h>

namespace kalim
{

/// An open file as the tag library sees it. The descriptor is not owned, and its position stays as
/// it is. The library looks at no errors of writing: ask for them afterwards.
class TagStream : public TagLib::IOStream
{
public:
    TagStream(int fileDescriptor, bool isWritable);

    TagLib::FileName name() const override { return ""; }

    TagLib::ByteVector readBlock(unsigned long length) override;
    void writeBlock(const TagLib::ByteVector& data) override;
    void insert(const TagLib::ByteVector& data, unsigned long start,
                unsigned long replace) override;
    void removeBlock(unsigned long start, unsigned long length) override;

    bool readOnly() const override { return !canWrite; }

    bool isOpen() const override { return true; }

    void seek(long offset, Position from) override;

    void clear() override {}

    long tell() const override { return position; }

    long length() override;
    void truncate(long length) override;

    /// Number of the first error of the system, 0 when all went well.
    int getError() const { return firstError; }

private:
    void write(std::int64_t offset, const char* bytes, std::size_t count);
    void move(std::int64_t from, std::int64_t to);

    int descriptor;
    bool canWrite;
    long position = 0;
    int firstError = 0;
};

} // namespace kalim
