#include "dsp/signal/VectorOperations.h"

#include "tests/support/InstructionSets.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

using namespace orvo::vo;

namespace
{

using Floats = std::vector<float>;

constexpr float infinite = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr int lengths[] = {0, -3, 1, 3, 7, 15, 16, 17, 33, 1000};

/// Uniform noise in -1..1 with the awkward values of the number format strewn in.
Floats makeSamples(std::size_t count, unsigned int seed)
{
    constexpr float awkward[] = {0.5F,     -0.5F,     0.0F,  -0.0F,  notANumber,
                                 infinite, -infinite, 3e38F, 1e-30F, 2e30F};
    std::minstd_rand random(seed);
    std::uniform_real_distribution<float> uniform(-1.0F, 1.0F);
    Floats samples(count);
    for (float& sample : samples)
        sample = random() % 3 == 0 ? awkward[random() % std::size(awkward)] : uniform(random);
    return samples;
}

/// Equal by bit pattern, so that -0 differs from +0; any not-a-number equals any other.
bool isSame(float a, float b)
{
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) ||
           (std::isnan(a) && std::isnan(b));
}

/// Runs `operation(a, b, dst, n)` beside the plain loop: all lengths, aligned and not, into a third
/// buffer and over either source. What lies round the destination must stay.
template <typename Operation, typename Plain>
void compare(Operation operation, Plain plain)
{
    const auto compareCase = [&](int n, int start, int place)
    {
        const Floats a = makeSamples(static_cast<std::size_t>(std::max(n, 0)) + 20, 1);
        const Floats b = makeSamples(a.size(), 2);
        Floats x = a, y = b, apart(a.size(), 777.0F);
        Floats& target = place == 0 ? apart : place == 1 ? x : y;
        const Floats before = target;
        operation(&x[0] + start, &y[0] + start, &target[0] + start, n);
        for (std::size_t i = 0; i < a.size(); ++i)
        {
            const int k = static_cast<int>(i) - start;
            const float expected = k >= 0 && k < n ? plain(a[i], b[i]) : before[i];
            ASSERT_PRED2(isSame, target[i], expected)
                << "sample " << k << " of " << n << ", place " << place;
        }
    };
    const auto compareAll = [&]
    {
        for (const int n : lengths)
            for (const int start : {0, 1})
                for (const int place : {0, 1, 2})
                    compareCase(n, start, place);
    };
    testing_support::forEachInstructionSet(compareAll);
}

} // namespace

TEST(VectorOperations, computeWhatAPlainLoopComputes)
{
    compare(add, [](float a, float b) { return a + b; });
    compare(subtract, [](float a, float b) { return b - a; });
    compare(multiply, [](float a, float b) { return a * b; });
    compare([](auto a, auto, auto dst, int n) { constantMultiply(a, -1.7F, dst, n); },
            [](float a, float) { return a * -1.7F; });
    // Bounds let not-a-number pass unless they are asked for finite values.
    compare([](auto a, auto, auto dst, int n) { upperBound(a, dst, 0.5F, n); },
            [](float a, float) { return a > 0.5F ? 0.5F : a; });
    compare([](auto a, auto, auto dst, int n) { lowerBound(a, dst, -0.5F, n); },
            [](float a, float) { return a < -0.5F ? -0.5F : a; });
    compare([](auto a, auto, auto dst, int n) { limitToFinite(a, dst, 0.75F, n); },
            [](float a, float) { return std::isfinite(a) ? std::clamp(a, -0.75F, 0.75F) : 0.0F; });
}

TEST(VectorOperations, convertBothWaysToTheNearestFloat)
{
    // A third of a float is never a float, and never out of its range.
    const auto convert = [](const float* a, const float*, float* dst, int n)
    {
        std::vector<double> wide(static_cast<std::size_t>(std::max(n, 0)) + 1);
        convert32To64(a, wide.data() + 1, n);
        for (double& value : wide)
            value /= 3.0;
        convert64To32(wide.data() + 1, dst, n);
    };
    compare(convert,
            [](float a, float) { return static_cast<float>(static_cast<double>(a) / 3.0); });
}

TEST(VectorOperations, takeMagnitudesAndPhasesOverTheWholeRangeOfFloat)
{
    using Bins = std::vector<std::complex<float>>;
    const auto onBins = [](auto operation)
    {
        return [=](const float* a, const float* b, float* dst, int n)
        {
            Bins bins(static_cast<std::size_t>(std::max(n, 0)));
            for (std::size_t i = 0; i < bins.size(); ++i)
                bins[i] = {a[i], b[i]};
            operation(bins.data(), dst, n);
        };
    };
    const auto toDouble = [](float x) { return static_cast<double>(x); };
    compare(onBins(calcMagnitudes),
            [&](float a, float b) {
                return static_cast<float>(
                    std::sqrt(toDouble(a) * toDouble(a) + toDouble(b) * toDouble(b)));
            });
    compare(onBins(calcPhases), [&](float a, float b)
            { return static_cast<float>(std::atan2(toDouble(b), toDouble(a))); });
}

TEST(VectorOperations, findASingleSampleBeyondTheLimit)
{
    const auto findAll = []
    {
        for (const int n : lengths)
        {
            Floats samples(static_cast<std::size_t>(std::max(n, 0)) + 1, -2.0F);
            samples.back() = notANumber; // behind the end
            EXPECT_TRUE(isWithin(samples.data(), 2.0F, n));
            for (std::size_t i = 0; i + 1 < samples.size(); ++i)
                for (const float bad : {2.0000002F, -infinite, notANumber})
                {
                    samples[i] = bad;
                    EXPECT_FALSE(isWithin(samples.data(), 2.0F, n)) << i << " of " << n;
                    samples[i] = 2.0F;
                }
        }
    };
    testing_support::forEachInstructionSet(findAll);
}

TEST(VectorOperations, giveASingleBinAsTheDirectSumDoesAndASilentOneThePhaseZero)
{
    Floats samples;
    for (int k = 0; k < 9601; ++k)
        samples.push_back(static_cast<float>(0.25 + std::sin(0.37 * k * k)));
    const Floats silence(samples.size(), -0.0F);
    const auto compareBins = [&](float frequency, int n)
    {
        std::complex<double> sum = 0.0;
        for (int k = 0; k < n; ++k)
            sum += static_cast<double>(samples[static_cast<std::size_t>(k)]) *
                   std::polar(1.0, -2.0 * std::numbers::pi * static_cast<double>(frequency) * k);
        const auto compareBin = [&]
        {
            const std::complex<double> bin = calcGoertzel(samples.data(), n, frequency);
            // The result is rounded to float; the recursion in double loses far less.
            EXPECT_LE(std::abs(bin - sum), 1e-7 * std::abs(sum) + 1e-10 * n) << frequency;
            const auto silentBin = calcGoertzel(silence.data(), n, frequency);
            EXPECT_PRED2(isSame, silentBin.real(), 0.0F);
            EXPECT_PRED2(isSame, silentBin.imag(), 0.0F);
        };
        testing_support::forEachInstructionSet(compareBin);
    };
    for (const float frequency : {50.0F / 48000.0F, 0.0F, 0.03125F, 0.5F, 0.9999F})
        for (const int n : {0, 1, 2, 17, 63, 961, 1919, 9601})
            compareBins(frequency, n);
}

TEST(VectorErrors, nameAMissingBufferOnlyWhenThereIsWork)
{
    float some[4] = {};
    float* none = nullptr;
    const auto isRefused = [](auto call)
    {
        try
        {
            return call(), false;
        }
        catch (const std::runtime_error& error)
        {
            return std::string(error.what()).starts_with("IPP exception: ");
        }
    };
    EXPECT_TRUE(isRefused([&] { add(none, some, some, 4); }));
    EXPECT_TRUE(isRefused([&] { subtract(some, none, some, 4); }));
    EXPECT_TRUE(isRefused([&] { multiply(some, some, none, 4); }));
    EXPECT_TRUE(isRefused([&] { setToZero(none, 4); }));
    EXPECT_NO_THROW(add(none, none, none, 0));
    EXPECT_NO_THROW(copy(none, none, -3));
    for (const float frequency : {-0.001F, 1.0F, notANumber})
        EXPECT_TRUE(isRefused([&] { calcGoertzel(some, 4, frequency); })) << frequency;
}
