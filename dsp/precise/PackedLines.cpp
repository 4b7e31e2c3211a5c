#include "dsp/precise/PackedLines.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#ifndef KALIM_PACKED_LINES
#define KALIM_PACKED_LINES

namespace orvo::audio::precise
{

constexpr double smallestPower = 1e-30;

} // namespace orvo::audio::precise

#endif

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/precise/PackedLines.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace orvo::audio::precise::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, PackedLines::width>;
using Doubles = hn::CappedTag<double, PackedLines::width>;
using Halves = hn::Rebind<float, Doubles>;
using Integers = hn::RebindToSigned<Floats>;

/// One row of a whole pack; complex values have their parts side by side.
HWY_ATTR void packRow(const double* amplitudes, const double* noise, float* real, float* imaginary,
                      float* packedNoise)
{
    const Doubles d;
    const Halves single;
    for (std::size_t i = 0; i < PackedLines::width; i += hn::Lanes(d))
    {
        hn::Vec<Doubles> a;
        hn::Vec<Doubles> b;
        hn::LoadInterleaved2(d, amplitudes + 2 * i, a, b);
        hn::StoreU(hn::DemoteTo(single, a), single, real + i);
        hn::StoreU(hn::DemoteTo(single, b), single, imaginary + i);
        hn::StoreU(hn::DemoteTo(single, hn::LoadU(d, noise + i)), single, packedNoise + i);
    }
}

HWY_ATTR void packKernel(const HarmonicLines& lines, int first, PackedLines& packed)
{
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        const std::size_t from = lines.at(frame, first);
        const std::size_t to = packed.at(first) + indexOf(frame, PackedLines::width);
        packRow(reinterpret_cast<const double*>(&lines.amplitudes[from]), &lines.noise[from],
                &packed.real[to], &packed.imaginary[to], &packed.noise[to]);
    }
}

/// How many values of each lane are larger than a limit.
HWY_ATTR hn::Vec<Integers> countAbove(hn::Vec<Integers> limit, const float* values,
                                      const Series<char>& isSkipped)
{
    const Integers i32;
    const auto one = hn::Set(i32, 1);
    auto count = hn::Zero(i32);
    for (std::size_t frame = 0; frame < isSkipped.size(); ++frame)
    {
        if (isSkipped[frame] != 0)
            continue;
        const auto bits =
            hn::BitCast(i32, hn::LoadU(Floats(), values + frame * PackedLines::width));
        count = hn::Add(count, hn::IfThenElseZero(hn::Gt(bits, limit), one));
    }
    return count;
}

/// Bits of positive numbers are in the order of these: the median is found by halving what is left.
HWY_ATTR void medianKernel(const float* values, const Series<char>& isSkipped, int mostAbove,
                           float* medians)
{
    const Integers i32;
    for (std::size_t lane = 0; lane < PackedLines::width; lane += hn::Lanes(i32))
    {
        auto low = hn::Set(i32, std::numeric_limits<std::int32_t>::max());
        auto high = hn::Zero(i32);
        for (std::size_t frame = 0; frame < isSkipped.size(); ++frame)
        {
            const auto bits =
                hn::BitCast(i32, hn::LoadU(Floats(), values + frame * PackedLines::width + lane));
            low = hn::Min(low, bits);
            high = hn::Max(high, bits);
        }
        while (!hn::AllTrue(i32, hn::Eq(low, high)))
        {
            const auto middle = hn::Add(low, hn::ShiftRight<1>(hn::Sub(high, low)));
            const auto isEnough =
                hn::Gt(hn::Set(i32, mostAbove + 1), countAbove(middle, values + lane, isSkipped));
            high = hn::IfThenElse(isEnough, middle, high);
            low = hn::IfThenElse(isEnough, low, hn::Min(hn::Add(middle, hn::Set(i32, 1)), high));
        }
        hn::StoreU(hn::BitCast(Floats(), low), Floats(), medians + lane);
    }
}

HWY_ATTR void unpackKernel(const PackEstimates& estimates, int stride, double* amplitudes,
                           double* variances)
{
    const Doubles d;
    const Halves single;
    const auto tiny = hn::Set(d, smallestPower);
    for (std::size_t i = 0; i < PackedLines::width; i += hn::Lanes(d))
    {
        const auto doubt = hn::LoadU(d, &estimates.doubts[i]);
        const auto isPresent = hn::Ne(hn::LoadU(d, &estimates.isPresent[i]), hn::Zero(d));
        for (int frame = 0; frame < estimates.numFrames; ++frame)
        {
            const std::size_t from = indexOf(frame, PackedLines::width) + i;
            const std::size_t to = indexOf(frame, stride) + i;
            const auto real = hn::PromoteTo(d, hn::LoadU(single, estimates.real + from));
            const auto imaginary = hn::PromoteTo(d, hn::LoadU(single, estimates.imaginary + from));
            const auto variance = hn::PromoteTo(d, hn::LoadU(single, estimates.variances + from));
            const auto power = hn::Add(hn::Mul(real, real), hn::Mul(imaginary, imaginary));
            const auto all = hn::Add(hn::Add(power, hn::Mul(doubt, variance)), tiny);
            const auto share = hn::IfThenElseZero(isPresent, hn::Div(power, all));
            hn::StoreInterleaved2(hn::Mul(share, real), hn::Mul(share, imaginary), d,
                                  amplitudes + 2 * to);
            hn::StoreU(hn::IfThenElseZero(isPresent, variance), d, variances + to);
        }
    }
}

} // namespace orvo::audio::precise::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace orvo::audio::precise
{

HWY_EXPORT(packKernel);
HWY_EXPORT(medianKernel);
HWY_EXPORT(unpackKernel);

namespace
{

/// Lines of the last pack, if they do not fill it.
void packSome(const HarmonicLines& lines, int first, PackedLines& packed)
{
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        const std::size_t to = packed.at(first) + indexOf(frame, PackedLines::width);
        for (int line = first; line < packed.numLines; ++line)
        {
            const std::size_t from = lines.at(frame, line);
            const std::size_t lane = to + static_cast<std::size_t>(line - first);
            packed.real[lane] = static_cast<float>(lines.amplitudes[from].real());
            packed.imaginary[lane] = static_cast<float>(lines.amplitudes[from].imag());
            packed.noise[lane] = static_cast<float>(lines.noise[from]);
        }
    }
}

void unpackSome(const PackEstimates& estimates, int stride, Complex* amplitudes, double* variances)
{
    for (int frame = 0; frame < estimates.numFrames; ++frame)
        for (int i = 0; i < estimates.numLines; ++i)
        {
            const auto lane = static_cast<std::size_t>(i);
            if (estimates.isPresent[lane] == 0.0)
                continue;
            const std::size_t from = indexOf(frame, PackedLines::width, i);
            const double real = estimates.real[from];
            const double imaginary = estimates.imaginary[from];
            const double variance = estimates.variances[from];
            const double power = real * real + imaginary * imaginary;
            const double share =
                power / (power + estimates.doubts[lane] * variance + smallestPower);
            amplitudes[indexOf(frame, stride, i)] = {share * real, share * imaginary};
            variances[indexOf(frame, stride, i)] = variance;
        }
}

} // namespace

PackedLines::PackedLines(const HarmonicLines& lines)
    : numLines(lines.getNumLines())
    , numFrames(lines.numFrames)
    , real(indexOf(numFrames, getNumLanes()))
    , imaginary(real.size())
    , noise(real.size(), 1.0F)
{
    int first = 0;
    for (; first + width <= numLines; first += width)
        HWY_DYNAMIC_DISPATCH(packKernel)(lines, first, *this);
    if (first < numLines)
        packSome(lines, first, *this);
}

std::array<float, PackedLines::width> getMedianNoise(const PackedLines& lines,
                                                     const Series<char>& isSkipped, int first)
{
    std::array<float, PackedLines::width> medians{};
    const auto count = static_cast<int>(std::count(isSkipped.begin(), isSkipped.end(), 0));
    if (count > 0)
        HWY_DYNAMIC_DISPATCH(medianKernel)
    (&lines.noise[lines.at(first)], isSkipped, count - 1 - count / 2, medians.data());
    return medians;
}

void unpack(const PackEstimates& estimates, int stride, Complex* amplitudes, double* variances)
{
    const auto& isPresent = estimates.isPresent;
    if (std::find(isPresent.begin(), isPresent.end(), 1.0) == isPresent.end())
        return;
    if (estimates.numLines == PackedLines::width)
        HWY_DYNAMIC_DISPATCH(unpackKernel)
    (estimates, stride, reinterpret_cast<double*>(amplitudes), variances);
    else unpackSome(estimates, stride, amplitudes, variances);
}

} // namespace orvo::audio::precise

#endif
