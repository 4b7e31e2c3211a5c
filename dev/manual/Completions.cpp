#include "dev/manual/Completions.h"

#include <fmt/format.h>

namespace kalim::manual
{

std::string quoted(const std::string& text)
{
    std::string result;
    for (const char character : text)
        if (character == '\'')
            result += R"('\'')";
        else
            result += character;
    return fmt::format("'{}'", result);
}

std::string filled(std::string pattern, const std::map<std::string, std::string>& texts)
{
    for (const auto& [word, text] : texts)
    {
        const std::string mark = fmt::format("@{}@", word);
        for (std::size_t at = 0; (at = pattern.find(mark, at)) != std::string::npos;
             at += text.size())
            pattern.replace(at, mark.size(), text);
    }
    return pattern;
}

std::string listPresetsWith(const std::string& program)
{
    return program +
           R"sh( --list-presets --json 2>/dev/null | sed -n 's/.*"name": "\(.*\)".*/\1/p')sh";
}

} // namespace kalim::manual
