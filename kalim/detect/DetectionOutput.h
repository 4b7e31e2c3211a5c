#pragma once

#include "kalim/detect/FileFindings.h"

#include <string>

namespace kalim::program
{

/// How findings are shown.
enum class DetectionStyle
{
    text,  ///< some lines per file
    table, ///< a line per file in columns
    csv,   ///< RFC 4180
    json   ///< an array
};

/// Makes the text of findings, file after file.
class DetectionOutput
{
public:
    explicit DetectionOutput(DetectionStyle style);

    /// What comes before the first file.
    std::string begin() const;

    /// What is to be shown of the next file.
    std::string show(const FileFindings& findings);

    /// What comes after the last.
    std::string end() const;

private:
    DetectionStyle style;
    bool isFirst = true;
};

} // namespace kalim::program
