#pragma once

#include "audiofile/AudioFileReader.h"
#include "dsp/precise/PreciseRemover.h"
#include "plugin/BasePluginProcessor.h"
#include "standalone/Progress.h"

#include <filesystem>
#include <functional>
#include <optional>

namespace kalim::standalone
{

/// Takes the next frames of a file, every channel by its own pointer.
using FrameTaker = std::function<void(const float* const* channels, int numFrames)>;

/// Gives a file from its start to its end in pieces of some tens of thousands of samples. Throws
/// FileError, Cancelled and what the taker throws.
void readInPieces(AudioFileReader& reader, const Progress& progress, const FrameTaker& taker);

/// Reads a file twice, to find its hum and to give it with its samples to the sink; memory does not
/// grow with the length. Throws FileError, also for files that cannot be analysed, Cancelled, and
/// what the sink throws. Never on the message thread: a minute of sound takes seconds.
orvo::audio::precise::HumSummary
readPrecisely(const std::filesystem::path& file, Progress& progress,
              const orvo::audio::precise::PreciseRemover::Sink& sink);

/// The hum of a file in the terms of the window's settings.
struct FoundHum
{
    double frequency; ///< Hz
    int numHarmonics; ///< 1 to 96, of the odd ones if there are no others
    bool isOnlyOdd;
    orvo::audio::precise::HumKind kind;
};

/// The harmonics that stand out of the sound decide how many are to be removed. Nothing without
/// hum. Throws like readPrecisely().
std::optional<FoundHum> findHum(const std::filesystem::path& file, Progress& progress);

/// Makes it the window's settings, as one change of the user's. Message thread.
void applyHum(BasePlugInProcessor& plugIn, const FoundHum& hum);

} // namespace kalim::standalone
