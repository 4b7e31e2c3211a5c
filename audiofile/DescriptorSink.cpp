#include "audiofile/DescriptorSink.h"

#include "audiofile/FileBytes.h"

#include <unistd.h>

namespace kalim
{
namespace
{

DescriptorSink& sinkOf(void* user)
{
    return *static_cast<DescriptorSink*>(user);
}

} // namespace

DescriptorSink::DescriptorSink(int fileDescriptor)
    : descriptor(fileDescriptor)
{
}

std::int64_t DescriptorSink::write(std::span<const std::byte> bytes)
{
    // Encoders that see a failure forget to give back their memory, so that they see none.
    if (firstError == 0)
        firstError = writeBytes(descriptor, bytes);
    return static_cast<std::int64_t>(bytes.size());
}

SF_VIRTUAL_IO DescriptorSink::functions()
{
    SF_VIRTUAL_IO io{};
    io.get_filelen = [](void* user) -> sf_count_t { return fileSizeOf(sinkOf(user).descriptor); };
    io.seek = [](sf_count_t offset, int whence, void* user) -> sf_count_t
    { return lseek(sinkOf(user).descriptor, offset, whence); };
    io.read = [](void* data, sf_count_t count, void* user) -> sf_count_t
    { return ::read(sinkOf(user).descriptor, data, static_cast<std::size_t>(count)); };
    io.write = [](const void* data, sf_count_t count, void* user) -> sf_count_t
    {
        const auto* bytes = static_cast<const std::byte*>(data);
        return sinkOf(user).write({bytes, static_cast<std::size_t>(count)});
    };
    io.tell = [](void* user) -> sf_count_t { return lseek(sinkOf(user).descriptor, 0, SEEK_CUR); };
    return io;
}

} // namespace kalim
