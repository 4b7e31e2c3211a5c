#pragma once

#include "presets/PresetFile.h"

#include <array>
#include <limits>
#include <optional>

namespace kalim::test
{

/// What an element of a preset file says. Program and plug-in are tested against the same cases.
struct PresetCase
{
    const char* attributes;

    /// Nothing where the element is to be skipped.
    std::optional<ParameterValue> expected;
};

inline constexpr float infinite = std::numeric_limits<float>::infinity();

inline constexpr std::array presetCases{
    PresetCase{"id='0' unit='kHz' value='60' name='anything'", ParameterValue{0, 60.0F}},
    PresetCase{"id=' 3' value=' +1.4e1'", ParameterValue{3, 14.0F}},
    PresetCase{"id='&#9;+2.9' value='&#10;60'", ParameterValue{2, 60.0F}},
    PresetCase{"id='1'", ParameterValue{1, 0.0F}},
    PresetCase{"id='1' value=''", ParameterValue{1, 0.0F}},
    PresetCase{"id='1' value='abc'", ParameterValue{1, 0.0F}},
    PresetCase{"id='1' value='+-5'", ParameterValue{1, 0.0F}},
    PresetCase{"id='1' value='0x10'", ParameterValue{1, 0.0F}},
    PresetCase{"id='1' value='1,5'", ParameterValue{1, 1.0F}},
    PresetCase{"id='1' value='.5e1x'", ParameterValue{1, 5.0F}},
    PresetCase{"id='1' value='99999999999'", ParameterValue{1, 99999999999.0F}},
    PresetCase{"id='1' value='1e300'", ParameterValue{1, infinite}},
    PresetCase{"id='1' value='1.5e999'", ParameterValue{1, infinite}},
    PresetCase{"id='1' value='-1e999'", ParameterValue{1, -infinite}},
    PresetCase{"id='1' value='1e-999'", ParameterValue{1, 0.0F}},
    PresetCase{"id='1' value='-inf'", ParameterValue{1, -infinite}},
    PresetCase{"id='1' value='nan'", ParameterValue{1, std::numeric_limits<float>::quiet_NaN()}},
    PresetCase{"id='7' value='5'", ParameterValue{7, 5.0F}},
    PresetCase{"value='77'", {}},
    PresetCase{"id='' value='77'", {}},
    PresetCase{"id='two' value='77'", {}},
    PresetCase{"id='-1' value='77'", {}},
    PresetCase{"id='2147483648' value='77'", {}},
    PresetCase{"id='4294967296' value='77'", {}}};

} // namespace kalim::test
