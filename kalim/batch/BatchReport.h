#pragma once

#include "kalim/batch/BatchPlan.h"
#include "kalim/report/Report.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace kalim::program
{

/// What is told of one file.
using BatchRow = nlohmann::ordered_json;

/// The row of a file before anything was done to it.
BatchRow makeRow(const BatchItem& item, const std::string& settings);

/// Adds what was done to the file.
void addReport(BatchRow& row, const Report& report);

/// Writes a row per file, as CSV (RFC 4180) or JSON by the name's ending, in place of an older
/// file. Throws FileError.
void writeBatchReport(const std::filesystem::path& path, const std::vector<BatchRow>& rows);

/// Throws FileError when the name ends in neither .csv nor .json.
void requireReportName(const std::filesystem::path& path);

/// For programs: the rows as one JSON array.
std::string batchRowsToJson(const std::vector<BatchRow>& rows);

} // namespace kalim::program
