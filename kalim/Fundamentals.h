#pragma once

#include "dsp/precise/PreciseRemover.h"

#include <string>

namespace kalim::program
{

/// Where the user says the fundamental is: the texts of two options, empty where not given.
struct FundamentalChoice
{
    std::string mains; ///< "50", "60", another frequency in Hz, or "auto"
    std::string range; ///< "LO:HI" in Hz

    bool isGiven() const { return !mains.empty() || !range.empty(); }

    /// Narrows the ranges of `settings`. Throws std::invalid_argument with a line for the user that
    /// begins with the option.
    void applyTo(orvo::audio::precise::PreciseSettings& settings) const;
};

/// What the help says of both.
struct FundamentalHelp
{
    const char* mains;
    const char* range;
};

inline constexpr FundamentalHelp fundamentalHelp{
    "50, 60 or another frequency in Hz near which the hum is, or auto (default)",
    "Range in Hz in which the fundamental is, between 15 and 440"};

} // namespace kalim::program
