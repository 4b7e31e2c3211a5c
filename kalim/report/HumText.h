#pragma once

#include "dsp/precise/HumSummary.h"

#include <nlohmann/json.hpp>

#include <span>
#include <string>
#include <vector>

namespace kalim::program
{

/// "steady", "tape", "switched", "breathing", "none", or "bursts, not hum".
const char* nameOf(orvo::audio::precise::HumKind kind);

/// What was found, in one line without its end.
std::string describeHum(const orvo::audio::precise::HumSummary& hum);

/// The same as a JSON object: null where there is no hum.
nlohmann::ordered_json humToJson(const orvo::audio::precise::HumSummary& hum);

/// What is doubtful, a line each: harmonics that hardly stand out, and such on which something else
/// sounds.
std::vector<std::string> findDoubts(const orvo::audio::precise::HumSummary& hum);

/// The first few of some times in seconds, and how many there are beside: "1.2 s, 3.4 s".
std::string changesToText(std::span<const double> times);

/// Harmonics by channel, for people.
std::string harmonicsToText(const orvo::audio::precise::HumSummary& hum);

} // namespace kalim::program
