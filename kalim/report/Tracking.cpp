#include "kalim/report/Tracking.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <span>

namespace kalim::program
{
namespace
{

constexpr std::size_t writeThreshold = 1U << 16U;

/// The multiples of the fundamental that are present, between spaces.
std::string presentNumbers(const orvo::audio::Kalimmer& engine,
                           orvo::audio::HarmonicSelection selection)
{
    std::string numbers;
    int index = 0;
    for (const orvo::audio::HarmonicStatus& harmonic : engine.getDetectionStatus())
    {
        const int number = selection.getHarmonicNumber(index++);
        if (harmonic.present)
            fmt::format_to(std::back_inserter(numbers), "{}{}", numbers.empty() ? "" : " ", number);
    }
    return numbers;
}

} // namespace

TrackingSummary::TrackingSummary(float startFrequency)
    : start(startFrequency)
    , end(startFrequency)
    , lowest(startFrequency)
    , highest(startFrequency)
{
}

void TrackingSummary::add(float frequency)
{
    if (count == 0.0)
        start = lowest = highest = frequency;
    end = frequency;
    lowest = std::min(lowest, frequency);
    highest = std::max(highest, frequency);
    sum += static_cast<double>(frequency);
    count += 1.0;
}

TraceFile::TraceFile(const std::filesystem::path& path, Existing existing)
    : file(path, existing)
    , text("time_s,fundamental_hz,harmonics_present\n")
{
}

void TraceFile::add(double seconds, const orvo::audio::Kalimmer& engine,
                    orvo::audio::HarmonicSelection selection)
{
    addRow(seconds, static_cast<double>(engine.getCurrentFundamental()),
           presentNumbers(engine, selection));
}

void TraceFile::add(double seconds, double fundamental, const std::vector<int>& harmonics)
{
    addRow(seconds, fundamental, fmt::format("{}", fmt::join(harmonics, " ")));
}

void TraceFile::addRow(double seconds, double fundamental, const std::string& harmonics)
{
    fmt::format_to(std::back_inserter(text), "{:.6f},{:.5f},{}\n", seconds, fundamental, harmonics);
    if (text.size() >= writeThreshold)
        write();
}

void TraceFile::finish()
{
    write();
    file.finish();
}

void TraceFile::write()
{
    file.write(std::as_bytes(std::span(text)));
    text.clear();
}

} // namespace kalim::program
