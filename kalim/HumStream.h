#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace kalim::program
{

/// About how many samples of all channels are read at once.
inline constexpr int readSize = 1 << 16;

/// Cleans a recording as it streams by, and gives back as many samples as came in, at their old
/// places. Memory does not grow with the length.
class HumStream
{
public:
    /// Takes interleaved output samples.
    using Sink = std::function<void(std::span<const float> interleaved)>;

    HumStream() = default;
    virtual ~HumStream() = default;
    HumStream(const HumStream&) = delete;
    HumStream& operator=(const HumStream&) = delete;

    /// Samples per channel of one step. Feed multiples of it, but for the end, so that the result
    /// does not depend on how the recording was read.
    virtual int getBlockSize() const = 0;

    /// Processes interleaved samples; what is ready goes to `sink`.
    virtual void process(std::span<const float> interleaved, const Sink& sink) = 0;

    /// Gives the rest of the output that belongs to the input.
    virtual void finish(const Sink& sink) = 0;

    /// Whether there is anything to remove at this sample rate; if not, all passes through.
    virtual bool canRemove() const = 0;

    /// Samples so far that were no finite numbers; they count as silence.
    virtual std::int64_t getNumNonFinite() const = 0;
};

} // namespace kalim::program
