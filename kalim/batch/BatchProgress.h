#pragma once

#include "kalim/report/ProgressBar.h"

#include <cstdint>
#include <string>

namespace kalim::program
{

/// How far work on many files is: a line that is drawn anew on a terminal, or else a line per file,
/// both on standard error.
class BatchProgress
{
public:
    /// The bytes are those of all files, from which the time left is estimated.
    BatchProgress(std::size_t numFiles, std::uintmax_t numBytes, bool isQuiet);

    /// A file of so many bytes needs no work.
    void skip(std::uintmax_t bytes);

    /// A file with so much sound is done; without a terminal its name is told, if it is not empty.
    void addDone(std::uintmax_t bytes, double secondsOfSound, const std::string& name);

    /// A file could not be worked on; the reason is told even if all else is quiet.
    void addFailed(std::uintmax_t bytes, const std::string& reason);

    void warn(const std::string& text) const;

    /// Puts text on standard output, above the line.
    void write(const std::string& text) const;

    /// Erases the line.
    void erase() const;

    bool isQuiet() const { return !isShown; }

    int getNumDone() const { return numDone; }

    int getNumFailed() const { return numFailed; }

    int getNumSkipped() const { return numSkipped; }

    /// "3:20:11 of sound in 2:09, 93 times real time"
    std::string describeSpeed() const;

private:
    std::size_t getNumFinished() const;
    double getElapsed() const;
    void say(const std::string& line) const;
    void draw() const;

    bool isShown;
    bool isOnTerminal;
    std::size_t numFiles;
    std::uintmax_t numBytes;
    std::uintmax_t numBytesDone = 0;
    int numDone = 0;
    int numFailed = 0;
    int numSkipped = 0;
    double seconds = 0.0;
    ProgressBar::Clock::time_point start = ProgressBar::Clock::now();
};

} // namespace kalim::program
