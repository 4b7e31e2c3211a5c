#include "kalim/report/ProgressBar.h"

#include "kalim/report/TimeText.h"

#include <fmt/format.h>

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

namespace kalim::program
{
namespace
{

constexpr auto interval = std::chrono::milliseconds(100);
constexpr auto eraseLine = "\r\x1b[K";

int terminalWidth(std::FILE* stream)
{
    winsize size{};
    const bool isKnown = ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : 80;
}

std::string timeLeft(double share, std::chrono::duration<double> elapsed)
{
    // The first moments tell nothing about the speed.
    if (share <= 0 || elapsed.count() < 0.5)
        return "";
    return fmt::format("  {} left", timeText(elapsed.count() * (1 - share) / share));
}

} // namespace

std::string progressLine(double share, std::chrono::duration<double> elapsed, int width)
{
    const double limited = std::isnan(share) ? 0 : std::clamp(share, 0.0, 1.0);
    const auto percentage = fmt::format("{:3.0f} %", std::floor(100 * limited));
    const auto rest = timeLeft(limited, elapsed);
    // One column stays free, because some terminals wrap a full line.
    const int room = width - static_cast<int>(percentage.size() + rest.size()) - 4;
    if (room < 5)
        return percentage.substr(0, static_cast<std::size_t>(std::max(width - 1, 0)));
    const int cells = std::min(room, 40);
    const int filled = static_cast<int>(std::floor(limited * cells));
    return fmt::format("{} [{:-<{}}]{}", percentage,
                       std::string(static_cast<std::size_t>(filled), '#'), cells, rest);
}

ProgressBar::ProgressBar(std::FILE* target)
    : stream(target)
    , isOnTerminal(isatty(fileno(target)) == 1)
{
}

ProgressBar::~ProgressBar()
{
    if (!isShown)
        return;
    std::fputs(eraseLine, stream);
    std::fflush(stream);
}

void ProgressBar::update(double share)
{
    const auto now = Clock::now();
    if (!isOnTerminal || now - lastDrawn < interval)
        return;
    lastDrawn = now;
    const auto line = progressLine(share, now - start, terminalWidth(stream));
    std::fprintf(stream, "%s%s", eraseLine, line.c_str());
    std::fflush(stream);
    isShown = true;
}

} // namespace kalim::program
