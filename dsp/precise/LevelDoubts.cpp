#include "dsp/precise/LevelDoubts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace orvo::audio::precise
{
namespace
{

/// A third of a second holds enough to tell; moments overlap by half.
constexpr int momentFrames = 10;
constexpr int momentHop = momentFrames / 2;

/// Levels that are tried, as shares of what was fitted, from all to none, and by how much
/// (logarithm of the likelihood) one of them must be likelier.
constexpr std::array<double, 5> levels{1.0, 0.5, 0.25, 0.125, 0.0};
constexpr double margin = 8.0;

/// A note on one line must not speak for all.
constexpr double mostPerLine = 3.0;

/// Of Student's t distribution, whose density of a complex value falls with the power
/// -(freedom / 2 + 1).
constexpr double freedom = 2.0;

constexpr double tiny = 1e-30;

/// What is likeliest in a moment.
struct Verdict
{
    double share = 1.0;     ///< of the fitted hum
    bool isRefuted = false; ///< whether no hum at all is far likelier than what was fitted
};

class LevelTest
{
public:
    explicit LevelTest(const HumModel& modelToTest)
        : model(modelToTest)
        , lines(model.getLines())
        , amplitudes(model.getAmplitudes())
    {
    }

    Verdict judge(int first) const
    {
        const int last = std::min(first + momentFrames, lines.numFrames);
        std::array<double, levels.size()> sums{};
        for (int line = 0; line < lines.getNumLines(); ++line)
            if (model.getSmooth().isPresent[line] != 0)
                addLine(line, first, last, sums);
        const auto* const best = std::max_element(sums.begin(), sums.end());
        if (*best <= sums.front() + margin)
            return {};
        return {levels[static_cast<std::size_t>(best - sums.begin())],
                sums.back() > sums.front() + margin};
    }

private:
    /// Adds how much likelier each level makes the readings than no hum does.
    void addLine(int line, int first, int last, std::array<double, levels.size()>& sums) const
    {
        std::array<double, levels.size()> ratios;
        ratios.fill(1.0);
        for (int frame = first; frame < last; ++frame)
        {
            const std::size_t at = lines.at(frame, line);
            const double noise = freedom * model.getReadNoise()[at] + tiny;
            const double none = noise + getPower(lines.amplitudes[at]);
            for (std::size_t i = 0; i < levels.size(); ++i)
                ratios[i] *=
                    none / (noise + getPower(lines.amplitudes[at] - levels[i] * amplitudes[at]));
        }
        for (std::size_t i = 0; i < levels.size(); ++i)
            sums[i] +=
                std::clamp((0.5 * freedom + 1.0) * std::log(ratios[i]), -mostPerLine, mostPerLine);
    }

    const HumModel& model;
    const HarmonicLines& lines;
    Series<Complex> amplitudes;
};

/// Shares of all moments. A chord may speak for less in a single moment: only beside one in which
/// the fit is refuted is that believed.
Series<double> findShares(const LevelTest& test, int numFrames)
{
    Series<Verdict> verdicts;
    for (int first = 0; first == 0 || first + momentHop < numFrames; first += momentHop)
        verdicts.push_back(test.judge(first));
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
    const Series<double> shares = findShares(LevelTest(model), lines.numFrames);
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
