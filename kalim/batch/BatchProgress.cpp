#include "kalim/batch/BatchProgress.h"

#include "kalim/report/TimeText.h"

#include <fmt/format.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace kalim::program
{

BatchProgress::BatchProgress(std::size_t files, std::uintmax_t bytes, bool isQuiet)
    : isShown(!isQuiet)
    , isOnTerminal(isatty(STDERR_FILENO) == 1)
    , numFiles(files)
    , numBytes(bytes)
{
}

void BatchProgress::skip(std::uintmax_t bytes)
{
    ++numSkipped;
    numBytes -= bytes;
    draw();
}

void BatchProgress::addDone(std::uintmax_t bytes, double secondsOfSound, const std::string& name)
{
    ++numDone;
    numBytesDone += bytes;
    seconds += secondsOfSound;
    if (isShown && !isOnTerminal && !name.empty())
        say(fmt::format("kalim: {} of {}: {}", getNumFinished(), numFiles, name));
    draw();
}

void BatchProgress::addFailed(std::uintmax_t bytes, const std::string& reason)
{
    ++numFailed;
    numBytesDone += bytes;
    say(fmt::format("kalim: {}", reason));
    draw();
}

void BatchProgress::warn(const std::string& text) const
{
    if (!isShown)
        return;
    say(fmt::format("kalim: {}", text));
    draw();
}

void BatchProgress::write(const std::string& text) const
{
    erase();
    std::fflush(stderr);
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
    draw();
}

void BatchProgress::erase() const
{
    if (isShown && isOnTerminal)
        std::fputs("\r\x1b[K", stderr);
}

std::string BatchProgress::describeSpeed() const
{
    return fmt::format("{} of sound in {}, {:.0f} times real time", timeText(seconds),
                       timeText(getElapsed()), seconds / std::max(getElapsed(), 1e-3));
}

std::size_t BatchProgress::getNumFinished() const
{
    return static_cast<std::size_t>(numDone + numFailed + numSkipped);
}

double BatchProgress::getElapsed() const
{
    return std::chrono::duration<double>(ProgressBar::Clock::now() - start).count();
}

void BatchProgress::say(const std::string& line) const
{
    erase();
    fmt::print(stderr, "{}\n", line);
}

void BatchProgress::draw() const
{
    if (!isShown || !isOnTerminal)
        return;
    erase();
    std::string line =
        fmt::format("{} of {} files, {} of sound", getNumFinished(), numFiles, timeText(seconds));
    const double elapsed = getElapsed();
    if (numBytesDone > 0)
        line += fmt::format(", {:.0f} x real time, {} left", seconds / std::max(elapsed, 1e-3),
                            timeText(elapsed * static_cast<double>(numBytes - numBytesDone) /
                                     static_cast<double>(numBytesDone)));
    std::fputs(line.c_str(), stderr);
    std::fflush(stderr);
}

} // namespace kalim::program
