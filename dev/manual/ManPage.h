#pragma once

#include "dev/manual/CommandTable.h"

#include <string>
#include <vector>

namespace kalim::manual
{

/// What a page tells that does not follow from the options.
struct PageTexts
{
    std::vector<std::string> synopses; ///< the words after the name

    /// A command line and what it is for.
    struct Example
    {
        std::string commandLine;
        std::string purpose;
    };

    std::vector<Example> examples;
    std::vector<std::string> seeAlso; ///< names of pages of section 1
};

/// A page in man's own macros. The date is shown as it stands.
std::string makeManPage(const Command& command, const PageTexts& texts, const std::string& version,
                        const std::string& date);

/// The page's name: "kalim-detect" of "kalim detect".
std::string pageNameOf(const Command& command);

} // namespace kalim::manual
