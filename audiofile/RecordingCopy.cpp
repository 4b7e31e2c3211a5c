#include "audiofile/RecordingCopy.h"

#include "audiofile/ValidBits.h"
#include "base/FileError.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace kalim
{
namespace
{

/// Formats of which a float does not hold every sample.
bool isWide(const AudioFileFormat& format)
{
    const int subtype = format.getSubtype();
    return subtype == SF_FORMAT_DOUBLE || integerBitsOf(subtype).value_or(0) > 24;
}

bool holdsAnyScale(const AudioFileFormat& format)
{
    return format.getSampleFormat() == SampleFormat::float32 ||
           format.getSampleFormat() == SampleFormat::float64;
}

OutputFormat chosenFormat(const AudioFileReader& reader, const std::filesystem::path& output,
                          const FormatRequest& request)
{
    return chooseOutputFormat(
        reader.getFormat(),
        {reader.getNumFrames(), reader.getNumChannels(), reader.getSampleRate()}, output, request);
}

} // namespace

/// The file's own numbers, read a second time beside the reader.
class RecordingCopy::ExactSamples
{
public:
    explicit ExactSamples(const AudioFileReader& reader)
        : scale(reader.getFullScale())
    {
        SF_INFO info{};
        sound.reset(sf_open(reader.getPath().c_str(), SFM_READ, &info));
        const bool isSame = sound != nullptr && info.channels == reader.getNumChannels() &&
                            info.format == reader.getFormat().getLibraryFormat();
        if (!isSame)
            sound.reset();
    }

    bool isOpen() const { return sound != nullptr; }

    /// The exact samples less what was taken out of those that the reader gave.
    void apply(std::span<const float> cleaned, std::vector<double>& result)
    {
        result.resize(cleaned.size());
        const auto got =
            sf_read_double(sound.get(), result.data(), static_cast<sf_count_t>(cleaned.size()));
        for (std::size_t n = 0; n < cleaned.size(); ++n)
        {
            const bool isThere = static_cast<sf_count_t>(n) < got && std::isfinite(result[n]);
            const double after = static_cast<double>(cleaned[n]);
            const float before =
                isThere ? static_cast<float>(result[n]) / static_cast<float>(scale) : 0.0F;
            const double removed = static_cast<double>(before) - after;
            result[n] =
                isThere && std::isfinite(before) ? result[n] - removed * scale : after * scale;
        }
    }

private:
    SoundFileHandle sound;
    double scale;
};

RecordingCopy::RecordingCopy(const AudioFileReader& original, const std::filesystem::path& output,
                             const CopySettings& settings)
    : RecordingCopy(original, output, settings, chosenFormat(original, output, settings.format))
{
}

RecordingCopy::RecordingCopy(const AudioFileReader& original, const std::filesystem::path& output,
                             const CopySettings& settings, OutputFormat chosen)
    : reader(original)
    , outputPath(output)
    , metadata(original)
    , target(std::move(chosen))
    , file(output, settings.existing)
    , writer(file, target.format, original.getNumChannels(), original.getSampleRate())
    , scale(holdsAnyScale(target.format) ? original.getFullScale() : 1.0)
{
    const bool isSameDepth = target.format.getSubtype() == original.getFormat().getSubtype();
    // Of companded samples the field tells the bits of their codes.
    const bool isPlain = target.format.getSampleFormat() <= SampleFormat::pcm32;
    const auto validBits = validBitsOf(original.getDescriptor());
    if (isPlain && isSameDepth && validBits && !settings.format.samples)
        writer.setValidBits(*validBits);
    if (settings.quality)
        writer.setQuality(*settings.quality);
    metadata.applyTo(writer, settings.note, settings.comment);
    if (!settings.isResidual && deservesExactSamples())
        exact = std::make_unique<ExactSamples>(original);
    if (exact && !exact->isOpen())
        exact.reset();
}

RecordingCopy::~RecordingCopy() = default;

bool RecordingCopy::deservesExactSamples() const
{
    const bool isMoreThanFloat = isWide(reader.getFormat()) && isWide(target.format);
    // Of another scale, the smallest samples are rounded on their way through the reader.
    return scale != 1.0 || (isMoreThanFloat && reader.getFullScale() == 1.0);
}

void RecordingCopy::write(std::span<const float> interleaved)
{
    if (exact)
    {
        exact->apply(interleaved, wide);
        writer.write(std::span<const double>(wide));
    }
    else if (scale != 1.0)
        writeScaled(interleaved);
    else
        writer.write(interleaved);
}

void RecordingCopy::writeScaled(std::span<const float> interleaved)
{
    wide.resize(interleaved.size());
    std::ranges::transform(interleaved, wide.begin(),
                           [this](float sample) { return static_cast<double>(sample) * scale; });
    writer.write(std::span<const double>(wide));
}

void RecordingCopy::close()
{
    writer.close();
}

std::vector<std::string> RecordingCopy::findWarnings() const
{
    auto warnings = target.warnings;
    try
    {
        const auto losses = metadata.lossesIn(file.getTemporaryPath());
        warnings.insert(warnings.end(), losses.begin(), losses.end());
    }
    catch (const FileError&)
    {
        throw FileError(outputPath,
                        reader.getNumFrames() == 0
                            ? target.format.getContainerName() + " cannot hold an empty recording"
                            : "what was written cannot be read back");
    }
    return warnings;
}

} // namespace kalim
