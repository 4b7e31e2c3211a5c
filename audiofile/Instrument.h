#pragma once

#include "audiofile/ChunkLayout.h"
#include "audiofile/Markers.h"

#include <sndfile.h>

#include <optional>
#include <vector>

namespace kalim
{

/// Whether a chunk of a file with that layout describes an instrument.
bool isInstrumentChunk(const ChunkLayout& layout, const RawChunk& chunk);

/// The instrument that a recording is a note of, nothing if chunks of that layout tell of none. At
/// most 16 loops; their ends are the first frame behind them.
std::optional<SF_INSTRUMENT> instrumentOf(const ChunkLayout& layout,
                                          const std::vector<RawChunk>& chunks);

/// Chunks that describe an instrument at that sample rate in Hz; none in CAF. AIFF has two loops at
/// most, whose ends are markers, which are added.
std::vector<RawChunk> instrumentChunks(const ChunkLayout& layout, const SF_INSTRUMENT& instrument,
                                       int sampleRate, std::vector<Marker>& markers);

} // namespace kalim
