#pragma once

#include "dsp/precise/CombDetector.h"
#include "dsp/precise/LineReader.h"

namespace orvo::audio::precise
{

/// The channels of a view where hum is clearest, if it is in any: of more than four as many as are
/// needed to find what all share. `highest` is that of the fundamentals in range. Needs heap.
ChannelView chooseClearest(const ChannelView& view, const Series<FundamentalRange>& ranges,
                           double highest);

} // namespace orvo::audio::precise
