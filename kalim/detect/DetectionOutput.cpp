#include "kalim/detect/DetectionOutput.h"

#include "kalim/report/CsvTable.h"
#include "kalim/report/TimeText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>
#include <set>
#include <vector>

namespace kalim::program
{
namespace
{

using Json = nlohmann::ordered_json;

constexpr std::array csvColumns{"file",
                                "error",
                                "damages",
                                "seconds",
                                "sampleRate",
                                "channels",
                                "kind",
                                "fundamental",
                                "uncertainty",
                                "harmonics",
                                "secondsOfHum",
                                "removable",
                                "loudness",
                                "loudnessRange",
                                "truePeak",
                                "clippedCount",
                                "clippedLongest",
                                "clippedFirst",
                                "droppedOutCount",
                                "droppedOutLongest",
                                "droppedOutFirst",
                                "silentChannels",
                                "equalChannels"};

constexpr auto tablePattern = "{:>8} {:>9} {:>9} {:>7} {:>6} {:>5} {:>6} {:>7} {:>7}  {}\n";

std::size_t countHarmonics(const Json& hum)
{
    std::set<int> numbers;
    for (const Json& harmonic : hum.value("harmonics", Json::array()))
        numbers.insert(harmonic["number"].get<int>());
    return numbers.size();
}

Json flattened(const Json& row)
{
    Json flat = row;
    flat.erase("hum");
    flat.erase("quality");
    if (row.contains("hum"))
    {
        flat.update(row["hum"]);
        flat["harmonics"] = countHarmonics(row["hum"]);
    }
    if (!row.contains("quality"))
        return flat;
    flat.update(row["quality"]);
    for (const std::string name : {"clipped", "droppedOut"})
    {
        flat[name + "Count"] = flat[name]["count"];
        flat[name + "Longest"] = flat[name]["longest"];
        flat[name + "First"] = flat[name]["first"];
    }
    for (Json& group : flat["equalChannels"])
        group = fmt::format("{}", fmt::join(group.get<std::vector<int>>(), "="));
    return flat;
}

/// A value with so many digits, or a dash.
std::string cell(const Json& object, const char* key, int digits)
{
    const auto found = object.find(key);
    return found == object.end() || !found->is_number()
               ? "-"
               : fmt::format("{:.{}f}", found->get<double>(), digits);
}

std::string remarks(const Json& flat)
{
    std::string text;
    const auto channels = flat.value("silentChannels", std::vector<int>());
    if (!channels.empty())
        text += fmt::format(", channel {} silent", fmt::join(channels, " and "));
    for (const auto& group : flat.value("equalChannels", std::vector<std::string>()))
        text += fmt::format(", channels {}", group);
    if (flat.contains("damages"))
        text += ", damaged";
    return text;
}

/// "bursts" of "bursts, not hum"
std::string firstWord(const std::string& text)
{
    return text.substr(0, text.find(','));
}

std::string tableLine(const Json& row)
{
    if (row.contains("error"))
        return fmt::format(tablePattern, "-", "-", "failed", "-", "-", "-", "-", "-", "-",
                           row["file"].get<std::string>());
    const Json flat = flattened(row);
    return fmt::format(
        tablePattern, timeText(flat["seconds"].get<double>()), cell(flat, "fundamental", 3),
        firstWord(flat["kind"]), cell(flat, "removable", 1), cell(flat, "loudness", 1),
        cell(flat, "loudnessRange", 1), cell(flat, "truePeak", 1), flat["clippedCount"].get<int>(),
        flat["droppedOutCount"].get<int>(), flat["file"].get<std::string>() + remarks(flat));
}

std::string indented(const std::string& text)
{
    std::string result = "  ";
    for (const char character : text)
    {
        result.push_back(character);
        if (character == '\n')
            result += "  ";
    }
    return result;
}

} // namespace

DetectionOutput::DetectionOutput(DetectionStyle styleToUse)
    : style(styleToUse)
{
}

std::string DetectionOutput::begin() const
{
    switch (style)
    {
    case DetectionStyle::table:
        return fmt::format(tablePattern, "length", "hum in Hz", "kind", "hum dB", "LUFS", "LU",
                           "dBTP", "clipped", "dropped", "file");
    case DetectionStyle::csv:
        return csvHeader(csvColumns);
    case DetectionStyle::json:
        return "[";
    case DetectionStyle::text:
        break;
    }
    return "";
}

std::string DetectionOutput::show(const FileFindings& findings)
{
    switch (style)
    {
    case DetectionStyle::table:
        return tableLine(findings.row);
    case DetectionStyle::csv:
        return csvLine(csvColumns, flattened(findings.row));
    case DetectionStyle::json:
        break;
    case DetectionStyle::text:
        return findings.text;
    }
    const std::string separator = isFirst ? "\n" : ",\n";
    isFirst = false;
    return separator + indented(findings.row.dump(2, ' ', false, Json::error_handler_t::replace));
}

std::string DetectionOutput::end() const
{
    if (style != DetectionStyle::json)
        return "";
    return isFirst ? "]\n" : "\n]\n";
}

} // namespace kalim::program
