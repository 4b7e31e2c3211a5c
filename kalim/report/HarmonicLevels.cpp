#include "kalim/report/HarmonicLevels.h"

#include <algorithm>
#include <cmath>

namespace kalim::program
{
namespace
{

/// The strongest line this close to a harmonic is taken for it, in Hz; for each harmonic a little
/// more, since an error of the tracking counts once per harmonic.
constexpr double fixedReach = 1.0;
constexpr double reachPerHarmonic = 0.1;

/// The bin of the highest level between two bins, which may lie between whole ones.
std::size_t findStrongest(const std::vector<double>& levels, double from, double to)
{
    const double last = static_cast<double>(levels.size()) - 1.0;
    const double low = std::clamp(std::floor(from), 0.0, last);
    const double high = std::clamp(std::ceil(to), low, last);
    const auto first = levels.begin() + static_cast<std::ptrdiff_t>(low);
    const auto end = levels.begin() + static_cast<std::ptrdiff_t>(high) + 1;
    return static_cast<std::size_t>(std::max_element(first, end) - levels.begin());
}

} // namespace

std::vector<HarmonicLevels> measureHarmonics(const SpectrumMeter& before,
                                             const SpectrumMeter& after,
                                             orvo::audio::HarmonicSelection selection,
                                             double fundamental)
{
    if (before.getResolution() > fundamental)
        return {};
    const std::vector<double> levelsBefore = before.getLevels();
    const std::vector<double> levelsAfter = after.getLevels();
    const double spacing = before.getBinSpacing();
    const double highest = spacing * (static_cast<double>(levelsBefore.size()) - 1.0);
    std::vector<HarmonicLevels> harmonics;
    for (int index = 0; index < selection.count; ++index)
    {
        const int number = selection.getHarmonicNumber(index);
        const double frequency = number * fundamental;
        const double reach = fixedReach + reachPerHarmonic * number;
        if (frequency + reach > highest)
            break;
        const std::size_t bin = findStrongest(levelsBefore, (frequency - reach) / spacing,
                                              (frequency + reach) / spacing);
        harmonics.push_back(
            {number, static_cast<double>(bin) * spacing, levelsBefore[bin], levelsAfter[bin]});
    }
    return harmonics;
}

} // namespace kalim::program
