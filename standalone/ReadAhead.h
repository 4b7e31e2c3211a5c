#pragma once

#include "standalone/SoundFileReader.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

namespace kalim::standalone
{

class ResamplingReader;

/// Reads a file on a thread of its own, more than a second ahead of its playing, at the rate at
/// which it is played. The file is read in a circle; whoever plays it tells at its start whether to
/// go on. The playing side neither waits nor touches the file nor allocates.
class ReadAhead
{
public:
    ReadAhead(std::unique_ptr<SoundFileReader> fileToRead, double outputRateInHz);
    ~ReadAhead();

    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    // The controlling side: any thread but the playing one. Positions and lengths in seconds.
    double getLength() const;

    /// What is played next.
    double getPosition() const;

    /// Positions outside of the file are limited to it.
    void seek(double seconds);

    /// Goes on at the present position.
    void setOutputRate(double hz);

    // The playing side: one thread at a time.
    struct Result
    {
        /// Fewer than wanted at the end, and when reading did not keep up.
        int numFrames = 0;
        bool hasEnded = false;
    };

    /// Gives the next frames and goes on behind them. At the file's end it goes on at its start,
    /// unless told otherwise: then it stands at the start.
    Result read(float* left, float* right, int numWanted, bool isLooping);

    /// Gives some of the next frames, as `read` would, without going on. Returns how many.
    int peek(float* left, float* right, int numWanted) const;

    /// Makes room for what is read from a new position on; to be called again and again while
    /// nothing is played.
    void skipOutdated();

    /// How many frames can be read at once now.
    int getNumReady() const;

private:
    static constexpr int chunkFrames = 1024;
    static constexpr std::uint32_t numChunks = 64; // a power of two, as counters wrap around

    struct Chunk
    {
        std::array<float, chunkFrames> left;
        std::array<float, chunkFrames> right;
        int numFrames;
        double position; // in frames of the file, like all positions below
        double step;
        std::uint32_t generation;
        bool startsOver;
    };

    struct Request
    {
        double position;
        double outputRate;
        std::uint32_t generation;
    };

    double getNextPosition() const;
    void request(double position, double outputRate);
    void run(const std::stop_token& stop);
    void follow(const Request& newest);
    void fill(Chunk& chunk);
    bool isFull() const;
    const Chunk* findFront() const;
    int copyFrom(const Chunk& chunk, float* left, float* right, int numWanted) const;
    void pop();

    std::unique_ptr<SoundFileReader> file;
    double numFileFrames;
    double fileRate;
    std::vector<Chunk> chunks;

    mutable std::mutex guard;
    std::condition_variable_any wake;
    Request wanted;                          // under the guard
    std::atomic<std::uint32_t> generation{}; // that of what is wanted

    // The reading thread's own.
    std::unique_ptr<ResamplingReader> resampler;
    Request current{};
    bool startsOver = false;

    // The playing side's own.
    int numTaken = 0;
    bool isAtStart = false;

    std::atomic<std::uint32_t> numWritten{0};
    std::atomic<std::uint32_t> numRead{0};

    /// Published by the playing side: the position, then which generation it is of.
    std::atomic<double> playedPosition{0.0};
    std::atomic<std::uint32_t> playedGeneration{0};

    std::jthread thread; // the last member, since it uses all others
};

} // namespace kalim::standalone
