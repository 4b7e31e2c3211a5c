#pragma once

#include "dsp/precise/PreciseRemover.h"
#include "python/src/Recording.h"

#include <functional>
#include <optional>

namespace kalim::python
{

/// Called now and then by what takes long; may throw to end it.
using Checkpoint = std::function<void()>;

/// A part of a recording in samples.
struct Part
{
    std::int64_t first;
    std::int64_t length;
};

/// What precise removal is to do with a recording.
struct PreciseTask
{
    double rate; ///< Hz
    orvo::audio::precise::PreciseSettings settings{};
    std::optional<Part> learned{}; ///< where nothing but hum sounds
    bool residual = false;
};

/// Removes hum into `output`, which is as long as the recording, channel after channel; without
/// output it only looks. Two threads of its own work at the same time. Throws std::invalid_argument
/// where there is no hum to learn from, and what the checkpoint throws.
template <typename Sample>
orvo::audio::precise::HumSummary runPrecise(const Recording<Sample>& recording,
                                            const PreciseTask& task, Sample* output,
                                            const Checkpoint& checkpoint);

} // namespace kalim::python
