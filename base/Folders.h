#pragma once

#include <filesystem>

namespace kalim
{

/// Whether a path leads to a folder; what cannot be looked at is none.
bool isFolder(const std::filesystem::path& path);

} // namespace kalim
