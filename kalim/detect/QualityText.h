#pragma once

#include "kalim/detect/QualityMeter.h"

#include <nlohmann/json.hpp>

#include <string>

namespace kalim::program
{

/// For people, indented lines.
std::string qualityToText(const Quality& quality);

/// For programs: null where a value is not known; times in seconds, channels from 1.
nlohmann::ordered_json qualityToJson(const Quality& quality);

} // namespace kalim::program
