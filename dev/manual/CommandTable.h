#pragma once

#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace kalim::manual
{

/// What follows an option, as far as a shell can complete it.
enum class Value
{
    none,
    text,
    choice,
    file,
    folder,
    preset
};

/// One option as the manual and the completions need it. Names have their dashes.
struct OptionRow
{
    std::vector<std::string> shortNames;
    std::vector<std::string> longNames;
    std::string argument; ///< such as "HZ", empty for a switch
    std::string range;    ///< such as "40 to 500 Hz", where the parser checks one
    std::vector<std::string> choices;
    std::string description;
    std::string group;
    Value value = Value::none;
};

/// A program, or a verb of one.
struct Command
{
    std::string name; ///< such as "kalim detect"
    std::string description;
    std::string footer;

    /// What the words that are no options stand for.
    std::string positional;
    std::string positionalDescription;
    std::vector<OptionRow> options;

    /// The first statement of the description, as it goes on after a name and a dash.
    std::string summarise() const;
};

/// A program with verbs, which follow its name.
struct Program
{
    Command main;
    std::vector<Command> verbs;
};

/// "detect" of "kalim detect"
std::string wordOf(const Command& verb);

/// Everything that the parser knows of its options, in its order.
Command readCommand(CLI::App& app);

/// The same from the help of a program that has no such parser: a line "usage:", a description and
/// lines of an option and what it does. Throws std::invalid_argument for another text.
Command readHelp(const std::string& help);

} // namespace kalim::manual
