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

    /// @param stream usually standard error; must outlive the bar
    explicit ProgressBar(std::FILE* stream);

    /// Erases the line.
    ~ProgressBar();

    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// @param share done, 0 to 1; draws at most ten times a second
    void update(double share);

    /// Erases the line, so that a message can be printed; the next update draws it again.
    void erase();

private:
    std::FILE* stream;
    bool isShown = false;
    bool isOnTerminal;
    Clock::time_point start = Clock::now();
    Clock::time_point lastDrawn = start;
};

/// The text of such a line.
/// @param share done, 0 to 1
/// @param elapsed time since the beginning, from which the time left is estimated
/// @param width of the terminal in characters, which the text never exceeds
std::string progressLine(double share, std::chrono::duration<double> elapsed, int width);

} // namespace kalim::program
