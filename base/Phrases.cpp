#include "base/Phrases.h"

#include <fmt/format.h>

namespace kalim
{

std::string counted(std::ptrdiff_t count, std::string_view thing)
{
    return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
}

} // namespace kalim
