#include "lv2/Plugins.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using namespace kalim::lv2;

/// The lines of the chapter about hosts without a window.
std::vector<std::string> readChapter(const std::string& language)
{
    std::ifstream manual(KALIM_SOURCE_FOLDER "/resources/help/Vellacore_" + language +
                         "/kalim.html");
    std::vector<std::string> lines;
    bool isInside = false;
    for (std::string line; std::getline(manual, line);)
    {
        isInside = isInside ? line != "</section>" : line.starts_with("<h2 id=\"hosts\"");
        if (isInside)
            lines.push_back(line);
    }
    return lines;
}

bool hasRow(const std::vector<std::string>& lines, const std::vector<std::string>& parts)
{
    return std::ranges::any_of(lines,
                               [&](const std::string& line)
                               {
                                   return std::ranges::all_of(
                                       parts, [&](const std::string& part)
                                       { return line.find(part) != std::string::npos; });
                               });
}

template <typename Value>
std::string describe(const Value& value, std::string_view unit)
{
    std::ostringstream text;
    text << value << (unit.empty() ? "" : " ") << unit;
    return text.str();
}

std::string asCell(std::string_view text)
{
    return std::string(1, '>').append(text).append("<");
}

/// "40 to 500 Hz", or "0, 50 or 200 ms".
std::string describeRange(const Control& control, const std::string& to, const std::string& either)
{
    std::ostringstream text;
    if (control.kind == Control::Kind::toggle)
        text << "0" << either << "1";
    else if (control.kind == Control::Kind::choice)
        for (const ScalePoint& point : control.points)
            text << (&point == control.points.data()    ? ""
                     : &point == &control.points.back() ? either
                                                        : ", ")
                 << point.value;
    else
        text << control.min << to << control.max;
    return describe(text.str(), control.unit);
}

std::vector<std::string> getCommands(const std::vector<std::string>& lines)
{
    std::vector<std::string> commands;
    for (const std::string& line : lines)
        if (line.starts_with("<pre><code>"))
            commands.push_back(line);
    return commands;
}

} // namespace

TEST(ManualOfCoreLv2, listsEveryControlInEveryLanguage)
{
    const std::vector<std::string> english = readChapter("en");
    const std::vector<std::string> german = readChapter("de");
    for (const PluginKind& kind : plugins)
        for (const Control& control : kind.getControls())
        {
            const std::string symbol = asCell(control.symbol);
            const std::string usual = asCell(describe(control.defaultValue, control.unit));
            const std::string range = describeRange(control, " to ", " or ");
            const std::string rangeInGerman = describeRange(control, " bis ", " oder ");
            EXPECT_TRUE(hasRow(english, {symbol, asCell(range), usual})) << symbol;
            EXPECT_TRUE(hasRow(german, {symbol, asCell(rangeInGerman), usual})) << symbol;
        }
}

TEST(ManualOfCoreLv2, givesTheSameCommandsInEveryLanguage)
{
    // What is tried by the tests of the hosts is the English one.
    EXPECT_EQ(getCommands(readChapter("en")), getCommands(readChapter("de")));
    EXPECT_GE(getCommands(readChapter("en")).size(), 8U);
}
