#include "dev/manual/Completions.h"

#include <fmt/format.h>

namespace kalim::manual
{
namespace
{

constexpr const char* pattern = R"zsh(#compdef @name@
# Completion of @name@ for zsh, made from the program's options.

_@name@_presets()
{
    local -a presets
    presets=(${(f)"$(@list@)"})
    compadd -a presets
    _files
}

_@name@_first()
{
    local -a verbs
    verbs=(@verbs@)
    _describe -t verbs verb verbs
    _files
}

_@name@()
{
    local program=$words[1] verb=
    if (( CURRENT > 2 )); then
        verb=$words[2]
    fi
    case $verb in
@commands@    esac
}

_@name@ "$@"
)zsh";

/// Colons and brackets part the pieces of an option's line.
std::string escaped(const std::string& text)
{
    std::string result;
    for (const char character : text)
    {
        if (character == ':' || character == '[' || character == ']' || character == '\\')
            result += '\\';
        result += character;
    }
    return result;
}

std::string actionOf(const OptionRow& row, const std::string& program)
{
    switch (row.value)
    {
    case Value::choice:
        return fmt::format("({})", fmt::join(row.choices, " "));
    case Value::file:
        return "_files";
    case Value::folder:
        return "_files -/";
    case Value::preset:
        return fmt::format("_{}_presets", program);
    default:
        return " "; // says what is wanted, and offers nothing
    }
}

/// One name of an option; its other names are not offered beside it.
std::string specify(const OptionRow& row, const std::string& name, const std::string& others,
                    const std::string& program)
{
    const std::string start = fmt::format("({}){}", others, name);
    const std::string text = escaped(row.description);
    if (row.value == Value::none)
        return quoted(fmt::format("{}[{}]", start, text));
    const char sign = name.starts_with("--") ? '=' : '+';
    return quoted(fmt::format("{}{}[{}]:{}:{}", start, sign, text, escaped(row.argument),
                              actionOf(row, program)));
}

std::string listArguments(const Command& command, const std::string& program)
{
    std::string text;
    for (const OptionRow& row : command.options)
    {
        std::vector<std::string> names = row.shortNames;
        names.insert(names.end(), row.longNames.begin(), row.longNames.end());
        for (const std::string& name : names)
            text +=
                fmt::format(" \\\n                {}",
                            specify(row, name, fmt::format("{}", fmt::join(names, " ")), program));
    }
    return text;
}

std::string makeBranch(const Command& command, const std::string& verb, const std::string& program)
{
    const bool isMain = verb == "*";
    const std::string first = isMain ? fmt::format("'1: :_{}_first' ", program) : std::string();
    const char* const shift =
        isMain ? "" : "            shift words\n            (( CURRENT-- ))\n";
    return fmt::format("        {})\n{}            _arguments -s -S{} \\\n"
                       "                {}'*:file:_files' ;;\n",
                       verb, shift, listArguments(command, program), first);
}

} // namespace

std::string makeZshCompletion(const Program& program)
{
    const std::string& name = program.main.name;
    std::string verbs;
    std::string commands;
    for (const Command& verb : program.verbs)
    {
        const std::string word = wordOf(verb);
        verbs += quoted(fmt::format("{}:{}", word, escaped(verb.summarise()))) + " ";
        commands += makeBranch(verb, word, name);
    }
    commands += makeBranch(program.main, "*", name);
    return filled(pattern, {{"name", name},
                            {"verbs", verbs},
                            {"commands", commands},
                            {"list", listPresetsWith("$program")}});
}

} // namespace kalim::manual
