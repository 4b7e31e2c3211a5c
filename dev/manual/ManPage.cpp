#include "dev/manual/ManPage.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <sstream>

namespace kalim::manual
{
namespace
{

/// Text as it stands, hyphens that can be copied included.
std::string escaped(const std::string& text)
{
    std::string result;
    for (const char character : text)
        if (character == '\\')
            result += "\\e";
        else if (character == '-')
            result += "\\-";
        else if (character == '~' || character == '^' || character == '`')
            result += fmt::format("\\({}", character == '~'   ? "ti"
                                           : character == '^' ? "ha"
                                                              : "ga");
        else
            result += character;
    // A line that begins so would be taken for a macro.
    return result.starts_with('.') || result.starts_with('\'') ? "\\&" + result : result;
}

/// Running text, its source no wider than is usual.
std::string wrapped(const std::string& text)
{
    constexpr std::size_t widest = 78;
    std::string result;
    std::string line;
    std::istringstream words(text);
    for (std::string word; words >> word;)
    {
        const std::string next = line + (line.empty() ? "" : " ") + word;
        const bool fits = escaped(next).size() <= widest || line.empty();
        if (!fits)
            result += escaped(line) + "\n";
        line = fits ? next : word;
    }
    return result + escaped(line) + "\n";
}

std::string sentence(const std::string& text)
{
    return wrapped(text.ends_with('.') ? text : text + ".");
}

std::string bold(const std::string& text)
{
    return "\\fB" + escaped(text) + "\\fR";
}

std::string italic(const std::string& text)
{
    return "\\fI" + escaped(text) + "\\fR";
}

std::string upperCased(std::string text)
{
    std::ranges::transform(text, text.begin(),
                           [](unsigned char letter) { return std::toupper(letter); });
    return text;
}

/// Empty lines part paragraphs, as in the help.
std::string paragraphs(const std::string& text)
{
    std::string result;
    std::string paragraph;
    const auto add = [&]
    {
        if (!paragraph.empty())
            result += (result.empty() ? "" : ".PP\n") + wrapped(paragraph);
        paragraph.clear();
    };
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line.empty())
            add();
        else
            paragraph += line + " ";
    add();
    return result;
}

std::string headOf(const OptionRow& row)
{
    std::string head;
    for (const auto* names : {&row.shortNames, &row.longNames})
        for (const std::string& name : *names)
            head += (head.empty() ? "" : ", ") + bold(name);
    return row.argument.empty() ? head : head + " " + italic(row.argument);
}

std::string describe(const OptionRow& row)
{
    std::string text = sentence(row.description);
    if (!row.range.empty())
        text += sentence(row.range);
    if (!row.choices.empty())
        text += sentence(fmt::format("One of {}", fmt::join(row.choices, ", ")));
    return text;
}

std::string optionsOf(const Command& command)
{
    std::string text = fmt::format(".SH OPTIONS\n.TP\n{}\n{}", italic(command.positional),
                                   sentence(command.positionalDescription));
    std::string group = "Options"; // the parser's, which needs no heading of its own
    for (const OptionRow& row : command.options)
    {
        if (row.group != group)
            text += fmt::format(".SS {}\n", escaped(row.group));
        group = row.group;
        text += fmt::format(".TP\n{}\n{}", headOf(row), describe(row));
    }
    return text;
}

std::string examplesOf(const PageTexts& texts)
{
    std::string text = texts.examples.empty() ? "" : ".SH EXAMPLES\n";
    for (const PageTexts::Example& example : texts.examples)
        text += fmt::format(".TP\n{}\n{}", bold(example.commandLine), wrapped(example.purpose));
    return text;
}

std::string synopsisOf(const Command& command, const PageTexts& texts)
{
    std::string text = ".SH SYNOPSIS\n";
    for (const std::string& synopsis : texts.synopses)
        text += fmt::format("{}{} {}\n", text.ends_with("SYNOPSIS\n") ? "" : ".br\n",
                            bold(command.name), escaped(synopsis));
    return text;
}

std::string seeAlsoOf(const PageTexts& texts)
{
    std::string text = ".SH SEE ALSO\n";
    for (std::size_t i = 0; i < texts.seeAlso.size(); ++i)
        text += fmt::format(".BR {} (1){}\n", escaped(texts.seeAlso[i]),
                            i + 1 < texts.seeAlso.size() ? "," : "");
    return text;
}

} // namespace

std::string pageNameOf(const Command& command)
{
    std::string name = command.name;
    std::ranges::replace(name, ' ', '-');
    return name;
}

std::string makeManPage(const Command& command, const PageTexts& texts, const std::string& version,
                        const std::string& date)
{
    const std::string name = pageNameOf(command);
    std::string page = fmt::format(".TH {} 1 \"{}\" \"Kalim {}\" \"User Commands\"\n",
                                   escaped(upperCased(name)), date, version);
    page += fmt::format(".SH NAME\n{} \\- {}\n", escaped(name), escaped(command.summarise()));
    page += synopsisOf(command, texts);
    page += ".SH DESCRIPTION\n" + paragraphs(command.description);
    if (!command.footer.empty())
        page += ".PP\n" + paragraphs(command.footer);
    return page + optionsOf(command) + examplesOf(texts) + seeAlsoOf(texts);
}

} // namespace kalim::manual
