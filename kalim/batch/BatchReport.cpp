#include "kalim/batch/BatchReport.h"

#include "audiofile/OutputFile.h"
#include "base/FileError.h"
#include "base/Text.h"
#include "kalim/Version.h"
#include "kalim/report/CsvTable.h"
#include "kalim/report/HumText.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <array>
#include <ctime>
#include <set>
#include <span>

namespace kalim::program
{
namespace
{

/// The columns of the table, which are the keys of a row.
constexpr std::array batchColumns{
    "input",        "output",        "status",    "error",       "warnings",      "size",
    "modified",     "outputSize",    "settings",  "version",     "finished",      "inputFormat",
    "outputFormat", "sampleRate",    "channels",  "seconds",     "timesRealTime", "method",
    "hum",          "fundamental",   "kind",      "harmonics",   "inputSamples",  "inputMd5",
    "inputSha256",  "outputSamples", "outputMd5", "outputSha256"};

bool isCsv(const std::filesystem::path& path)
{
    return lowered(path.extension().native()) == ".csv";
}

/// Harmonics that were treated in any channel.
std::size_t getNumHarmonics(const Report& report)
{
    if (!report.hum)
        return static_cast<std::size_t>(report.settings.getSelection().count);
    std::set<int> numbers;
    for (const auto& harmonic : report.hum->getHarmonics())
        numbers.insert(harmonic.harmonic);
    return numbers.size();
}

void addChecksums(BatchRow& row, const std::string& which, const SoundChecksums& checksums)
{
    row[which + "Samples"] = checksums.samples;
    row[which + "Md5"] = checksums.md5;
    row[which + "Sha256"] = checksums.sha256;
}

} // namespace

BatchRow makeRow(const BatchItem& item, const std::string& settings)
{
    return {{"input", printable(item.input)},
            {"output", printable(item.output)},
            {"status", "waiting"},
            {"size", item.size},
            {"modified", item.modified},
            {"settings", settings},
            {"version", version}};
}

void addReport(BatchRow& row, const Report& report)
{
    row["warnings"] = report.warnings;
    row["finished"] = fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::time(nullptr)));
    row["inputFormat"] = report.inputFormat;
    row["outputFormat"] = report.outputFormat;
    row["sampleRate"] = report.sampleRate;
    row["channels"] = report.channels;
    row["seconds"] = report.getSeconds();
    row["timesRealTime"] = report.timesRealTime;
    row["method"] = report.method;
    if (report.hum)
        row["hum"] = report.hum->hasHum();
    row["harmonics"] = getNumHarmonics(report);
    if (report.checksums)
    {
        addChecksums(row, "input", report.checksums->input);
        addChecksums(row, "output", report.checksums->output);
    }
    if (report.hum && report.hum->hasHum())
    {
        row["fundamental"] = report.hum->getMeanFrequency();
        row["kind"] = nameOf(report.hum->getKind());
    }
}

std::string batchRowsToJson(const std::vector<BatchRow>& rows)
{
    return BatchRow(rows).dump(2, ' ', false, BatchRow::error_handler_t::replace) + "\n";
}

void writeBatchReport(const std::filesystem::path& path, const std::vector<BatchRow>& rows)
{
    OutputFile file(path, Existing::replace);
    const std::string text = isCsv(path) ? csvTable(batchColumns, rows) : batchRowsToJson(rows);
    file.write(std::as_bytes(std::span(text)));
    file.commit();
}

void requireReportName(const std::filesystem::path& path)
{
    if (!isCsv(path) && lowered(path.extension().native()) != ".json")
        throw FileError(path, "a report's name must end in .csv or .json");
}

} // namespace kalim::program
