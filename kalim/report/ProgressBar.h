#pragma once

#include <chrono>
#include <cstdio>
#include <string>

namespace kalim::program
{

/// A line with percentage, bar and time left, drawn on a terminal and nowhere else.
class ProgressBar
{
public:
    using Clock = std::chrono::steady_clock;

    /// `stream`, usually standard error, must outlive the bar.
    explicit ProgressBar(std::FILE* stream);

    /// Erases the line.
    ~ProgressBar();

    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Shows a share of the work, 0 to 1, at most ten times a second.
    void update(double share);

private:
    std::FILE* stream;
    bool isShown = false;
    bool isOnTerminal;
    Clock::time_point start = Clock::now();
    Clock::time_point lastDrawn = start;
};

/// The text of such a line for a share of the work, 0 to 1, done in the time elapsed, from which
/// the time left is estimated. It stays shorter than `width`, that of the terminal in characters.
std::string progressLine(double share, std::chrono::duration<double> elapsed, int width);

} // namespace kalim::program
