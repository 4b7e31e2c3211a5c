#pragma once

#include "audiofile/ChunkLayout.h"
#include "audiofile/FileBytes.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>
#include <string_view>
#include <vector>

namespace kalim
{

/// The content of a chunk as it is built. Numbers have the byte order of the layout.
class ChunkWriter
{
public:
    explicit ChunkWriter(const ChunkLayout& chunkLayout)
        : layout(chunkLayout)
    {
    }

    void add(std::span<const std::byte> added)
    {
        std::ranges::copy(added, std::back_inserter(bytes));
    }

    void addText(std::string_view text) { add(std::as_bytes(std::span(text))); }

    void addNumber(std::uint64_t number, std::size_t size) { add(layout.bytes(number, size)); }

    ChunkLayout layout;
    std::vector<std::byte> bytes;
};

/// Takes the content of a chunk from its front. What is not there reads as nothing.
class ChunkParser
{
public:
    ChunkParser(const ChunkLayout& chunkLayout, std::span<const std::byte> data)
        : layout(chunkLayout)
        , rest(data)
    {
    }

    bool isAtEnd() const { return rest.empty(); }

    std::span<const std::byte> take(std::uint64_t size)
    {
        const auto taken = rest.first(std::min<std::uint64_t>(size, rest.size()));
        rest = rest.subspan(taken.size());
        return taken;
    }

    std::string_view takeText(std::uint64_t size) { return asText(take(size)); }

    std::uint64_t takeNumber(std::size_t size)
    {
        const auto bytes = take(size);
        return bytes.size() == size ? layout.number(bytes) : 0;
    }

private:
    ChunkLayout layout;
    std::span<const std::byte> rest;
};

} // namespace kalim
