#include "audiofile/UncarriedTags.h"

#include "audiofile/FileBytes.h"
#include "audiofile/FlacBlocks.h"
#include "audiofile/Id3Frames.h"
#include "audiofile/OggPages.h"
#include "audiofile/VorbisComments.h"

#include <sndfile.h>

#include <span>
#include <string_view>

namespace kalim
{
namespace
{

std::vector<std::string> uncarriedOggTags(int descriptor)
{
    constexpr int numberOfComments = 1;
    const auto packet = oggPacket(descriptor, numberOfComments);
    if (!packet)
        return {};
    for (const std::string_view mark : {"\x03vorbis", "OpusTags"})
        if (asText(*packet).starts_with(mark))
            return uncarriedVorbisComments(std::span(*packet).subspan(mark.size()));
    return {};
}

} // namespace

std::vector<std::string> uncarriedTags(const AudioFileReader& reader)
{
    switch (reader.format().container())
    {
    case SF_FORMAT_FLAC:
        return uncarriedFlacBlocks(reader.descriptor());
    case SF_FORMAT_OGG:
        return uncarriedOggTags(reader.descriptor());
    case SF_FORMAT_MPEG:
        return uncarriedId3Frames(reader.descriptor());
    default:
        return {};
    }
}

} // namespace kalim
