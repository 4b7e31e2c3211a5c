#include "dev/manual/CommandTable.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <cctype>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace kalim::manual
{
namespace
{

/// The parser offers its checks by number, and says by an exception that there are no more.
std::vector<std::string> describeChecks(CLI::Option& option)
{
    std::vector<std::string> descriptions;
    try
    {
        for (int i = 0;; ++i)
            descriptions.push_back(option.get_validator(i)->get_description());
    }
    catch (const CLI::OptionNotFound&)
    {
        return descriptions;
    }
}

std::vector<std::string> splitChoices(const std::string& list)
{
    std::vector<std::string> choices;
    std::istringstream stream(list.substr(1, list.size() - 2));
    for (std::string choice; std::getline(stream, choice, ',');)
        choices.push_back(choice);
    return choices;
}

/// The parser's own checks of a range name the type of its variable.
std::string withoutType(const std::string& range)
{
    static const std::regex typed(R"(\w+ in \[(\S+) - (\S+)\])");
    return std::regex_replace(range, typed, "$1 to $2");
}

Value findValue(const OptionRow& row)
{
    if (row.argument.empty())
        return Value::none;
    if (!row.choices.empty())
        return Value::choice;
    if (row.longNames.front() == "--preset")
        return Value::preset;
    if (row.argument.find("DIR") != std::string::npos)
        return Value::folder;
    return row.argument.find("FILE") != std::string::npos ? Value::file : Value::text;
}

OptionRow readOption(CLI::Option& option)
{
    OptionRow row;
    for (const std::string& name : option.get_snames())
        row.shortNames.push_back("-" + name);
    for (const std::string& name : option.get_lnames())
        row.longNames.push_back("--" + name);
    row.description = option.get_description();
    row.group = option.get_group();
    if (option.get_expected_max() == 0)
        return row;
    row.argument = option.get_type_name();
    std::string checks;
    for (const std::string& check : describeChecks(option))
    {
        if (check.empty())
            continue;
        checks += ":" + check;
        if (check.front() == '{')
            row.choices = splitChoices(check);
        else
            row.range = withoutType(check);
    }
    // The parser hands out the name of the argument with all checks behind it.
    row.argument.resize(row.argument.size() - checks.size());
    row.value = findValue(row);
    return row;
}

OptionRow readLine(const std::smatch& line)
{
    OptionRow row;
    row.longNames.push_back(line[1]);
    row.description = line[2];
    row.group = "Options";
    return row;
}

} // namespace

std::string Command::summarise() const
{
    static const std::regex more(R"([.:,\n]| - )");
    std::string text =
        *std::sregex_token_iterator(description.begin(), description.end(), more, -1);
    if (!text.empty())
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    return text;
}

std::string wordOf(const Command& verb)
{
    return verb.name.substr(verb.name.rfind(' ') + 1);
}

Command readCommand(CLI::App& app)
{
    Command command{app.get_name(), app.get_description(), app.get_footer(), "", "", {}};
    for (CLI::Option* const option : app.get_options(nullptr))
        if (option->get_positional())
        {
            command.positional = option->get_name();
            command.positionalDescription = option->get_description();
        }
        else
            command.options.push_back(readOption(*option));
    return command;
}

Command readHelp(const std::string& help)
{
    static const std::regex usage(R"(usage: (\S+) .*)");
    static const std::regex optionLine(R"(  (--\S+) +(.+))");
    static const std::regex fileLine(R"(  ([A-Z]+) +(.+))");
    Command command;
    std::istringstream lines(help);
    std::smatch found;
    for (std::string line; std::getline(lines, line);)
        if (std::regex_match(line, found, usage))
            command.name = found[1];
        else if (std::regex_match(line, found, optionLine))
            command.options.push_back(readLine(found));
        else if (std::regex_match(line, found, fileLine))
        {
            command.positional = found[1];
            command.positionalDescription = found[2];
        }
        else if (!line.empty())
            command.description += line;
    if (command.name.empty() || command.options.empty() || command.description.empty())
        throw std::invalid_argument("this is no help of a program: " + help);
    return command;
}

} // namespace kalim::manual
