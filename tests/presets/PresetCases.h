#pragma once

#include <limits>

namespace kalim::test
{

/// What an element of a preset file says. Program and plug-in are tested against the same cases.
struct PresetCase
{
    const char* attributes;

    /// Negative where the element is to be skipped.
    int id;

    float value = 0.0F;
};

inline constexpr float infinite = std::numeric_limits<float>::infinity();

inline constexpr PresetCase presetCases[] = {
    {"id='0' unit='kHz' value='60' name='anything'", 0, 60.0F},
    {"id=' 3' value=' +1.4e1'", 3, 14.0F},
    {"id='&#9;+2.9' value='&#10;60'", 2, 60.0F},
    {"id='1'", 1, 0.0F},
    {"id='1' value=''", 1, 0.0F},
    {"id='1' value='+-5'", 1, 0.0F},
    {"id='1' value='0x10'", 1, 0.0F},
    {"id='1' value='1,5'", 1, 1.0F},
    {"id='1' value='.5e1x'", 1, 5.0F},
    {"id='1' value='99999999999'", 1, 99999999999.0F},
    {"id='1' value='1e300'", 1, infinite},
    {"id='1' value='-1e999'", 1, -infinite},
    {"id='1' value='1e-999'", 1, 0.0F},
    {"id='1' value='-inf'", 1, -infinite},
    {"id='1' value='nan'", 1, std::numeric_limits<float>::quiet_NaN()},
    {"id='7' value='5'", 7, 5.0F},
    {"value='77'", -1},
    {"id='' value='77'", -1},
    {"id='-1' value='77'", -1},
    {"id='2147483648' value='77'", -1},
    {"id='4294967296' value='77'", -1}};

} // namespace kalim::test
