#include "standalone/ResamplingReader.h"

#include "dsp/precise/Windows.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kalim::standalone
{
namespace
{

/// The sinc's zero crossings on either side.
constexpr int crossings = 32;
constexpr int entriesPerCrossing = 512;

/// How far the band reaches towards half the lower rate; the rest is for the filter's slope.
constexpr double usedBand = 0.95;

/// Of Kaiser's window.
constexpr double beta = 9.0;

/// The right half of the windowed sinc, and two entries that interpolation may touch beyond it.
std::vector<float> makeKernel()
{
    std::vector<float> kernel(crossings * entriesPerCrossing + 2, 0.0F);
    kernel[0] = 1.0F;
    for (int index = 1; index < crossings * entriesPerCrossing; ++index)
    {
        const double x = static_cast<double>(index) / entriesPerCrossing;
        const double angle = std::numbers::pi * x;
        const double window = orvo::audio::precise::getKaiserWindow(x / crossings, beta);
        kernel[static_cast<std::size_t>(index)] =
            static_cast<float>(std::sin(angle) / angle * window);
    }
    return kernel;
}

} // namespace

ResamplingReader::ResamplingReader(SoundFileReader& fileToRead, double outputRate)
    : file(fileToRead)
    , step(file.getSampleRate() / outputRate)
    , bandwidth(usedBand * std::min(1.0, 1.0 / step))
    , reach(static_cast<int>(std::ceil(crossings / bandwidth)))
    , kernel(makeKernel())
{
}

void ResamplingReader::read(double position, float* left, float* right, int numFrames)
{
    const auto first = static_cast<std::int64_t>(std::floor(position));
    if (step == 1.0)
        return file.read(first, left, right, numFrames);

    fillWindow(first - reach + 1,
               static_cast<std::int64_t>(std::floor(position + step * (numFrames - 1))) + reach);
    for (int frame = 0; frame < numFrames; ++frame)
    {
        const double place = position + step * frame;
        const auto centre = static_cast<std::int64_t>(std::floor(place));
        float sums[2] = {0.0F, 0.0F};
        for (std::int64_t tap = centre - reach + 1; tap <= centre + reach; ++tap)
        {
            const float weight = getWeight(std::abs(static_cast<double>(tap) - place));
            const auto index = static_cast<std::size_t>(tap - windowStart);
            sums[0] += weight * leftWindow[index];
            sums[1] += weight * rightWindow[index];
        }
        left[frame] = sums[0];
        right[frame] = sums[1];
    }
}

/// Keeps what it has of the frames, so that a file is read from the front to the end.
void ResamplingReader::fillWindow(std::int64_t first, std::int64_t last)
{
    const auto windowEnd = windowStart + static_cast<std::int64_t>(leftWindow.size());
    const bool isContinued = first >= windowStart && first <= windowEnd;
    const std::int64_t numDropped = isContinued ? first - windowStart : windowEnd - windowStart;
    for (auto* const window : {&leftWindow, &rightWindow})
        window->erase(window->begin(), window->begin() + static_cast<std::ptrdiff_t>(numDropped));
    windowStart = first;

    const std::size_t numKept = leftWindow.size();
    const auto numNeeded = static_cast<std::size_t>(last + 1 - first);
    if (numNeeded <= numKept)
        return;
    leftWindow.resize(numNeeded);
    rightWindow.resize(numNeeded);
    file.read(first + static_cast<std::int64_t>(numKept), leftWindow.data() + numKept,
              rightWindow.data() + numKept, static_cast<int>(numNeeded - numKept));
}

float ResamplingReader::getWeight(double distance) const
{
    const double entry = distance * bandwidth * entriesPerCrossing;
    const auto index = static_cast<std::size_t>(entry);
    if (index + 1 >= kernel.size())
        return 0.0F;
    const auto fraction = static_cast<float>(entry - static_cast<double>(index));
    const float value = kernel[index] + fraction * (kernel[index + 1] - kernel[index]);
    return value * static_cast<float>(bandwidth);
}

} // namespace kalim::standalone
