#include "dsp/precise/LevelDoubts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace orvo::audio::precise
{
namespace
{

/// A third of a second holds enough to tell; moments overlap by half. Products of powers over half
/// of one stay within range.
constexpr int momentFrames = 10;
constexpr int momentHop = momentFrames / 2;

/// Levels that are tried, as shares of what was fitted, from all to none, and by how much
/// (logarithm of the likelihood) one of them must be likelier.
constexpr std::array<double, 5> levels{1.0, 0.5, 0.25, 0.125, 0.0};
constexpr double margin = 8.0;

/// A note on one line must not speak for all.
constexpr double mostPerLine = 3.0;

/// What is likeliest in a moment.
struct Verdict
{
    double share = 1.0;     ///< of the fitted hum
    bool isRefuted = false; ///< whether no hum at all is far likelier than what was fitted
};

/// By how much each level makes readings likelier than no hum does (logarithm).
using Ratings = std::array<double, levels.size()>;

class LevelTest
{
public:
    explicit LevelTest(const HumModel& modelToTest)
        : model(modelToTest)
        , lines(model.getLines())
        , amplitudes(model.getAmplitudes())
    {
        for (int line = 0; line < lines.getNumLines(); ++line)
            if (model.getSmooth().isPresent[line] != 0)
                used.push_back(line);
    }

    /// A verdict for every moment.
    Series<Verdict> judge() const
    {
        Series<Verdict> verdicts;
        Series<Ratings> before = rate(0);
        for (int first = momentHop; verdicts.empty() || first < lines.numFrames; first += momentHop)
        {
            Series<Ratings> here = rate(first);
            verdicts.push_back(judge(before, here));
            before = std::move(here);
        }
        return verdicts;
    }

private:
    /// Ratings of every line that is used over half a moment.
    Series<Ratings> rate(int first) const
    {
        Series<Ratings> ratings;
        for (const int line : used)
            ratings.push_back(rate(line, first, std::min(first + momentHop, lines.numFrames)));
        return ratings;
    }

    Ratings rate(int line, int first, int last) const
    {
        double none = 1.0;
        Ratings products;
        products.fill(1.0);
        for (int frame = first; frame < last; ++frame)
        {
            const std::size_t at = lines.at(frame, line);
            const double noise = freedom * model.getReadNoise()[at] + tiny;
            const Complex value = lines.amplitudes[at];
            none *= noise + getPower(value);
            for (std::size_t i = 0; i < levels.size(); ++i)
                products[i] *= noise + getPower(value - levels[i] * amplitudes[at]);
        }
        Ratings ratings;
        for (std::size_t i = 0; i < levels.size(); ++i)
            ratings[i] = (0.5 * freedom + 1.0) * std::log(none / products[i]);
        return ratings;
    }

    static Verdict judge(const Series<Ratings>& before, const Series<Ratings>& here)
    {
        Ratings sums{};
        for (std::size_t line = 0; line < here.size(); ++line)
            for (std::size_t i = 0; i < levels.size(); ++i)
                sums[i] += std::clamp(before[line][i] + here[line][i], -mostPerLine, mostPerLine);
        const auto* const best = std::max_element(sums.begin(), sums.end());
        if (*best <= sums.front() + margin)
            return {};
        return {levels[static_cast<std::size_t>(best - sums.begin())],
                sums.back() > sums.front() + margin};
    }

    const HumModel& model;
    const HarmonicLines& lines;
    Series<Complex> amplitudes;
    Series<int> used; // lines that are present
};

/// Shares of all moments. A chord may speak for less in a single moment: only beside one in which
/// the fit is refuted is that believed.
Series<double> findShares(const LevelTest& test)
{
    Series<Verdict> verdicts = test.judge();
    const auto isSure = [](const Verdict& verdict) { return verdict.share == 1.0; };
    for (auto from = verdicts.begin(); from != verdicts.end();)
    {
        from = std::find_if_not(from, verdicts.end(), isSure);
        const auto to = std::find_if(from, verdicts.end(), isSure);
        if (std::none_of(from, to, [](const Verdict& verdict) { return verdict.isRefuted; }))
            std::fill(from, to, Verdict{});
        from = to;
    }
    Series<double> shares;
    for (const Verdict& verdict : verdicts)
        shares.push_back(verdict.share);
    return shares;
}

/// Between the middles of two moments the share moves from one to the other.
double interpolate(const Series<double>& shares, int frame)
{
    const double position = std::max(0.0, (frame + 0.5 - 0.5 * momentFrames) / momentHop);
    const auto last = static_cast<int>(shares.size()) - 1;
    const int before = std::min(static_cast<int>(position), last);
    const int after = std::min(before + 1, last);
    return shares[before] + (position - before) * (shares[after] - shares[before]);
}

} // namespace

void lowerDoubtfulMoments(HumModel& model)
{
    const HarmonicLines& lines = model.getLines();
    const Series<double> shares = findShares(LevelTest(model));
    if (std::all_of(shares.begin(), shares.end(), [](double share) { return share == 1.0; }))
        return;
    Series<Complex> amplitudes = model.getSmooth().amplitudes;
    for (int frame = 0; frame < lines.numFrames; ++frame)
    {
        const double share = interpolate(shares, frame);
        for (int line = 0; line < lines.getNumLines(); ++line)
            amplitudes[lines.at(frame, line)] *= share;
    }
    model.setAmplitudes(std::move(amplitudes));
}

} // namespace orvo::audio::precise
