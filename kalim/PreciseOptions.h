#pragma once

#include "dsp/precise/PreciseRemover.h"

#include <string>

namespace CLI
{
class App;
}

namespace kalim::program
{

/// The options of precise removal as the user spelt them, empty where not given.
struct PreciseOptions
{
    std::string mains;    ///< "50", "60", another frequency in Hz, or "auto"
    std::string range;    ///< "LO:HI" in Hz
    std::string strength; ///< percent
    std::string learn;    ///< "START:END" in seconds

    /// Adds the options that say where the fundamental is.
    void addFundamental(CLI::App& app, const std::string& group);

    /// Adds those that say how it is removed.
    void addRemoval(CLI::App& app, const std::string& group);

    bool hasRemoval() const { return !strength.empty() || !learn.empty(); }

    bool hasFundamental() const { return !mains.empty() || !range.empty(); }

    /// Throws std::invalid_argument with a line for the user that begins with the option.
    orvo::audio::precise::PreciseSettings parse() const;
};

} // namespace kalim::program
