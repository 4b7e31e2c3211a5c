#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace kalim
{

/// A picture with its kind as ID3 and FLAC number them: 3 is the front cover.
struct TagPicture
{
    int kind = 0;
    std::string mimeType;
    std::string description;

    /// What FLAC says of the picture beside it; 0 where it is not known.
    int width = 0;
    int height = 0;
    int colourDepth = 0;
    int numColours = 0;
    std::vector<std::byte> data;
};

/// A metadata block of a FLAC file, without its header.
struct FlacBlock
{
    static constexpr int application = 2;
    static constexpr int cueSheet = 5;

    int type = 0;
    std::vector<std::byte> data;

    bool operator==(const FlacBlock&) const = default;
};

/// What a file says of its music, whatever the container.
struct Tags
{
    using Fields = std::map<std::string, std::vector<std::string>>;

    /// Values in UTF-8 by names in upper case, such as ARTIST; any may be repeated.
    Fields fields;
    std::vector<TagPicture> pictures;

    /// A whole ID3v2 tag as it stood in the file, for there is more in it than fields.
    std::vector<std::byte> id3;

    /// Names of what only such a tag can hold.
    std::vector<std::string> id3Only;

    /// Cue sheets and application blocks.
    std::vector<FlacBlock> flacBlocks;

    bool isEmpty() const
    {
        return fields.empty() && pictures.empty() && id3.empty() && flacBlocks.empty();
    }

    /// Adds a value unless it is empty.
    void add(const std::string& name, const std::string& value);

    /// Adds what another place in the same file says and this one does not. What is the beginning
    /// of a known value is no news: some places shorten.
    void addMissing(const Tags& other);
};

/// Repeated values as one text, for containers that take one only.
std::string joined(const std::vector<std::string>& values);

/// Pictures of a list that another lacks.
std::vector<TagPicture> missingPictures(const std::vector<TagPicture>& wanted,
                                        const std::vector<TagPicture>& present);

/// What of some tags did not arrive in others, one phrase each: "2 pictures", "the tags MOOD, a
/// second ARTIST". Control characters and long lists are replaced.
std::vector<std::string> lostTags(const Tags& wanted, const Tags& written);

} // namespace kalim
