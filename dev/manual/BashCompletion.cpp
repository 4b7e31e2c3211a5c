#include "dev/manual/Completions.h"

#include <fmt/format.h>

#include <algorithm>

namespace kalim::manual
{
namespace
{

constexpr const char* pattern =
    R"bash(# Completion of @name@ for bash, made from the program's options.

# Names of presets that begin like a word, which may be quoted.
_@name@_presets()
{
    local start=${2#[\"\']} name
    start=${start//\\/}
    @list@ |
        while IFS= read -r name; do
            [[ $name != "$start"* ]] || printf '%s\n' "$name"
        done
}

_@name@()
{
    local word=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]} verb= has_sign=
    COMPREPLY=()
    # The shell takes "--option=value" for three words.
    if [[ $word == = ]]; then
        word= has_sign=yes
    elif [[ $option == = ]]; then
        option=${COMP_WORDS[COMP_CWORD - 2]} has_sign=yes
    fi
    if ((COMP_CWORD > 1)) && [[ ${COMP_WORDS[1]} == @(@verbs@) ]]; then
        verb=${COMP_WORDS[1]}
    fi
    # Where nothing is offered the shell completes the names of files.
    [[ " ${COMP_WORDS[*]:0:COMP_CWORD} " == *" -- "* ]] && return
    case $verb$option in
@values@    esac
    if [[ -n $has_sign ]]; then
        compopt +o default
        return
    fi
    if [[ $word == -* ]]; then
        case $verb in
@options@        esac
    elif ((COMP_CWORD == 1)); then
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -W "@words@" -- "$word"; compgen -f -- "$word")
    fi
} && complete -o default -F _@name@ @name@
)bash";

std::string offer(const OptionRow& row, const std::string& program)
{
    switch (row.value)
    {
    case Value::choice:
        return fmt::format("mapfile -t COMPREPLY < <(compgen -W {} -- \"$word\")",
                           quoted(fmt::format("{}", fmt::join(row.choices, " "))));
    case Value::folder:
        return "compopt -o dirnames +o default";
    case Value::preset:
        return fmt::format("compopt -o filenames\n            mapfile -t COMPREPLY < "
                           "<(_{}_presets \"${{COMP_WORDS[0]}}\" \"$word\")",
                           program);
    case Value::text:
        return "compopt +o default";
    default:
        return "";
    }
}

/// A branch per option that takes a value. Verbs are in front of it, the program itself is not.
std::string listValues(const Command& command, const std::string& verb, const std::string& program)
{
    std::string text;
    for (const OptionRow& row : command.options)
    {
        if (row.value == Value::none)
            continue;
        std::string names;
        for (const auto* list : {&row.shortNames, &row.longNames})
            for (const std::string& name : *list)
                names += (names.empty() ? "" : " | ") + verb + name;
        const std::string action = offer(row, program);
        text += fmt::format("        {})\n{}            return ;;\n", names,
                            action.empty() ? "" : "            " + action + "\n");
    }
    return text;
}

std::string listOptions(const Command& command, const std::string& verb)
{
    std::string names;
    for (const OptionRow& row : command.options)
        for (const auto* list : {&row.longNames, &row.shortNames})
            for (const std::string& name : *list)
                names += (names.empty() ? "" : " ") + name;
    return fmt::format(
        "            {})\n"
        "                mapfile -t COMPREPLY < <(compgen -W \"{}\" -- \"$word\") ;;\n",
        verb.empty() ? "''" : verb, names);
}

} // namespace

std::string makeBashCompletion(const Program& program)
{
    const std::string& name = program.main.name;
    std::string words;
    std::string values = listValues(program.main, "", name);
    std::string options = listOptions(program.main, "");
    for (const Command& verb : program.verbs)
    {
        const std::string word = wordOf(verb);
        words += (words.empty() ? "" : " ") + word;
        values += listValues(verb, word, name);
        options += listOptions(verb, word);
    }
    std::string verbs = words;
    std::ranges::replace(verbs, ' ', '|');
    return filled(pattern, {{"name", name},
                            {"verbs", verbs},
                            {"words", words},
                            {"values", values},
                            {"options", options},
                            {"list", listPresetsWith("\"$1\"")}});
}

} // namespace kalim::manual
