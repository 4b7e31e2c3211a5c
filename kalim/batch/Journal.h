#pragma once

#include "audiofile/FileBytes.h"
#include "kalim/batch/BatchPlan.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <map>
#include <string>

namespace kalim::program
{

/// What has become of every file of a run, one JSON object per line in a file, by default a hidden
/// one of the output folder. A line is added as soon as a file is finished, so that a run that was
/// killed can be taken up again. While one run holds the journal no other can.
class Journal
{
public:
    using Row = nlohmann::ordered_json;

    /// Reads what is there; a last line that was cut off is left out. Creates file and folder where
    /// they are missing. Throws FileError when that fails, or when another run is at work with the
    /// journal.
    explicit Journal(const std::filesystem::path& name);

    /// The one that a run has by default.
    static std::filesystem::path nameIn(const std::filesystem::path& folder);

    /// The row of a file whose output is there and was made from the file as it is now, by the same
    /// settings; null otherwise.
    const Row* findFinished(const BatchItem& item, const std::string& settings) const;

    /// Adds the row of a file, in place of an older one. Throws FileError when the disk is full.
    void add(const BatchItem& item, Row row);

    /// The newest row of a file, null if there is none.
    const Row* find(const BatchItem& item) const;

private:
    void read();

    std::filesystem::path path;
    FileDescriptor file;
    std::map<std::string, Row> rows; // by output
};

} // namespace kalim::program
