#include "kalim/detect/FileFindings.h"

#include "audiofile/FileDamage.h"
#include "base/FileError.h"
#include "kalim/detect/QualityMeter.h"
#include "kalim/detect/QualityText.h"
#include "kalim/report/HumText.h"

#include <fmt/format.h>

#include <optional>

namespace kalim::program
{
namespace
{

using Json = nlohmann::ordered_json;
using orvo::audio::precise::HumSummary;

std::string toText(const std::filesystem::path& file, const HumSummary& hum, bool isBrief)
{
    std::string text = fmt::format("{}: {}\n", printable(file), describeHum(hum));
    if (isBrief || !hum.hasHum())
        return text;
    text += fmt::format("  between {:.3f} Hz and {:.3f} Hz, drift {:+.5f} Hz/s, {:.1f} s of hum\n",
                        hum.getLowestFrequency(), hum.getHighestFrequency(), hum.getDrift(),
                        hum.getSecondsOfHum());
    if (!hum.getChanges().empty())
        text += fmt::format("  changes at {}\n", changesToText(hum.getChanges()));
    for (const std::string& doubt : findDoubts(hum))
        text += fmt::format("  {}\n", doubt);
    return text + harmonicsToText(hum);
}

/// Signs that sound of the file was not looked at.
std::vector<std::string> lossesOf(const AudioFileReader& reader)
{
    std::vector<std::string> losses;
    for (const FileNote& damage : damagesOf(reader))
        if (damage.isLoss)
            losses.push_back(damage.text);
    return losses;
}

FileFindings find(const std::filesystem::path& file, const DetectionRequest& request,
                  const Progress& progress)
{
    AudioFileReader reader(file, Damaged::salvage);
    std::optional<QualityMeter> meter;
    if (request.measuresQuality)
        meter.emplace(reader.getSampleRate(), reader.getNumChannels());
    const HumSummary hum =
        detectHum(reader, request.settings, progress,
                  [&meter](const float* const* samples, const float* const* removed, int count)
                  {
                      if (meter)
                          meter->add(samples, removed, count);
                  });
    FileFindings findings;
    findings.row = {{"file", printable(file)}, {"hum", humToJson(hum)}};
    findings.text = toText(file, hum, request.isBrief);
    if (meter)
    {
        const Quality quality = meter->finish();
        findings.row["quality"] = qualityToJson(quality);
        if (!request.isBrief)
            findings.text += qualityToText(quality);
    }
    for (const std::string& loss : lossesOf(reader))
    {
        findings.row["damages"].push_back(loss);
        findings.problems.push_back(fmt::format("{}: {}", printable(file), loss));
    }
    return findings;
}

} // namespace

FileFindings makeFailure(const std::filesystem::path& file, const std::string& reason)
{
    return {{{"file", printable(file)}, {"error", reason}}, "", {reason}};
}

FileFindings lookAt(const std::filesystem::path& file, const DetectionRequest& request,
                    const Progress& progress)
try
{
    return find(file, request, progress);
}

catch (const FileError& error)
{
    return makeFailure(file, error.what());
}

std::string pack(const FileFindings& findings)
{
    return Json{{"row", findings.row}, {"text", findings.text}, {"problems", findings.problems}}
        .dump(-1, ' ', false, Json::error_handler_t::replace);
}

FileFindings unpack(const std::string& packed)
{
    const Json json = Json::parse(packed);
    return {json.at("row"), json.at("text"), json.at("problems")};
}

} // namespace kalim::program
