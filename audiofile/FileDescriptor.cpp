#include "audiofile/FileDescriptor.h"

#include <unistd.h>

#include <utility>

namespace kalim
{

FileDescriptor::FileDescriptor(int descriptorToOwn)
    : descriptor(descriptorToOwn)
{
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1))
{
}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept
{
    if (this != &other)
    {
        close();
        descriptor = std::exchange(other.descriptor, -1);
    }
    return *this;
}

FileDescriptor::~FileDescriptor()
{
    close();
}

bool FileDescriptor::close()
{
    const int closing = std::exchange(descriptor, -1);
    return closing < 0 || ::close(closing) == 0;
}

} // namespace kalim
