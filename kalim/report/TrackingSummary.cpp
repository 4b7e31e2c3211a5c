#include "kalim/report/TrackingSummary.h"

#include <algorithm>

namespace kalim::program
{

TrackingSummary::TrackingSummary(float startFrequency)
    : start(startFrequency)
    , end(startFrequency)
    , lowest(startFrequency)
    , highest(startFrequency)
{
}

void TrackingSummary::add(float frequency)
{
    if (count == 0.0)
        start = lowest = highest = frequency;
    end = frequency;
    lowest = std::min(lowest, frequency);
    highest = std::max(highest, frequency);
    sum += static_cast<double>(frequency);
    count += 1.0;
}

} // namespace kalim::program
