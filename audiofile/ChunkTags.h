#pragma once

#include "audiofile/ChunkLayout.h"
#include "audiofile/Tags.h"

#include <vector>

namespace kalim
{

/// Whether a chunk of a file with that layout holds tags, which tagsOfChunks() reads.
bool isTagChunk(const ChunkLayout& layout, const RawChunk& chunk);

/// Whether it holds comments with a date or a place of their own, which no tag has.
bool hasDatedComments(const RawChunk& chunk);

/// What the chunks of a file say of its music.
Tags tagsOfChunks(const ChunkLayout& layout, const std::vector<RawChunk>& chunks);

/// Chunks that say it: those that every program knows, and an ID3 tag where they do not suffice and
/// the container has a place for one.
std::vector<RawChunk> chunksOfTags(const ChunkLayout& layout, const Tags& tags);

} // namespace kalim
