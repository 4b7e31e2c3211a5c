#include "dsp/signal/VectorOperations.h"

#include "dsp/signal/VectorKernels.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvo::vo
{
namespace
{

using Floats = std::vector<float>;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float guard = 777.0F;
constexpr std::size_t guardLength = 20; // longer than the widest vector
constexpr int lengths[] = {0, -3, 1, 3, 7, 15, 16, 17, 33, 1000};

/// Uniform noise in -1..1 with the awkward values of the number format strewn in.
Floats makeSamples(std::size_t count, unsigned int seed)
{
    constexpr float awkward[] = {0.5F, -0.5F, 0.0F, -0.0F, notANumber, infinity, -infinity, 3e38F};
    std::minstd_rand random(seed);
    std::uniform_real_distribution<float> uniform(-1.0F, 1.0F);
    Floats samples(count);
    for (float& sample : samples)
        sample = random() % 4 == 0 ? awkward[random() % std::size(awkward)] : uniform(random);
    return samples;
}

/// Bit patterns, so that -0 differs from +0 but not-a-number equals itself.
std::vector<std::uint32_t> bitsOf(const Floats& values)
{
    std::vector<std::uint32_t> bits;
    for (const float value : values)
        bits.push_back(std::bit_cast<std::uint32_t>(std::isnan(value) ? notANumber : value));
    return bits;
}

/// Runs an operation of two sources on all lengths, aligned and not, into a third buffer and into
/// either source, beside the plain loop; values around the destination must stay.
template <typename Operation, typename Plain>
void compareWithPlainLoop(Operation operation, Plain plain)
{
    for (const int n : lengths)
        for (const std::size_t offset : {std::size_t{0}, std::size_t{1}, std::size_t{6}})
        {
            SCOPED_TRACE("length " + std::to_string(n) + ", offset " + std::to_string(offset));
            const std::size_t count = n > 0 ? static_cast<std::size_t>(n) : 0;
            const std::size_t size = offset + count + guardLength;
            const Floats a = makeSamples(size, 1);
            const Floats b = makeSamples(size, 2);
            const auto expectedIn = [&](Floats buffer)
            {
                for (std::size_t i = offset; i < offset + count; ++i)
                    buffer[i] = plain(a[i], b[i]);
                return bitsOf(buffer);
            };
            Floats apart(size, guard);
            operation(a.data() + offset, b.data() + offset, apart.data() + offset, n);
            EXPECT_EQ(bitsOf(apart), expectedIn(Floats(size, guard)));

            Floats first = a;
            operation(first.data() + offset, b.data() + offset, first.data() + offset, n);
            EXPECT_EQ(bitsOf(first), expectedIn(a)) << "in place of the first source";

            Floats second = b;
            operation(a.data() + offset, second.data() + offset, second.data() + offset, n);
            EXPECT_EQ(bitsOf(second), expectedIn(b)) << "in place of the second source";
        }
}

/// The same for an operation of one source.
template <typename Operation, typename Plain>
void compareUnaryWithPlainLoop(Operation operation, Plain plain)
{
    compareWithPlainLoop([&](const float* a, const float*, float* dst, int n)
                         { operation(a, dst, n); },
                         [&](float a, float) { return plain(a); });
}

std::vector<std::int64_t> findInstructionSets()
{
    std::vector<std::int64_t> found;
    for (std::int64_t rest = hwy::SupportedTargets(); rest != 0; rest &= rest - 1)
    {
        const std::int64_t candidate = rest & -rest;
        hwy::SetSupportedTargetsForTest(candidate);
        if (std::string(chooseInstructionSet()) == hwy::TargetName(candidate))
            found.push_back(candidate); // else there is no code for it
        hwy::SetSupportedTargetsForTest(0);
    }
    chooseInstructionSet();
    return found;
}

TEST(InstructionSets, includeTheOneInUse)
{
    std::vector<std::string> names;
    for (const std::int64_t target : findInstructionSets())
        names.emplace_back(hwy::TargetName(target));
    EXPECT_EQ(std::count(names.begin(), names.end(), chooseInstructionSet()), 1);
}

/// Every test runs once with each instruction set that is compiled in and that the processor has.
class VectorOperations : public testing::TestWithParam<std::int64_t>
{
protected:
    void SetUp() override
    {
        hwy::SetSupportedTargetsForTest(GetParam());
        ASSERT_STREQ(chooseInstructionSet(), hwy::TargetName(GetParam()));
    }

    void TearDown() override
    {
        hwy::SetSupportedTargetsForTest(0);
        chooseInstructionSet();
    }
};

INSTANTIATE_TEST_SUITE_P(all, VectorOperations, testing::ValuesIn(findInstructionSets()),
                         [](const auto& info) { return hwy::TargetName(info.param); });

TEST_P(VectorOperations, addSubtractAndMultiplyElementByElement)
{
    compareWithPlainLoop(add, [](float a, float b) { return a + b; });
    compareWithPlainLoop(subtract, [](float a, float b) { return b - a; });
    compareWithPlainLoop(multiply, [](float a, float b) { return a * b; });
}

TEST_P(VectorOperations, subtractTheFirstOperandFromTheSecond)
{
    const Floats ones(9, 1.0F);
    const Floats threes(9, 3.0F);
    Floats difference(9);
    subtract(ones.data(), threes.data(), difference.data(), 9);
    EXPECT_EQ(difference, Floats(9, 2.0F));
}

TEST_P(VectorOperations, multiplyByAConstant)
{
    compareUnaryWithPlainLoop([](const float* src, float* dst, int n)
                              { constantMultiply(src, -1.7F, dst, n); },
                              [](float x) { return x * -1.7F; });
}

TEST_P(VectorOperations, boundFromAboveAndBelowAndLetNotANumberPass)
{
    compareUnaryWithPlainLoop([](const float* src, float* dst, int n)
                              { upperBound(src, dst, 0.5F, n); },
                              [](float x) { return x > 0.5F ? 0.5F : x; });
    compareUnaryWithPlainLoop([](const float* src, float* dst, int n)
                              { lowerBound(src, dst, -0.5F, n); },
                              [](float x) { return x < -0.5F ? -0.5F : x; });
}

TEST_P(VectorOperations, limitToFiniteValues)
{
    compareUnaryWithPlainLoop(
        [](const float* src, float* dst, int n) { limitToFinite(src, dst, 0.75F, n); },
        [](float x) { return std::isfinite(x) ? std::fmin(std::fmax(x, -0.75F), 0.75F) : 0.0F; });
}

TEST_P(VectorOperations, findASingleSampleThatIsNotWithinTheLimit)
{
    for (const int n : lengths)
    {
        Floats samples(static_cast<std::size_t>(std::max(n, 0)) + 1, -2.0F);
        samples.back() = notANumber; // behind the end
        EXPECT_TRUE(isWithin(samples.data(), 2.0F, n)) << n;
        for (std::size_t position = 0; position + 1 < samples.size(); ++position)
            for (const float bad : {2.0000002F, -infinity, notANumber})
            {
                samples[position] = bad;
                EXPECT_FALSE(isWithin(samples.data(), 2.0F, n)) << bad << " at " << position;
                samples[position] = 2.0F;
            }
    }
}

TEST_P(VectorOperations, widenExactlyAndRoundToNearest)
{
    // Ties, the halfway point to overflow and what lies beyond it round as the processor does.
    const double awkward[] = {0.1,
                              1.0 + 0x1p-24,
                              1.0 + 0x3p-24,
                              0x1.ffffffp127,
                              0x1.fffffefp127,
                              1e300,
                              -1e300,
                              static_cast<double>(-infinity),
                              -0.0,
                              static_cast<double>(notANumber)};
    for (const int n : lengths)
        for (const std::size_t offset : {std::size_t{0}, std::size_t{1}})
        {
            SCOPED_TRACE("length " + std::to_string(n) + ", offset " + std::to_string(offset));
            const std::size_t count = n > 0 ? static_cast<std::size_t>(n) : 0;
            std::vector<double> source(offset + count);
            for (std::size_t i = 0; i < source.size(); ++i)
                source[i] = awkward[(i * 7) % std::size(awkward)];
            Floats narrow(source.size() + guardLength, guard);
            Floats expected = narrow;
            for (std::size_t i = offset; i < source.size(); ++i)
                expected[i] = static_cast<float>(source[i]);
            convert64To32(source.data() + offset, narrow.data() + offset, n);
            EXPECT_EQ(bitsOf(narrow), bitsOf(expected));

            std::vector<double> wide(narrow.size(), 777.0);
            convert32To64(narrow.data() + offset, wide.data() + offset, n);
            for (std::size_t i = 0; i < wide.size(); ++i)
                if (!std::isnan(narrow[i]) && (i >= offset || narrow[i] == guard))
                    EXPECT_EQ(wide[i], static_cast<double>(narrow[i]));
        }
}

TEST_P(VectorOperations, takeMagnitudesOverTheWholeRangeOfFloat)
{
    using Complex = std::complex<float>;
    const Complex awkward[] = {{3.0F, -4.0F},    {0.0F, -0.0F},     {1e-30F, 1e-30F},
                               {3e38F, 3e38F},   {2e30F, -1e30F},   {0.0F, 1e-37F},
                               {infinity, 1.0F}, {notANumber, 1.0F}};
    for (const int n : lengths)
    {
        const std::size_t count = n > 0 ? static_cast<std::size_t>(n) : 0;
        std::vector<Complex> source(count);
        Floats expected(count + guardLength, guard);
        for (std::size_t i = 0; i < count; ++i)
        {
            source[i] = awkward[(i * 5 + i / 8) % std::size(awkward)];
            const auto re = static_cast<double>(source[i].real());
            const auto im = static_cast<double>(source[i].imag());
            expected[i] = static_cast<float>(std::sqrt(re * re + im * im));
        }
        Floats magnitudes(expected.size(), guard);
        calcMagnitudes(source.data(), magnitudes.data(), n);
        EXPECT_EQ(bitsOf(magnitudes), bitsOf(expected)) << "length " << n;
    }
}

TEST_P(VectorOperations, giveASingleBinAsTheDirectSumDoes)
{
    std::minstd_rand random(5);
    std::uniform_real_distribution<float> uniform(-0.5F, 1.0F);
    Floats samples(9601);
    std::generate(samples.begin(), samples.end(), [&] { return uniform(random); });
    for (const float frequency : {50.0F / 48000.0F, 0.0F, 0.03125F, 0.25F, 0.5F, 0.9999F})
        for (const int n : {1, 2, 63, 961, 1919, 9601})
        {
            std::complex<double> sum = 0.0;
            for (int k = 0; k < n; ++k)
                sum +=
                    static_cast<double>(samples[static_cast<std::size_t>(k)]) *
                    std::polar(1.0, -2.0 * std::numbers::pi * static_cast<double>(frequency) * k);
            const std::complex<float> bin = calcGoertzel(samples.data(), n, frequency);
            // Half a unit in the last place of a float result, and the rounding of the recursion.
            const double tolerance = 1e-7 * std::abs(sum) + 1e-10 * n;
            EXPECT_NEAR(static_cast<double>(bin.real()), sum.real(), tolerance) << frequency;
            EXPECT_NEAR(static_cast<double>(bin.imag()), sum.imag(), tolerance) << frequency;
        }
}

TEST_P(VectorOperations, giveASilentBinThePhaseZero)
{
    for (const float silence : {0.0F, -0.0F})
        for (const int n : {0, 1, 17, 961})
        {
            const Floats samples(1000, silence);
            const std::complex<float> bin = calcGoertzel(samples.data(), n, 50.0F / 48000.0F);
            EXPECT_EQ(bitsOf({bin.real(), bin.imag()}), bitsOf({0.0F, 0.0F})) << n;
        }
}

TEST(VectorOperationsOnAnySet, takePhasesOfAllQuadrants)
{
    const std::complex<float> source[] = {{1.0F, 0.0F},  {0.0F, 2.0F}, {-1.0F, -0.0F},
                                          {-1.0F, 0.0F}, {0.0F, 0.0F}, {1.0F, -1.0F}};
    constexpr float pi = std::numbers::pi_v<float>;
    Floats phases(7, guard);
    calcPhases(source, phases.data(), 6);
    const Floats expected = {0.0F, pi / 2.0F, -pi, pi, 0.0F, -pi / 4.0F, guard};
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_FLOAT_EQ(phases[i], expected[i]);
}

TEST(VectorOperationsOnAnySet, fillAndCopyExactlyTheLengthAsked)
{
    for (const int n : lengths)
    {
        const std::size_t count = n > 0 ? static_cast<std::size_t>(n) : 0;
        std::vector<double> doubles(count + 1, 5.0);
        setToValue(1.5, doubles.data(), n);
        EXPECT_EQ(std::count(doubles.begin(), doubles.end(), 1.5), std::max(n, 0));

        Floats floats(count + 1, guard);
        setToZero(floats.data(), n);
        EXPECT_EQ(std::count(floats.begin(), floats.end(), 0.0F), std::max(n, 0));

        std::vector<double> target(count + 1, 5.0);
        copy(doubles.data(), target.data(), n);
        EXPECT_EQ(target, doubles);
    }
}

template <typename Call>
std::string errorOf(Call call)
{
    try
    {
        call();
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    return "no error";
}

TEST(VectorOperationsOnAnySet, reportAMissingBufferOnlyWhenThereIsWork)
{
    float some[4] = {};
    std::complex<float> bins[4] = {};
    double wide[4] = {};
    const std::string expected = "IPP exception: null pointer";
    EXPECT_EQ(errorOf([&] { add(nullptr, some, some, 4); }), expected);
    EXPECT_EQ(errorOf([&] { subtract(some, nullptr, some, 4); }), expected);
    EXPECT_EQ(errorOf([&] { multiply(some, some, nullptr, 4); }), expected);
    EXPECT_EQ(errorOf([&] { lowerBound(nullptr, some, 0.0F, 4); }), expected);
    EXPECT_EQ(errorOf([&] { setToZero(nullptr, 4); }), expected);
    EXPECT_EQ(errorOf([&] { copy<double>(wide, nullptr, 4); }), expected);
    EXPECT_EQ(errorOf([&] { convert64To32(wide, nullptr, 4); }), expected);
    EXPECT_EQ(errorOf([&] { calcMagnitudes(bins, nullptr, 4); }), expected);
    EXPECT_EQ(errorOf([&] { calcGoertzel(nullptr, 4, 0.1F); }), expected);
    EXPECT_NO_THROW(add(nullptr, nullptr, nullptr, 0));
    EXPECT_NO_THROW(copy<float>(nullptr, nullptr, -1));
    EXPECT_EQ(calcGoertzel(nullptr, 0, 0.1F), std::complex<float>());
}

TEST(VectorOperationsOnAnySet, refuseABinBeyondTheSamplingRate)
{
    const float some[4] = {};
    for (const float frequency : {-0.001F, 1.0F, infinity, notANumber})
        EXPECT_EQ(errorOf([&] { calcGoertzel(some, 4, frequency); }).find("IPP exception: "), 0U)
            << frequency;
}

} // namespace
} // namespace orvo::vo
