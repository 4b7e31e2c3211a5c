#include "kalim/report/CsvTable.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace kalim::program
{
namespace
{

using Json = nlohmann::ordered_json;

std::string quoted(const std::string& text)
{
    if (text.find_first_of("\",\r\n") == std::string::npos)
        return text;
    std::string result = "\"";
    for (const char character : text)
        result.append(character == '"' ? 2U : 1U, character);
    result.push_back('"');
    return result;
}

std::string plainText(const Json& value)
{
    if (value.is_null())
        return "";
    if (value.is_string())
        return value.get<std::string>();
    if (!value.is_array())
        return value.dump();
    std::vector<std::string> parts;
    for (const Json& part : value)
        parts.push_back(plainText(part));
    return fmt::format("{}", fmt::join(parts, "; "));
}

} // namespace

std::string csvHeader(std::span<const char* const> columns)
{
    return fmt::format("{}\r\n", fmt::join(columns, ","));
}

std::string csvLine(std::span<const char* const> columns, const Json& object)
{
    std::vector<std::string> cells;
    for (const char* const column : columns)
    {
        const auto found = object.find(column);
        cells.push_back(found == object.end() ? "" : quoted(plainText(*found)));
    }
    return fmt::format("{}\r\n", fmt::join(cells, ","));
}

std::string csvTable(std::span<const char* const> columns, const std::vector<Json>& objects)
{
    std::string text = csvHeader(columns);
    for (const Json& object : objects)
        text += csvLine(columns, object);
    return text;
}

} // namespace kalim::program
