#include "tools/kalim/HumSettings.h"

namespace kalim::program
{

HumSettings::HumSettings()
{
    const orvo::audio::Kalimmer remover;
    for (std::size_t id = 0; id < count; ++id)
        values[id] = remover.getParameter(static_cast<int>(id)).getDefaultValueAsFloat();
}

void HumSettings::applyTo(orvo::audio::Kalimmer& remover) const
{
    for (std::size_t id = 0; id < count; ++id)
        remover.setParameterValue(static_cast<int>(id), values[id], false);
}

} // namespace kalim::program
