#include "standalone/CleanedFile.h"

#include "kalim/Cleaning.h"

#include <algorithm>
#include <set>

namespace kalim::standalone
{

using orvo::audio::Kalimmer;

program::HumSettings getWindowSettings(const BasePlugInProcessor& plugIn)
{
    std::vector<ParameterValue> values;
    for (const auto& parameter : orvo::audio::humParameters)
        values.push_back(
            {parameter.id, plugIn.getBaseProcessor()->getParameterValue(parameter.id)});
    program::HumSettings settings;
    settings.update(values);
    return settings;
}

std::vector<std::string> writeCleaned(const std::filesystem::path& input,
                                      const std::filesystem::path& output, CleaningMethod method,
                                      const program::HumSettings& settings, Progress& progress)
{
    program::Options options;
    options.input = input;
    options.output = output;
    options.method =
        method == CleaningMethod::precise ? program::Method::precise : program::Method::tracking;
    options.settings = settings;
    options.overwrites = true; // as the user was asked
    options.overwritesAnything = true;
    options.isQuiet = true;
    return program::clean(options, [&](double share) { progress.update(share); }).warnings;
}

std::optional<FoundHum> findHum(const std::filesystem::path& file, Progress& progress)
{
    AudioFileReader reader(file);
    const auto summary =
        program::detectHum(reader, {}, [&](double share) { progress.update(share); });
    if (!summary.hasHum())
        return std::nullopt;
    program::HumSettings settings;
    settings.takeFrom(summary, {Kalimmer::FundamentalFrequency, Kalimmer::NumberOfHarmonics,
                                Kalimmer::OnlyOddHarmonics});
    const auto selection = settings.getSelection();
    return FoundHum{summary.getMeanFrequency(), std::max(selection.count, 1), selection.onlyOdd,
                    summary.getKind()};
}

void applyHum(BasePlugInProcessor& plugIn, const FoundHum& hum)
{
    const auto set = [&plugIn](orvo::audio::HumParameterId id, double value)
    {
        float min = 0.0F;
        float max = 1.0F;
        plugIn.getBaseProcessor()->getParameterRange(id, min, max);
        const int index = plugIn.findPublicParameterIndex(id);
        plugIn.beginParameterGesture(index);
        // Which tells the editor, but not the host.
        plugIn.setParameter(index, (static_cast<float>(value) - min) / (max - min));
        plugIn.notifyInternalParameterChange(id);
        plugIn.endParameterGesture(index);
    };
    plugIn.addUndoState();
    set(Kalimmer::FundamentalFrequency, hum.frequency);
    set(Kalimmer::NumberOfHarmonics, hum.numHarmonics);
    set(Kalimmer::OnlyOddHarmonics, hum.isOnlyOdd ? 1.0 : 0.0);
}

} // namespace kalim::standalone
