#pragma once

#include <nlohmann/json.hpp>

#include <span>
#include <string>
#include <vector>

namespace kalim::program
{

/// The names of columns as a line of CSV (RFC 4180).
std::string csvHeader(std::span<const char* const> columns);

/// The values that an object has under these names as a line: nothing where it has none, the parts
/// of a list with semicolons between them.
std::string csvLine(std::span<const char* const> columns, const nlohmann::ordered_json& object);

/// Header and a line per object.
std::string csvTable(std::span<const char* const> columns,
                     const std::vector<nlohmann::ordered_json>& objects);

} // namespace kalim::program
