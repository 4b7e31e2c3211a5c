#include "audiofile/ChainedSource.h"

#include "base/FileError.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace kalim
{

ChainedSource::ChainedSource(std::filesystem::path path, std::vector<FileRange> ranges)
    : filePath(std::move(path))
    , links(std::move(ranges))
    , first(filePath, links.front())
    , shape(first.getShape())
{
    measure();
    restart();
}

void ChainedSource::measure()
{
    starts = {0};
    for (std::size_t number = 0; number < links.size(); ++number)
    {
        const bool isOpen = openLink(number);
        const auto own = isOpen ? current->getShape() : SampleShape{};
        if (!isOpen || own.channels != shape.channels || own.sampleRate != shape.sampleRate)
        {
            const auto what =
                isOpen ? fmt::format("has {} channels at {} Hz", own.channels, own.sampleRate)
                       : std::string("cannot be read");
            notes.push_back(
                {fmt::format("part {} of {}, from {:.1f} s on, {}", number + 1, links.size(),
                             static_cast<double>(starts.back()) / shape.sampleRate, what),
                 true});
            links.resize(number);
            break;
        }
        starts.push_back(starts.back() + countFrames(*current));
    }
    shape.frames = starts.back();
    if (links.size() > 1)
        notes.push_back({fmt::format("{} recordings follow one another; the descriptions of the "
                                     "first are kept",
                                     links.size()),
                         false});
}

/// What is stated need not be true, and a link that ends early would move all that follow.
std::int64_t ChainedSource::countFrames(LibrarySource& link)
{
    constexpr std::int64_t framesAtOnce = 4096;
    std::vector<float> samples(static_cast<std::size_t>(framesAtOnce * shape.channels));
    std::int64_t frames = 0;
    while (const auto got = link.decode(samples, framesAtOnce))
        frames += got;
    const auto stated = link.getShape().frames;
    if (!link.getError().empty() || (stated >= 0 && frames < stated))
        notes.push_back(
            {fmt::format("part {} of {} cannot be decoded after {:.1f} s", starts.size(),
                         links.size(), static_cast<double>(frames) / shape.sampleRate),
             true});
    return frames;
}

bool ChainedSource::openLink(std::size_t number)
{
    try
    {
        current = std::make_unique<LibrarySource>(filePath, links[number]);
    }
    catch (const FileError&)
    {
        return false;
    }
    currentNumber = number;
    return true;
}

std::int64_t ChainedSource::decode(std::span<float> interleaved, std::int64_t frames)
{
    error.clear();
    while (position >= starts[currentNumber + 1] && currentNumber + 1 < links.size())
        if (!openLink(currentNumber + 1))
        {
            error = "was changed while it was read";
            return 0;
        }
    const auto rest = starts[currentNumber + 1] - position;
    const auto got = current->decode(interleaved, std::min(frames, rest));
    position += got;
    error = current->getError();
    return got;
}

bool ChainedSource::seek(std::int64_t frame)
{
    const auto next = std::ranges::upper_bound(starts, frame);
    const auto number = std::min(static_cast<std::size_t>(next - starts.begin()), links.size()) - 1;
    if (!openLink(number) || !current->seek(frame - starts[number]))
        return false;
    position = frame;
    return true;
}

void ChainedSource::restart()
{
    position = 0;
    if (!openLink(0))
        throw FileError(filePath, "was changed while it was read");
}

} // namespace kalim
