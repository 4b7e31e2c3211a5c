#pragma once

#include "dsp/hum/Kalimmer.h"
#include "python/src/PreciseRun.h"

#include <array>

namespace kalim::python
{

/// What the tracking engine is to do with a recording.
struct EngineTask
{
    double rate;                                               ///< Hz
    std::array<float, orvo::audio::numHumParameters> values{}; ///< by the parameters' ids
    int blockSize = 512;                                       ///< samples of a call
};

/// Prepares an engine for the task; gives the length of the blocks that it takes, one hop at most.
/// Rates from 100 Hz on; throws std::bad_alloc.
int prepareEngine(orvo::audio::Kalimmer& engine, const EngineTask& task, int channels);

/// Runs the engine over a recording into `output`, which lines up with it. Samples that are no
/// finite numbers stay. Throws what the checkpoint throws.
template <typename Sample>
void runEngine(const Recording<Sample>& recording, const EngineTask& task, Sample* output,
               const Checkpoint& checkpoint);

} // namespace kalim::python
