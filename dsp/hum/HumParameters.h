#pragma once

#include <array>
#include <cstddef>

namespace orvo::audio
{

/// The engine's parameters: indices into its list and ids in states, presets and hosts. What is
/// added later comes last, for the numbers are stored.
enum HumParameterId : int
{
    FundamentalFrequency,
    Sensitivity,
    Adaptivity,
    NumberOfHarmonics,
    OnlyOddHarmonics,
    AggressiveMode,
    ResidualMode
};

/// The most harmonics that can be treated.
inline constexpr int maximumNumberOfHarmonics = 96;

/// All that there is to know of a parameter. Engine, public parameters, options and reports are
/// made from it; LV2 description and manuals are tested against it.
struct HumParameter
{
    /// What its values are; a toggle is 0 or 1.
    enum class Kind
    {
        real,
        whole,
        toggle
    };

    HumParameterId id;

    /// As hosts and presets know it.
    const char* name;

    Kind kind;

    /// Empty for a plain number; the range and the default are in this unit, 0 and 1 for a toggle.
    const char* unit;
    float min;
    float max;
    float defaultValue;

    /// Digits after the point in the engine's text of a value.
    int decimals;

    /// The step that controls and hosts offer. One as wide as the range marks a toggle.
    float interval;

    /// The program's option without its dashes, also the key in the program's reports.
    const char* option;

    /// The option's one-letter form, 0 for none.
    char shortOption;

    /// What the option's value is called in the program's help, empty for a toggle.
    const char* argument;

    /// The option's line in the program's help.
    const char* help;
};

inline constexpr std::array humParameters{
    HumParameter{FundamentalFrequency, "FundamentalFrequency", HumParameter::Kind::real, "Hz",
                 40.0F, 500.0F, 50.0F, 2, 0.1F, "fundamental", 'f', "HZ",
                 "Frequency of the hum to start from"},
    HumParameter{Sensitivity, "Sensitivity", HumParameter::Kind::real, "%", 0.0F, 100.0F, 30.0F, 1,
                 0.1F, "sensitivity", 's', "PERCENT",
                 "Stored and shown, but the processing does not use it"},
    HumParameter{Adaptivity, "Adaptivity", HumParameter::Kind::real, "Hz/s", 0.0F, 80.0F, 15.0F, 1,
                 1.0F, "adaptivity", 'a', "HZ_PER_S", "How fast the fundamental may drift"},
    HumParameter{NumberOfHarmonics, "NumberOfHarmonics", HumParameter::Kind::whole, "", 0.0F,
                 static_cast<float>(maximumNumberOfHarmonics), 1.0F, 0, 1.0F, "harmonics", 'n', "N",
                 "How many harmonics to remove, the fundamental included"},
    HumParameter{OnlyOddHarmonics, "OnlyOddHarmonics", HumParameter::Kind::toggle, "", 0.0F, 1.0F,
                 0.0F, 0, 1.0F, "odd", 0, "", "Count the odd harmonics only: 1, 3, 5, ..."},
    HumParameter{AggressiveMode, "AggressiveMode", HumParameter::Kind::toggle, "", 0.0F, 1.0F, 0.0F,
                 0, 1.0F, "aggressive", 0, "", "Cut notches instead"},
    HumParameter{ResidualMode, "ResidualMode", HumParameter::Kind::toggle, "", 0.0F, 1.0F, 0.0F, 0,
                 1.0F, "residual", 0, "", "Write what is removed instead of the rest"}};

inline constexpr std::size_t numHumParameters = humParameters.size();

/// Whether every row stands at the index that its id is.
consteval bool areRowsInOrder()
{
    for (std::size_t index = 0; index < numHumParameters; ++index)
        if (humParameters[index].id != static_cast<HumParameterId>(index))
            return false;
    return true;
}

static_assert(areRowsInOrder());

} // namespace orvo::audio
