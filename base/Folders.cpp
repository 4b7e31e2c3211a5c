#include "base/Folders.h"

#include <system_error>

namespace kalim
{

bool isFolder(const std::filesystem::path& path)
{
    std::error_code ignored;
    return std::filesystem::is_directory(path, ignored);
}

} // namespace kalim
