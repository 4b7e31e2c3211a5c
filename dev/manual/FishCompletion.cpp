#include "dev/manual/Completions.h"

#include <fmt/format.h>

namespace kalim::manual
{
namespace
{

constexpr const char* pattern =
    R"fish(# Completion of @name@ for fish, made from the program's options.

function __@name@_verb
    set -l words (commandline -opc)
    contains -- "$words[2]" @verbs@; and echo $words[2]
end

function __@name@_presets
    set -l words (commandline -opc)
    @list@
end

@lines@)fish";

std::string actionOf(const OptionRow& row, const std::string& program)
{
    switch (row.value)
    {
    case Value::none:
        return "";
    case Value::choice:
        return " -x -a " + quoted(fmt::format("{}", fmt::join(row.choices, " ")));
    case Value::file:
        return " -r -F";
    case Value::folder:
        return " -x -a '(__fish_complete_directories)'";
    case Value::preset:
        return fmt::format(" -r -F -a '(__{}_presets)'", program);
    default:
        return " -x";
    }
}

std::string listOptions(const Command& command, const std::string& verb, const std::string& program)
{
    std::string text;
    for (const OptionRow& row : command.options)
    {
        std::string names;
        for (const std::string& name : row.shortNames)
            names += " -s " + name.substr(1);
        for (const std::string& name : row.longNames)
            names += " -l " + name.substr(2);
        text += fmt::format("complete -c {0} -n 'test \"$(__{0}_verb)\" = \"{1}\"'{2}{3} -d {4}\n",
                            program, verb, names, actionOf(row, program), quoted(row.description));
    }
    return text;
}

} // namespace

std::string makeFishCompletion(const Program& program)
{
    const std::string& name = program.main.name;
    std::string verbs;
    std::string lines = listOptions(program.main, "", name);
    for (const Command& verb : program.verbs)
    {
        const std::string word = wordOf(verb);
        verbs += (verbs.empty() ? "" : " ") + word;
        lines +=
            fmt::format("complete -c {} -n 'test (count (commandline -opc)) -eq 1' -a {} -d {}\n",
                        name, word, quoted(verb.summarise()));
        lines += listOptions(verb, word, name);
    }
    return filled(pattern, {{"name", name},
                            {"verbs", verbs},
                            {"list", listPresetsWith("$words[1]")},
                            {"lines", lines}});
}

} // namespace kalim::manual
