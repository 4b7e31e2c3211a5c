#include "presets/PresetFile.h"

#include "base/FileError.h"
#include "base/Text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <locale>
#include <optional>
#include <pugixml.hpp>
#include <sstream>
#include <string_view>
#include <utility>

namespace kalim
{
namespace
{

namespace fs = std::filesystem;

constexpr std::size_t largestFile = std::size_t{1} << 20U;
constexpr int deepestNesting = 64;
constexpr std::size_t lineLength = 60;
constexpr std::string_view newLine = "\r\n";

void requireRegularFile(const fs::path& path)
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

std::string readText(const fs::path& path)
{
    requireRegularFile(path);
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
        throw FileError(path, errno);
    std::string text(largestFile + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (stream.bad())
        throw FileError(path, errno);
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (text.size() > largestFile)
        throw FileError(path, "is larger than 1 MiB, which no preset is");
    return text;
}

void requireHarmless(const std::string& text, const fs::path& path)
{
    if (validUtf8(text) != text)
        throw FileError(path, "is not valid UTF-8");
    for (const std::string declaration : {"DOCTYPE", "ENTITY"})
        if (text.find("<!" + declaration) != std::string::npos)
            throw FileError(path, "has a " + declaration + " declaration, which is refused");
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

void parse(const std::string& text, const fs::path& path, pugi::xml_document& document)
{
    const pugi::xml_parse_result result =
        document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!result)
    {
        const auto position = text.begin() + std::min(result.offset, std::ssize(text));
        const auto line = std::count(text.begin(), position, '\n') + 1;
        throw FileError(path, std::string("is not valid XML: ") + result.description() +
                                  " in line " + std::to_string(line));
    }
    NestingCheck check;
    if (!document.traverse(check))
        throw FileError(path,
                        "is nested deeper than " + std::to_string(deepestNesting) + " levels");
}

/// From the first digit or sign that may be one of a number; from_chars knows no '+'.
std::string_view startOfNumber(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    return text;
}

/// Nothing where the text cannot be an id.
std::optional<int> parseId(std::string_view text)
{
    const std::string_view number = startOfNumber(text);
    int id = 0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), id);
    return result.ec == std::errc() && id >= 0 ? std::optional(id) : std::nullopt;
}

/// 0 for text that is not a number. What lies beyond the range of a double becomes 0 or huge.
double parseValue(std::string_view text)
{
    const std::string_view number = startOfNumber(text);
    double value = 0.0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
    if (result.ec == std::errc::result_out_of_range)
    {
        // Unlike strtod, this does not ask for the host's locale.
        std::istringstream stream{std::string(number)};
        stream.imbue(std::locale::classic());
        stream >> value;
    }
    return value;
}

std::string toXml(const pugi::xml_node& node)
{
    std::ostringstream stream;
    if (node)
        node.print(stream, "", pugi::format_raw);
    return stream.str();
}

/// Sixteen digits without the zeros at the end, but one after the point: 50.0, 12.30000019073486,
/// 1.0e-5.
std::string textOf(double value)
{
    constexpr int digitsAfterFirst = 15;
    const double size = std::abs(value);
    const bool isPlain = size > 1.0e-5 && size < 1.0e6;
    std::array<char, 64> characters{};
    const auto result =
        std::to_chars(characters.data(), characters.data() + characters.size(), value,
                      isPlain ? std::chars_format::fixed : std::chars_format::scientific,
                      isPlain ? digitsAfterFirst - static_cast<int>(std::floor(std::log10(size)))
                              : digitsAfterFirst);
    std::string text(characters.data(), result.ptr);
    if (!std::isfinite(value))
        return text;
    const std::size_t end = std::min(text.find('e'), text.size());
    const int exponent = end < text.size() ? std::atoi(text.c_str() + end + 1) : 0;
    text.resize(end);
    text.resize(std::max(text.find_last_not_of('0') + 1, text.find('.') + 2));
    return exponent == 0 ? text : text + "e" + std::to_string(exponent);
}

std::string escaped(std::string_view text)
{
    constexpr std::string_view special = "&<>\"";
    constexpr std::array references{"&amp;", "&lt;", "&gt;", "&quot;"};
    std::string result;
    for (const char character : text)
        if (const std::size_t index = special.find(character); index < special.size())
            result += references[index];
        else
            result += character;
    return result;
}

std::string elementOf(const PresetParameter& parameter)
{
    std::string element = "    <Parameter";
    const std::string indent(element.size(), ' ');
    std::size_t length = 0;
    const auto add = [&](const char* name, std::string_view value)
    {
        if (length > lineLength)
            element.append(newLine).append(indent);
        length = length > lineLength ? 0 : length;
        const std::string attribute = std::string(" ") + name + "=\"" + escaped(value) + "\"";
        element += attribute;
        length += attribute.size();
    };
    add("id", std::to_string(parameter.id));
    add("unit", parameter.unit);
    add("value", textOf(parameter.value));
    add("name", parameter.name);
    return element + "/>";
}

std::string toXml(const std::vector<PresetParameter>& parameters, const std::string& customData)
{
    std::string text;
    const auto add = [&](std::string_view line) { text.append(line).append(newLine); };
    add("<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    add("");
    add("<Preset>");
    add("  <ParameterSettings>");
    for (const PresetParameter& parameter : parameters)
        add(elementOf(parameter));
    add("  </ParameterSettings>");
    add("  " + customData);
    add("</Preset>");
    return text;
}

/// A new file in the folder of another one, gone at the end unless it has taken its place.
class Replacement
{
public:
    explicit Replacement(const fs::path& toReplace)
        : target(toReplace)
    {
        constexpr unsigned permissions = 0644; // less what the user's mask takes away
        for (int attempt = 0; descriptor < 0; ++attempt)
        {
            file = target.parent_path() /
                   (".kalim-" + std::to_string(getpid()) + "-" + std::to_string(attempt) + ".new");
            descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions);
            if (descriptor < 0 && errno != EEXIST)
                throw FileError(target, errno);
        }
    }

    ~Replacement()
    {
        if (descriptor >= 0)
            close(descriptor);
        if (!file.empty())
            unlink(file.c_str());
    }

    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    void write(std::string_view text)
    {
        while (!text.empty())
        {
            const ssize_t count = ::write(descriptor, text.data(), text.size());
            if (count < 0 && errno != EINTR)
                throw FileError(target, errno);
            text.remove_prefix(static_cast<std::size_t>(std::max(count, ssize_t{0})));
        }
        if (fsync(descriptor) != 0 || close(std::exchange(descriptor, -1)) != 0)
            throw FileError(target, errno);
    }

    void takePlace()
    {
        if (rename(file.c_str(), target.c_str()) != 0)
            throw FileError(target, errno);
        file.clear();
    }

private:
    fs::path target;
    fs::path file;
    int descriptor = -1;
};

} // namespace

PresetContent readPresetFile(const fs::path& file)
{
    const std::string text = readText(file);
    requireHarmless(text, file);
    pugi::xml_document document;
    parse(text, file, document);
    const pugi::xml_node root = document.document_element();
    const pugi::xml_node settings = root.child("ParameterSettings");
    if (!settings)
        throw FileError(file, "is not a preset: it has no ParameterSettings");
    PresetContent content;
    for (const pugi::xml_node& element : settings)
        if (const auto id = parseId(element.attribute("id").value()))
            content.values.push_back(
                {*id, static_cast<float>(parseValue(element.attribute("value").value()))});
    content.customData = toXml(root.child("CustomData"));
    return content;
}

void writePresetFile(const fs::path& file, const std::vector<PresetParameter>& parameters,
                     const std::string& customData)
{
    Replacement replacement(file);
    replacement.write(toXml(parameters, customData));
    replacement.takePlace();
}

} // namespace kalim
