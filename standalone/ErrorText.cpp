#include "standalone/ErrorText.h"

#include <array>
#include <regex>
#include <string>

namespace kalim::standalone
{
namespace
{

/// All reasons, with a # for what differs.
constexpr std::array reasons{
    NEEDS_TRANS("the input has no name"),
    NEEDS_TRANS("the output has no name"),
    NEEDS_TRANS("is empty"),
    NEEDS_TRANS("is a folder, not an audio file"),
    NEEDS_TRANS("is a folder"),
    NEEDS_TRANS("is not a regular file"),
    NEEDS_TRANS("is a link that leads nowhere"),
    NEEDS_TRANS("already exists"),
    NEEDS_TRANS("is the input itself; choose another name"),
    NEEDS_TRANS("has no valid number of channels or sample rate"),
    NEEDS_TRANS(
        "is no recording: its header claims # channels at # Hz, but the file holds # samples"),
    NEEDS_TRANS("cannot be read as audio: #"),
    NEEDS_TRANS("cannot be decoded after frame #"),
    NEEDS_TRANS("cannot be decoded after frame # of #: #"),
    NEEDS_TRANS("cannot be decoded as #: #"),
    NEEDS_TRANS("cannot be decoded: its samples are of an unknown kind"),
    NEEDS_TRANS("ends early: # of # frames"),
    NEEDS_TRANS("was changed while it was read"),
    NEEDS_TRANS("holds no sound"),
    NEEDS_TRANS("holds sound of a kind that cannot be decoded: #"),
    NEEDS_TRANS("cannot be written: #"),
    NEEDS_TRANS("cannot be completed: #"),
    NEEDS_TRANS("cannot be written as #: #"),
    NEEDS_TRANS("the encoder wrote unexpected blocks"),
    NEEDS_TRANS("cannot create a file in #: #"),
    NEEDS_TRANS("the folder # does not exist"),
    NEEDS_TRANS("# is not a folder"),
    NEEDS_TRANS("its name says #, but # is asked for"),
    NEEDS_TRANS("unknown file name extension '#' (known: #)"),
    NEEDS_TRANS("# cannot hold a sample rate of # Hz (it takes #)"),
    NEEDS_TRANS("# cannot hold more than 4 GiB; choose wav, w64 or caf"),
    NEEDS_TRANS("# cannot hold # channels (at most #)"),
    NEEDS_TRANS("# cannot hold # samples (it holds #)"),
    NEEDS_TRANS("# cannot hold an empty recording"),
    NEEDS_TRANS("# cannot hold stream # of the film (#)"),
    NEEDS_TRANS("what was written cannot be read back"),
    NEEDS_TRANS("FFmpeg's libraries cannot encode # here"),
    NEEDS_TRANS("No such file or directory"),
    NEEDS_TRANS("Permission denied"),
    NEEDS_TRANS("No space left on device"),
    NEEDS_TRANS("Read-only file system"),
    NEEDS_TRANS("Input/output error")};

/// The reason behind the name of a file, with advice for the command line behind it, which is of no
/// use here.
std::regex makePattern(const std::string& reason)
{
    const std::regex special(R"([.'()\[\]{}*+?^$|\\/])");
    const std::string escaped = std::regex_replace(reason, special, R"(\$&)");
    return std::regex("(?:([^]*): )?" + std::regex_replace(escaped, std::regex("#"), "([^]*)") +
                      "(?:; --[^]*)?");
}

} // namespace

juce::String translateError(const juce::String& message)
{
    const std::string text = message.toStdString();
    for (const char* const reason : reasons)
    {
        std::smatch parts;
        if (!std::regex_match(text, parts, makePattern(reason)))
            continue;
        const auto pieces = juce::StringArray::fromTokens(juce::translate(reason), "#", {});
        juce::String translated = pieces[0];
        for (int i = 1; i < pieces.size(); ++i)
            translated << juce::String::fromUTF8(
                              parts[static_cast<std::size_t>(i) + 1].str().c_str())
                       << pieces[i];
        const auto path = juce::String::fromUTF8(parts[1].str().c_str());
        return path.isEmpty() ? translated : path + ": " + translated;
    }
    return message;
}

} // namespace kalim::standalone
