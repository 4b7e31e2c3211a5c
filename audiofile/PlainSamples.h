#pragma once

#include "audiofile/SampleSource.h"

#include <filesystem>
#include <memory>

namespace kalim
{

/// The samples of a WAV file of any kind (RIFX, RF64 and BW64 among them) that are neither
/// compressed nor read right by the sound library in every case: big-endian ones, and those behind
/// chunks of odd sizes. Null where it is no such file or the samples are of another kind.
std::unique_ptr<SampleSource> openPlainSamples(const std::filesystem::path& path, int descriptor);

} // namespace kalim
