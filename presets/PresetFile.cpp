#include "presets/PresetFile.h"

#include "audiofile/FileBytes.h"
#include "base/FileError.h"
#include "base/Text.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <system_error>

namespace kalim
{
namespace
{

constexpr std::int64_t largestFile = 1 << 20;
constexpr int deepestNesting = 64;

void requireRegularFile(const std::filesystem::path& path)
{
    struct stat status
    {
    };

    if (stat(path.c_str(), &status) != 0)
        throw FileError(path, errno);
    if (S_ISDIR(status.st_mode))
        throw FileError(path, "is a folder, not a preset");
    if (!S_ISREG(status.st_mode))
        throw FileError(path, "is not a regular file");
}

std::vector<std::byte> readBytes(const std::filesystem::path& path)
{
    requireRegularFile(path);
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen())
        throw FileError(path, errno);
    try
    {
        std::vector<std::byte> bytes = readBytesAt(file.get(), 0, largestFile + 1);
        if (std::ssize(bytes) > largestFile)
            throw FileError(path, "is larger than 1 MiB, which no preset is");
        return bytes;
    }
    catch (const std::system_error& error)
    {
        throw FileError(path, error.code().value());
    }
}

void requireHarmless(std::string_view text, const std::filesystem::path& path)
{
    if (validUtf8(text) != text)
        throw FileError(path, "is not valid UTF-8");
    for (const std::string_view declaration : {"<!DOCTYPE", "<!ENTITY"})
        if (text.find(declaration) != std::string_view::npos)
            throw FileError(
                path, fmt::format("has a {} declaration, which is refused", declaration.substr(2)));
}

/// The library walks, parses and frees without recursion, so this need not come first.
class NestingCheck : public pugi::xml_tree_walker
{
public:
    bool for_each(pugi::xml_node& node) override
    {
        const int level = depth() + 1;
        return node.type() != pugi::node_element || level <= deepestNesting;
    }
};

void parse(std::string_view text, const std::filesystem::path& path, pugi::xml_document& document)
{
    const pugi::xml_parse_result result =
        document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!result)
    {
        const auto position = text.begin() + std::min(result.offset, std::ssize(text));
        throw FileError(path, fmt::format("is not valid XML: {} in line {}", result.description(),
                                          std::count(text.begin(), position, '\n') + 1));
    }
    NestingCheck check;
    if (!document.traverse(check))
        throw FileError(path, fmt::format("is nested deeper than {} levels", deepestNesting));
}

std::string_view withoutLeadingBlanks(std::string_view text)
{
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

/// Nothing where there is no number. As for values, what follows the number does not matter.
std::optional<int> parseId(std::string_view text)
{
    const std::string_view number = withoutLeadingBlanks(text);
    int id = 0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), id);
    return result.ec == std::errc() ? std::optional(id) : std::nullopt;
}

/// 0 where there is no number. What lies beyond the range of a double becomes 0 or infinite.
double parseValue(const char* text)
{
    std::string_view number = withoutLeadingBlanks(text);
    if (number.starts_with('+'))
        number.remove_prefix(1);
    double value = 0.0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
    return result.ec == std::errc::result_out_of_range ? std::strtod(number.data(), nullptr)
                                                       : value;
}

} // namespace

std::vector<ParameterValue> readPresetFile(const std::filesystem::path& file)
{
    const std::vector<std::byte> bytes = readBytes(file);
    const std::string_view text = asText(bytes);
    requireHarmless(text, file);
    pugi::xml_document document;
    parse(text, file, document);
    const pugi::xml_node settings = document.document_element().child("ParameterSettings");
    if (!settings)
        throw FileError(file, "is not a preset: it has no ParameterSettings");
    std::vector<ParameterValue> values;
    for (const pugi::xml_node& element : settings)
        if (const auto id = parseId(element.attribute("id").value()))
            values.push_back(
                {*id, static_cast<float>(parseValue(element.attribute("value").value()))});
    return values;
}

} // namespace kalim
