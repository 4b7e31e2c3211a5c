#pragma once

#include "dsp/hum/HarmonicSelection.h"
#include "dsp/hum/Kalimmer.h"
#include "dsp/precise/HumSummary.h"
#include "presets/PresetFile.h"

#include <array>
#include <set>
#include <span>

namespace kalim::program
{

/// Values of the hum engine's parameters by id, in their natural units.
class HumSettings
{
public:
    static constexpr std::size_t count = orvo::audio::numHumParameters;

    /// The defaults.
    HumSettings();

    float get(orvo::audio::HumParameterId id) const { return values[static_cast<std::size_t>(id)]; }

    bool isOn(orvo::audio::HumParameterId id) const { return get(id) > 0.5F; }

    /// Which multiples of the fundamental they ask to treat.
    orvo::audio::HarmonicSelection getSelection() const;

    /// Takes values over one after the other, limited as the engine limits them. NaN stands for the
    /// default, with which the engine would work in its place. Skips ids of no parameter.
    void update(std::span<const ParameterValue> changes);

    /// Takes the settings named from the hum that was found: the mean fundamental, as many
    /// harmonics as reach up to the last that stands 3 dB above its surroundings, only odd ones
    /// where no even one does. No harmonics where no hum was found.
    void takeFrom(const orvo::audio::precise::HumSummary& hum,
                  const std::set<orvo::audio::HumParameterId>& ids);

    /// Gives them all to an engine.
    void applyTo(orvo::audio::Kalimmer& engine) const;

private:
    std::array<float, count> values{};
};

} // namespace kalim::program
