#pragma once

#include "dsp/hum/HumParameters.h"

#include <array>
#include <span>

namespace kalim::lv2
{

/// A value of a control that has a name. Only for a choice: with some hosts a control that has such
/// points can be set to nothing else.
struct ScalePoint
{
    float value;
    const char* label;
};

/// An input port that takes a number in its natural unit.
struct Control
{
    enum class Kind
    {
        real,
        whole,
        toggle,

        /// One of its scale points; a value between them counts as the nearest.
        choice
    };

    /// What hosts are told beyond kind, unit and range.
    enum class Note
    {
        none,

        /// Has no effect.
        idle,

        /// A change moves the sound in time or starts the search for hum anew.
        interrupts
    };

    /// A C identifier, which hosts without a window set the control by.
    const char* symbol;

    /// An upper camel case word.
    const char* name;

    /// What it does, without an end.
    const char* comment;

    Kind kind;

    /// Empty for a plain number.
    const char* unit;
    float min;
    float max;
    float defaultValue;
    std::span<const ScalePoint> points;
    Note note = Note::none;
};

inline constexpr std::array<ScalePoint, 2> frequenciesOfMains{
    {{50.0F, "50 Hz mains"}, {60.0F, "60 Hz mains"}}};

/// How late the precise remover may play in ms, to see what comes.
inline constexpr std::array<ScalePoint, 3> lookAheads{
    {{0.0F, "None"}, {50.0F, "50 ms"}, {200.0F, "200 ms"}}};

/// The port of a parameter of the engine. Its symbol is what the parameter is called on the command
/// line.
constexpr Control makeControl(const orvo::audio::HumParameter& row)
{
    using Kind = orvo::audio::HumParameter::Kind;
    Control control{row.option, row.name,         row.help, Control::Kind::real, row.unit, row.min,
                    row.max,    row.defaultValue, {}};
    if (row.kind != Kind::real)
        control.kind = row.kind == Kind::whole ? Control::Kind::whole : Control::Kind::toggle;
    if (row.id == orvo::audio::Sensitivity)
        control.note = Control::Note::idle;
    if (row.id == orvo::audio::AggressiveMode)
        control.note = Control::Note::interrupts;
    return control;
}

consteval auto makeTrackingControls()
{
    std::array<Control, orvo::audio::numHumParameters> controls{};
    for (std::size_t i = 0; i < controls.size(); ++i)
        controls[i] = makeControl(orvo::audio::humParameters[i]);
    return controls;
}

/// The controls of the tracking engine, in the order of its parameters.
inline constexpr auto trackingControls = makeTrackingControls();

/// Indices into the controls of the precise remover. What is added later comes last.
enum PreciseControl : std::size_t
{
    Mains,
    LookAhead,
    Strength,
    Residual
};

/// The controls of the precise remover.
inline constexpr std::array<Control, 4> preciseControls{
    {{"mains", "Mains", "Frequency near which the hum is", Control::Kind::choice, "Hz", 50.0F,
      60.0F, 50.0F, frequenciesOfMains, Control::Note::interrupts},
     {"lookahead", "LookAhead", "How late the output may be; removal is better if it is",
      Control::Kind::choice, "ms", 0.0F, 200.0F, 0.0F, lookAheads, Control::Note::interrupts},
     {"strength",
      "Strength",
      "Share of the hum to take off",
      Control::Kind::real,
      "%",
      0.0F,
      100.0F,
      100.0F,
      {}},
     {"residual",
      "Residual",
      "Play what is removed instead of the rest",
      Control::Kind::toggle,
      "",
      0.0F,
      1.0F,
      0.0F,
      {}}}};

} // namespace kalim::lv2
