#include "kalim/report/TraceFile.h"

#include <fmt/format.h>

#include <iterator>
#include <span>

namespace kalim::program
{
namespace
{

constexpr std::size_t writeThreshold = 1U << 16U;

/// The multiples of the fundamental that are present, between spaces.
std::string presentNumbers(const orvo::audio::Kalimmer& remover,
                           orvo::audio::HarmonicSelection selection)
{
    std::string numbers;
    int index = 0;
    for (const orvo::audio::HarmonicStatus& harmonic : remover.getDetectionStatus())
    {
        const int number = selection.getHarmonicNumber(index++);
        if (harmonic.present)
            fmt::format_to(std::back_inserter(numbers), "{}{}", numbers.empty() ? "" : " ", number);
    }
    return numbers;
}

} // namespace

TraceFile::TraceFile(const std::filesystem::path& path, Existing existing,
                     orvo::audio::HarmonicSelection selectedHarmonics)
    : file(path, existing)
    , selection(selectedHarmonics)
    , text("time_s,fundamental_hz,harmonics_present\n")
{
}

void TraceFile::add(double seconds, const orvo::audio::Kalimmer& remover)
{
    fmt::format_to(std::back_inserter(text), "{:.6f},{:.5f},{}\n", seconds,
                   remover.getCurrentFundamental(), presentNumbers(remover, selection));
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
