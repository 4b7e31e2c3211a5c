#include "kalim/HumOptions.h"

#include "base/Text.h"
#include "dsp/hum/Kalimmer.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <cmath>

namespace kalim::program
{
namespace
{

using orvo::audio::HumParameter;
using orvo::audio::HumParameterId;
using orvo::audio::Kalimmer;

/// Parameters whose value can be taken from the recording.
bool canBeAutomatic(HumParameterId id)
{
    return id == Kalimmer::FundamentalFrequency || id == Kalimmer::NumberOfHarmonics ||
           id == Kalimmer::OnlyOddHarmonics;
}

constexpr const char* fromRecording = "auto";
constexpr std::int64_t automaticCount = 2; // what stands for it in a switch

/// Refuses what is neither on nor off, and spells the others as the parser can read them.
CLI::Validator onOrOff(HumParameterId id)
{
    const auto read = [id](std::string& text)
    {
        if (text == fromRecording && canBeAutomatic(id))
        {
            text = std::to_string(automaticCount);
            return std::string();
        }
        bool isOn = false;
        if (!CLI::detail::lexical_cast(text, isOn))
            return fmt::format("'{}' is neither on nor off", text);
        text = isOn ? "true" : "false";
        return std::string();
    };
    return {read, ""};
}

std::string flagsOf(const HumParameter& parameter)
{
    return parameter.shortOption != 0
               ? fmt::format("-{},--{}", parameter.shortOption, parameter.option)
               : fmt::format("--{}", parameter.option);
}

} // namespace

CLI::Validator within(double min, double max, std::string_view unit, HumParameter::Kind kind)
{
    const std::string range = fmt::format("{} to {}{}{}", min, max, unit.empty() ? "" : " ", unit);
    const auto check = [=](std::string& text)
    {
        text = withoutUnit(text, unit);
        double value = 0.0;
        const bool isNumber = CLI::detail::lexical_cast(text, value);
        if (!isNumber || !(value >= min && value <= max))
            return fmt::format("'{}' is not in the range {}", text, range);
        if (kind == HumParameter::Kind::whole && value != std::floor(value))
            return fmt::format("'{}' is no whole number in the range {}", text, range);
        return std::string();
    };
    return {check, range};
}

void HumOptions::add(CLI::App& app, const std::string& group)
{
    for (const HumParameter& parameter : orvo::audio::humParameters)
        if (parameter.kind == HumParameter::Kind::toggle)
            addSwitch(app, parameter, group);
        else
            addValue(app, parameter, group);
}

void HumOptions::addValue(CLI::App& app, const HumParameter& parameter, const std::string& group)
{
    const bool takesAuto = canBeAutomatic(parameter.id);
    const CLI::Validator limits =
        within(static_cast<double>(parameter.min), static_cast<double>(parameter.max),
               parameter.unit, parameter.kind);
    app.add_option_function<std::string>(
           flagsOf(parameter),
           [this, id = parameter.id](const std::string& text) { setValue(id, text); },
           fmt::format("{} ({}default {:g})", parameter.help,
                       takesAuto ? "auto: from the recording; " : "", parameter.defaultValue))
        ->transform(CLI::Validator(
            [=](std::string& text)
            { return takesAuto && text == fromRecording ? std::string() : limits(text); },
            limits.get_description()))
        ->type_name(parameter.argument)
        ->group(group);
}

void HumOptions::setValue(HumParameterId id, const std::string& text)
{
    if (text == fromRecording)
    {
        automatic.insert(id);
        return;
    }
    automatic.erase(id);
    float value = 0.0F;
    CLI::detail::lexical_cast(text, value);
    values.push_back({id, value});
}

void HumOptions::addSwitch(CLI::App& app, const HumParameter& parameter, const std::string& group)
{
    app.add_flag_function(
           flagsOf(parameter),
           [this, id = parameter.id](std::int64_t count) { setSwitch(id, count); }, parameter.help)
        ->transform(onOrOff(parameter.id))
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)
        ->group(group);
}

void HumOptions::setSwitch(HumParameterId id, std::int64_t count)
{
    if (count == automaticCount)
        automatic.insert(id);
    else
        values.push_back({id, count > 0 ? 1.0F : 0.0F});
}

std::string HumOptions::findEngineOption(const CLI::App& app)
{
    for (const HumParameter& parameter : orvo::audio::humParameters)
        if (parameter.id != Kalimmer::ResidualMode &&
            app.count(fmt::format("--{}", parameter.option)) > 0)
            return fmt::format("--{}", parameter.option);
    return "";
}

} // namespace kalim::program
