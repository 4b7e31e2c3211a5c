#include "audiofile/Instrument.h"

#include "audiofile/ChunkBytes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

namespace kalim
{
namespace
{

constexpr int mostLoops = 16;
constexpr int mostAiffLoops = 2;

/// Kinds of loops in the order in which a sampler chunk numbers them.
constexpr std::array samplerModes{SF_LOOP_FORWARD, SF_LOOP_ALTERNATING, SF_LOOP_BACKWARD};

/// The same for AIFF, whose first kind is none.
constexpr std::array aiffModes{SF_LOOP_NONE, SF_LOOP_FORWARD, SF_LOOP_ALTERNATING};

template <typename Modes>
int modeOf(const Modes& modes, std::uint64_t number)
{
    return number < modes.size() ? modes[number] : SF_LOOP_FORWARD;
}

template <typename Modes>
std::uint64_t numberOf(const Modes& modes, int mode, int otherwise)
{
    const auto* found = std::ranges::find(modes, mode);
    return static_cast<std::uint64_t>(found == modes.end() ? otherwise : found - modes.begin());
}

/// What a sampler takes for granted.
SF_INSTRUMENT plainInstrument()
{
    SF_INSTRUMENT instrument{};
    instrument.gain = 1;
    instrument.key_hi = 127;
    instrument.velocity_hi = 127;
    return instrument;
}

char takeChar(ChunkParser& parser)
{
    return static_cast<char>(parser.takeNumber(1));
}

/// Maker, product, period, note, fraction of a semitone, time code (two numbers), loops, more data.
void readSampler(const ChunkLayout& layout, const RawChunk& chunk, SF_INSTRUMENT& instrument)
{
    ChunkParser parser(layout, chunk.data);
    parser.take(12);
    instrument.basenote = static_cast<char>(parser.takeNumber(4) & 0x7fU);
    // A fraction of 2^32 is a semitone of 100 cents.
    instrument.detune = static_cast<char>(parser.takeNumber(4) * 100 >> 32);
    parser.take(8);
    const auto count = parser.takeNumber(4);
    parser.take(4);
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(count, mostLoops) && !parser.isAtEnd();
         ++i)
    {
        auto& loop = instrument.loops[instrument.loop_count++];
        parser.take(4);
        loop.mode = modeOf(samplerModes, parser.takeNumber(4));
        loop.start = static_cast<std::uint32_t>(parser.takeNumber(4));
        loop.end = static_cast<std::uint32_t>(parser.takeNumber(4)) + 1;
        parser.take(4);
        loop.count = static_cast<std::uint32_t>(parser.takeNumber(4));
    }
}

/// Note, fine tuning, gain, and ranges of keys and velocities.
void readRanges(const ChunkLayout& layout, const RawChunk& chunk, SF_INSTRUMENT& instrument)
{
    ChunkParser parser(layout, chunk.data);
    instrument.basenote = takeChar(parser);
    instrument.detune = takeChar(parser);
    instrument.gain = static_cast<std::int8_t>(takeChar(parser));
    instrument.key_lo = takeChar(parser);
    instrument.key_hi = takeChar(parser);
    instrument.velocity_lo = takeChar(parser);
    instrument.velocity_hi = takeChar(parser);
}

SF_INSTRUMENT readAiff(const ChunkLayout& layout, const RawChunk& chunk,
                       const std::vector<Marker>& markers)
{
    auto instrument = plainInstrument();
    ChunkParser parser(layout, chunk.data);
    instrument.basenote = takeChar(parser);
    instrument.detune = takeChar(parser);
    instrument.key_lo = takeChar(parser);
    instrument.key_hi = takeChar(parser);
    instrument.velocity_lo = takeChar(parser);
    instrument.velocity_hi = takeChar(parser);
    instrument.gain = static_cast<std::int16_t>(parser.takeNumber(2));
    const auto takeFrame = [&]
    {
        const auto number = static_cast<std::uint32_t>(parser.takeNumber(2));
        const auto found = std::ranges::find(markers, number, &Marker::number);
        return found == markers.end() ? 0 : static_cast<std::uint32_t>(found->frame);
    };
    for (int i = 0; i < mostAiffLoops; ++i)
    {
        const int mode = modeOf(aiffModes, parser.takeNumber(2));
        const auto start = takeFrame();
        const auto end = takeFrame();
        if (mode != SF_LOOP_NONE)
            instrument.loops[instrument.loop_count++] = {mode, start, end, 0};
    }
    return instrument;
}

RawChunk samplerChunk(const ChunkLayout& layout, const SF_INSTRUMENT& instrument, int sampleRate)
{
    ChunkWriter chunk(layout);
    chunk.addNumber(0, 8);
    chunk.addNumber(1'000'000'000U / static_cast<unsigned>(sampleRate), 4);
    chunk.addNumber(static_cast<unsigned char>(instrument.basenote), 4);
    const auto cents =
        std::clamp<std::uint64_t>(static_cast<unsigned char>(instrument.detune), 0, 99);
    // Rounded up, for readers round down.
    chunk.addNumber(((cents << 32) + 99) / 100, 4);
    chunk.addNumber(0, 8);
    chunk.addNumber(static_cast<std::uint64_t>(instrument.loop_count), 4);
    chunk.addNumber(0, 4);
    for (int i = 0; i < instrument.loop_count; ++i)
    {
        const auto& loop = instrument.loops[i];
        chunk.addNumber(static_cast<std::uint64_t>(i), 4);
        chunk.addNumber(numberOf(samplerModes, loop.mode, 0), 4);
        chunk.addNumber(loop.start, 4);
        chunk.addNumber(std::max(loop.end, 1U) - 1, 4);
        chunk.addNumber(0, 4);
        chunk.addNumber(loop.count, 4);
    }
    return {"smpl", chunk.bytes, true};
}

void addChars(ChunkWriter& chunk, std::initializer_list<char> values)
{
    for (const char value : values)
        chunk.addNumber(static_cast<unsigned char>(value), 1);
}

RawChunk rangesChunk(const ChunkLayout& layout, const SF_INSTRUMENT& instrument)
{
    ChunkWriter chunk(layout);
    addChars(chunk, {instrument.basenote, instrument.detune, static_cast<char>(instrument.gain),
                     instrument.key_lo, instrument.key_hi, instrument.velocity_lo,
                     instrument.velocity_hi});
    return {"inst", chunk.bytes, true};
}

/// The number of the marker at a frame, which is added where there is none.
std::uint32_t numberAt(std::int64_t frame, std::vector<Marker>& markers)
{
    std::uint32_t next = 1;
    for (const auto& marker : markers)
    {
        if (marker.frame == frame)
            return marker.number;
        next = std::max(next, marker.number + 1);
    }
    markers.push_back({next, frame, ""});
    return next;
}

RawChunk aiffChunk(const ChunkLayout& layout, const SF_INSTRUMENT& instrument,
                   std::vector<Marker>& markers)
{
    ChunkWriter chunk(layout);
    addChars(chunk, {instrument.basenote, instrument.detune, instrument.key_lo, instrument.key_hi,
                     instrument.velocity_lo, instrument.velocity_hi});
    chunk.addNumber(static_cast<std::uint16_t>(instrument.gain), 2);
    for (int i = 0; i < mostAiffLoops; ++i)
    {
        const auto& loop = instrument.loops[i];
        const bool isThere = i < instrument.loop_count;
        chunk.addNumber(isThere ? numberOf(aiffModes, loop.mode, 1) : 0, 2);
        chunk.addNumber(isThere ? numberAt(loop.start, markers) : 0, 2);
        chunk.addNumber(isThere ? numberAt(loop.end, markers) : 0, 2);
    }
    return {"INST", chunk.bytes, false};
}

bool isRiffLike(const ChunkLayout& layout)
{
    return layout.family == ChunkFamily::riff || layout.family == ChunkFamily::wave64;
}

} // namespace

bool isInstrumentChunk(const ChunkLayout& layout, const RawChunk& chunk)
{
    return isRiffLike(layout) ? chunk.id == "smpl" || chunk.id == "inst"
                              : layout.family == ChunkFamily::aiff && chunk.id == "INST";
}

std::optional<SF_INSTRUMENT> instrumentOf(const ChunkLayout& layout,
                                          const std::vector<RawChunk>& chunks)
{
    std::optional<SF_INSTRUMENT> instrument;
    for (const auto& chunk : chunks)
    {
        if (!isInstrumentChunk(layout, chunk))
            continue;
        if (chunk.id == "INST")
            return readAiff(layout, chunk, markersOf(layout, chunks));
        instrument = instrument.value_or(plainInstrument());
        if (chunk.id == "smpl")
            readSampler(layout, chunk, *instrument);
        else
            readRanges(layout, chunk, *instrument);
    }
    return instrument;
}

std::vector<RawChunk> instrumentChunks(const ChunkLayout& layout, const SF_INSTRUMENT& instrument,
                                       int sampleRate, std::vector<Marker>& markers)
{
    if (layout.family == ChunkFamily::aiff)
        return {aiffChunk(layout, instrument, markers)};
    if (isRiffLike(layout))
        return {samplerChunk(layout, instrument, sampleRate), rangesChunk(layout, instrument)};
    return {};
}

} // namespace kalim
