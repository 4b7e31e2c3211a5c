#include "tools/kalim/files/DescriptorSink.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace kalim::program
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

void DescriptorSink::note(int error)
{
    if (firstError == 0)
        firstError = error;
}

std::int64_t DescriptorSink::write(const char* data, std::int64_t count)
{
    std::int64_t done = 0;
    while (done < count)
    {
        const auto written =
            ::write(descriptor, data + done, static_cast<std::size_t>(count - done));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
        {
            note(written < 0 ? errno : ENOSPC);
            break;
        }
        done += written;
    }
    return done;
}

SF_VIRTUAL_IO DescriptorSink::functions()
{
    SF_VIRTUAL_IO io{};
    io.get_filelen = [](void* user) -> sf_count_t
    {
        struct stat status
        {
        };
        return fstat(sinkOf(user).descriptor, &status) == 0 ? status.st_size : -1;
    };
    io.seek = [](sf_count_t offset, int whence, void* user) -> sf_count_t
    { return lseek(sinkOf(user).descriptor, offset, whence); };
    io.read = [](void* data, sf_count_t count, void* user) -> sf_count_t
    { return ::read(sinkOf(user).descriptor, data, static_cast<std::size_t>(count)); };
    io.write = [](const void* data, sf_count_t count, void* user) -> sf_count_t
    { return sinkOf(user).write(static_cast<const char*>(data), count); };
    io.tell = [](void* user) -> sf_count_t { return lseek(sinkOf(user).descriptor, 0, SEEK_CUR); };
    return io;
}

} // namespace kalim::program
