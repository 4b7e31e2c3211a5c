#pragma once

#include "dsp/hum/HumParameters.h"
#include "presets/PresetFile.h"

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace CLI
{
class App;
class Validator;
} // namespace CLI

namespace kalim::program
{

/// Refuses anything but a number of that kind within the range; NaN is refused too.
CLI::Validator within(double min, double max, std::string_view unit,
                      orvo::audio::HumParameter::Kind kind);

/// The options of the hum engine, one for each of its parameters and all made from their table.
class HumOptions
{
public:
    /// Must not be moved afterwards, for the options write into it.
    void add(CLI::App& app, const std::string& group);

    /// What was given, in the order of the command line.
    const std::vector<ParameterValue>& getValues() const { return values; }

    /// Parameters whose value is to be taken from the recording.
    const std::set<orvo::audio::HumParameterId>& getAutomatic() const { return automatic; }

    /// The first option given that only the engine has, empty if there is none; residual mode
    /// precise removal has too.
    static std::string findEngineOption(const CLI::App& app);

private:
    void addValue(CLI::App& app, const orvo::audio::HumParameter& parameter,
                  const std::string& group);
    void addSwitch(CLI::App& app, const orvo::audio::HumParameter& parameter,
                   const std::string& group);
    void setValue(orvo::audio::HumParameterId id, const std::string& text);
    void setSwitch(orvo::audio::HumParameterId id, std::int64_t count);

    std::vector<ParameterValue> values;
    std::set<orvo::audio::HumParameterId> automatic;
};

} // namespace kalim::program
