#include "kalim/OptionSpelling.h"

#include "base/FileError.h"
#include "kalim/Options.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kalim::program
{
namespace
{

bool isLetter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

/// Letters to insert, leave out or replace to make one word of the other (V. I. Levenshtein, 1966).
std::size_t numChanges(std::string_view from, std::string_view to)
{
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i)
    {
        auto diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j)
        {
            const auto replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

/// A guess at what was meant, if one option is near enough.
std::string likeness(const CLI::App& app, const std::string& name)
{
    constexpr std::size_t mostChanges = 2;
    for (const CLI::Option* option : app.get_options())
        for (const std::string& known : option->get_lnames())
            if (numChanges(name, "--" + known) <= mostChanges)
                return fmt::format("; is --{} meant?", known);
    return fmt::format("; {} --help lists them", app.get_name());
}

} // namespace

void requireKnownOptions(const CLI::App& app, std::span<const char* const> words)
{
    for (const std::string_view word : words)
    {
        if (word == "--")
            return;
        const bool isLong = word.starts_with("--");
        const bool isShort = !isLong && word.size() > 1 && word[0] == '-' && isLetter(word[1]);
        const std::string name(isShort ? word.substr(0, 2) : word.substr(0, word.find('=')));
        if ((isLong || isShort) && app.get_option_no_throw(name) == nullptr)
            throw UsageError(
                fmt::format("{}: unknown option{}", printable(name), likeness(app, name)));
    }
}

} // namespace kalim::program
