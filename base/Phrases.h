#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kalim
{

/// "1 picture", "2 pictures".
std::string counted(std::ptrdiff_t count, std::string_view thing);

} // namespace kalim
