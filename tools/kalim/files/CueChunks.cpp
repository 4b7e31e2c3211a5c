#include "tools/kalim/files/CueChunks.h"

#include <cstdint>
#include <cstring>
#include <string_view>

namespace kalim::program
{
namespace
{

class ByteList
{
public:
    void addText(std::string_view text)
    {
        for (const char character : text)
            bytes.push_back(static_cast<std::byte>(character));
    }

    void addNumber(std::uint32_t number)
    {
        for (unsigned shift = 0; shift < 32; shift += 8)
            bytes.push_back(static_cast<std::byte>(number >> shift & 0xffU));
    }

    void padToEven()
    {
        if (bytes.size() % 2 != 0)
            bytes.push_back(std::byte{0});
    }

    std::vector<std::byte> bytes;
};

std::string_view nameOf(const SF_CUE_POINT& cue)
{
    return {static_cast<const char*>(cue.name), strnlen(cue.name, sizeof cue.name)};
}

RawChunk positions(const std::vector<SF_CUE_POINT>& cues)
{
    ByteList list;
    list.addNumber(static_cast<std::uint32_t>(cues.size()));
    for (const auto& cue : cues)
    {
        list.addNumber(static_cast<std::uint32_t>(cue.indx));
        list.addNumber(cue.sample_offset);
        list.addText("data");
        list.addNumber(0);
        list.addNumber(0);
        list.addNumber(cue.sample_offset);
    }
    return {"cue ", list.bytes, true};
}

RawChunk labels(const std::vector<SF_CUE_POINT>& cues)
{
    ByteList list;
    list.addText("adtl");
    for (const auto& cue : cues)
    {
        const auto name = nameOf(cue);
        if (name.empty())
            continue;
        list.addText("labl");
        list.addNumber(static_cast<std::uint32_t>(4 + name.size() + 1));
        list.addNumber(static_cast<std::uint32_t>(cue.indx));
        list.addText(name);
        list.bytes.push_back(std::byte{0});
        list.padToEven();
    }
    return {"LIST", list.bytes, true};
}

} // namespace

std::vector<RawChunk> cueChunks(const std::vector<SF_CUE_POINT>& cues)
{
    std::vector<RawChunk> chunks;
    if (cues.empty())
        return chunks;
    chunks.push_back(positions(cues));
    constexpr std::size_t emptyList = 4;
    if (auto named = labels(cues); named.data.size() > emptyList)
        chunks.push_back(std::move(named));
    return chunks;
}

} // namespace kalim::program
