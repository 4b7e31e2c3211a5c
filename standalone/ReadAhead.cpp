#include "standalone/ReadAhead.h"

#include "standalone/ResamplingReader.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace kalim::standalone
{
namespace
{

/// The playing side cannot wake a thread without a lock, so the reading one looks for room itself.
constexpr std::chrono::milliseconds roomCheckInterval{10};

} // namespace

ReadAhead::ReadAhead(std::unique_ptr<SoundFileReader> fileToRead, double outputRateInHz)
    : file(std::move(fileToRead))
    , numFileFrames(static_cast<double>(file->getNumFrames()))
    , fileRate(file->getSampleRate())
    , chunks(numChunks)
    , wanted{0.0, outputRateInHz, 1}
    , generation(wanted.generation)
    , thread([this](const std::stop_token& stop) { run(stop); })
{
}

ReadAhead::~ReadAhead() = default;

double ReadAhead::getLength() const
{
    return numFileFrames / fileRate;
}

double ReadAhead::getPosition() const
{
    const std::lock_guard lock(guard);
    return getNextPosition() / fileRate;
}

void ReadAhead::seek(double seconds)
{
    {
        const std::lock_guard lock(guard);
        request(seconds * fileRate, wanted.outputRate);
    }
    wake.notify_all();
}

void ReadAhead::setOutputRate(double hz)
{
    {
        const std::lock_guard lock(guard);
        if (hz != wanted.outputRate)
            request(getNextPosition(), hz);
    }
    wake.notify_all();
}

double ReadAhead::getNextPosition() const
{
    const bool isPlayed = playedGeneration.load(std::memory_order_acquire) == wanted.generation;
    return isPlayed ? playedPosition.load(std::memory_order_relaxed) : wanted.position;
}

void ReadAhead::request(double position, double outputRate)
{
    // A whole frame, so that at equal rates samples come out as they are; written so that NaN
    // becomes the start.
    const double limited = position > 0.0 ? std::min(position, numFileFrames - 1.0) : 0.0;
    wanted = {std::floor(limited), outputRate, wanted.generation + 1};
    generation.store(wanted.generation, std::memory_order_release);
}

void ReadAhead::run(const std::stop_token& stop)
{
    while (!stop.stop_requested())
    {
        Request newest;
        {
            std::unique_lock lock(guard);
            const auto hasWork = [this] { return !isFull(); };
            wake.wait_for(lock, stop, roomCheckInterval, hasWork);
            newest = wanted;
        }
        if (newest.generation != current.generation)
            follow(newest);
        if (isFull())
            continue;
        const auto index = numWritten.load(std::memory_order_relaxed);
        fill(chunks[index % numChunks]);
        numWritten.store(index + 1, std::memory_order_release);
    }
}

void ReadAhead::follow(const Request& newest)
{
    if (newest.outputRate != current.outputRate)
        resampler = std::make_unique<ResamplingReader>(*file, newest.outputRate);
    current = newest;
    startsOver = false;
}

void ReadAhead::fill(Chunk& chunk)
{
    chunk.position = current.position;
    chunk.step = resampler->getStep();
    chunk.generation = current.generation;
    chunk.startsOver = startsOver;
    const double numLeft = std::ceil((numFileFrames - current.position) / chunk.step);
    chunk.numFrames = static_cast<int>(std::clamp(numLeft, 1.0, double{chunkFrames}));
    resampler->read(chunk.position, chunk.left.data(), chunk.right.data(), chunk.numFrames);

    current.position += chunk.numFrames * chunk.step;
    startsOver = current.position >= numFileFrames;
    if (startsOver)
        current.position = 0.0;
}

bool ReadAhead::isFull() const
{
    return numWritten.load(std::memory_order_relaxed) - numRead.load(std::memory_order_acquire) ==
           numChunks;
}

const ReadAhead::Chunk* ReadAhead::findFront() const
{
    const auto index = numRead.load(std::memory_order_relaxed);
    const bool isEmpty = index == numWritten.load(std::memory_order_acquire);
    return isEmpty ? nullptr : &chunks[index % numChunks];
}

void ReadAhead::pop()
{
    numRead.store(numRead.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    numTaken = 0;
    isAtStart = false;
}

void ReadAhead::skipOutdated()
{
    const auto newest = generation.load(std::memory_order_acquire);
    for (const Chunk* front = findFront(); front != nullptr && front->generation != newest;
         front = findFront())
        pop();
}

int ReadAhead::copyFrom(const Chunk& chunk, float* left, float* right, int numWanted) const
{
    const int count = std::min(numWanted, chunk.numFrames - numTaken);
    std::copy_n(chunk.left.data() + numTaken, count, left);
    std::copy_n(chunk.right.data() + numTaken, count, right);
    return count;
}

int ReadAhead::peek(float* left, float* right, int numWanted) const
{
    const Chunk* const chunk = findFront();
    return chunk == nullptr ? 0 : copyFrom(*chunk, left, right, numWanted);
}

ReadAhead::Result ReadAhead::read(float* left, float* right, int numWanted, bool isLooping)
{
    skipOutdated();
    Result result;
    while (result.numFrames < numWanted)
    {
        const Chunk* const chunk = findFront();
        if (chunk == nullptr)
            break;
        const bool isNewRound = chunk->startsOver && numTaken == 0;
        if (isNewRound && !isLooping && !isAtStart)
        {
            isAtStart = true;
            result.hasEnded = true;
            playedPosition.store(chunk->position, std::memory_order_relaxed);
            break;
        }
        const int count = copyFrom(*chunk, left + result.numFrames, right + result.numFrames,
                                   numWanted - result.numFrames);
        result.numFrames += count;
        numTaken += count;
        playedPosition.store(chunk->position + numTaken * chunk->step, std::memory_order_relaxed);
        playedGeneration.store(chunk->generation, std::memory_order_release);
        if (numTaken == chunk->numFrames)
            pop();
    }
    return result;
}

int ReadAhead::getNumReady() const
{
    const auto end = numWritten.load(std::memory_order_acquire);
    const auto newest = generation.load(std::memory_order_acquire);
    int numReady = -numTaken;
    for (auto index = numRead.load(std::memory_order_relaxed); index != end; ++index)
        if (chunks[index % numChunks].generation == newest)
            numReady += chunks[index % numChunks].numFrames;
    return std::max(numReady, 0);
}

} // namespace kalim::standalone
