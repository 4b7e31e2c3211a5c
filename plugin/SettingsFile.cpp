#include "plugin/SettingsFile.h"

#include "plugin/KalimConstants.h"

#include <algorithm>
#include <array>

namespace kalim::plugin
{
namespace
{

constexpr const char* extension = "prop";
constexpr juce::int64 largestFile = 1 << 20;
constexpr int deepestNesting = 64;

/// Looks over a text before the parser does. Deliberately stricter than it: what is accepted here
/// has one reading only, so that the nesting found is the nesting that the recursive parser will
/// see. Instructions other than a declaration at the start are refused, because text after one
/// makes the parser run for ever.
class Inspection
{
public:
    explicit Inspection(std::string_view inspected)
        : text(inspected)
    {
    }

    bool accepts()
    {
        if (skip("<?xml ") && !skipBeyond("?>"))
            return false;
        while (skipTextUpToTag())
            if (!skipTag())
                return false;
        return text.empty();
    }

private:
    /// Returns false at the end, and where the text has a reference that is not to a character.
    bool skipTextUpToTag()
    {
        const std::size_t tag = std::min(text.find('<'), text.size());
        if (!refersToCharactersOnly(text.substr(0, tag)))
            return false;
        text.remove_prefix(tag);
        return !text.empty();
    }

    bool skipTag()
    {
        if (skip("<!--"))
            return skipBeyond("-->");
        if (skip("<![CDATA["))
            return skipBeyond("]]>");
        if (skip("</"))
        {
            --depth;
            return skipBeyond(">");
        }
        return skip("<") && ++depth <= deepestNesting && skipName() && skipAttributes();
    }

    /// To the end of an opening tag.
    bool skipAttributes()
    {
        for (;;)
        {
            skipBlanks();
            if (skip(">"))
                return true;
            if (skip("/>"))
            {
                --depth;
                return true;
            }
            if (!skipAttribute())
                return false;
        }
    }

    bool skipAttribute()
    {
        if (!skipName())
            return false;
        skipBlanks();
        if (!skip("="))
            return false;
        skipBlanks();
        if (text.empty() || (text.front() != '"' && text.front() != '\''))
            return false;
        const std::size_t end = text.find(text.front(), 1);
        if (end == std::string_view::npos || !refersToCharactersOnly(text.substr(1, end - 1)))
            return false;
        text.remove_prefix(end + 1);
        return true;
    }

    bool skipName()
    {
        constexpr std::string_view characters =
            "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-:.";
        const std::size_t length = std::min(text.find_first_not_of(characters), text.size());
        text.remove_prefix(length);
        return length > 0;
    }

    void skipBlanks()
    {
        const std::size_t end = text.find_first_not_of(" \t\r\n");
        text.remove_prefix(std::min(end, text.size()));
    }

    bool skip(std::string_view wanted)
    {
        if (!text.starts_with(wanted))
            return false;
        text.remove_prefix(wanted.size());
        return true;
    }

    bool skipBeyond(std::string_view end)
    {
        const std::size_t position = text.find(end);
        if (position == std::string_view::npos)
            return false;
        text.remove_prefix(position + end.size());
        return true;
    }

    static bool refersToCharactersOnly(std::string_view content)
    {
        for (std::size_t start = content.find('&'); start != std::string_view::npos;
             start = content.find('&', start + 1))
            if (!startsWithCharacterReference(content.substr(start + 1)))
                return false;
        return true;
    }

    static bool startsWithCharacterReference(std::string_view content)
    {
        constexpr std::array<std::string_view, 5> named{"amp;", "lt;", "gt;", "quot;", "apos;"};
        if (std::ranges::any_of(named,
                                [&](std::string_view name) { return content.starts_with(name); }))
            return true;
        constexpr std::size_t longest = 8;
        if (!content.starts_with('#'))
            return false;
        const std::size_t end =
            content.find_first_not_of("0123456789abcdefABCDEF", content.starts_with("#x") ? 2 : 1);
        return end != std::string_view::npos && content[end] == ';' && end <= longest;
    }

    std::string_view text;
    int depth = 0;
};

juce::PropertiesFile::Options makeOptions(const juce::String& applicationName)
{
    juce::PropertiesFile::Options options;
    options.applicationName = applicationName;
    options.filenameSuffix = extension;
    options.folderName = orvo::companyName;
    options.osxLibrarySubFolder = "Application Support";
    return options;
}

/// The framework writes elements that follow a text with line ends, which it does not have when it
/// writes a value in one line.
bool hasTextBeforeElement(const juce::XmlElement& parent)
{
    bool isBehindText = false;
    for (const juce::XmlElement* const child : parent.getChildIterator())
    {
        if (child->isTextElement())
            isBehindText = true;
        else if (isBehindText || hasTextBeforeElement(*child))
            return true;
    }
    return false;
}

bool canBeWritten(std::string_view xml)
{
    const auto root = parseSafely(xml);
    return root != nullptr && !hasTextBeforeElement(*root);
}

bool isSafe(const juce::File& file)
{
    // Devices and pipes exist, but have no size of their own, and reading them need not end.
    if (!file.existsAsFile() || file.getSize() < 1 || file.getSize() > largestFile)
        return false;
    juce::MemoryBlock bytes;
    return file.loadFileAsData(bytes) &&
           canBeWritten({static_cast<const char*>(bytes.getData()), bytes.getSize()});
}

/// The framework parses its files without the care that files from outside need.
juce::File putAsideIfUnsafe(const juce::File& file)
{
    if (!file.exists() || isSafe(file))
        return file;
    const bool isAside = file.moveFileTo(file.withFileExtension("damaged").getNonexistentSibling());
    return isAside ? file : file.getNonexistentSibling();
}

/// The framework takes every value for XML that begins like it, and parses it with each saving.
void removeUnsafeValues(juce::PropertiesFile& properties)
{
    const juce::StringPairArray all = properties.getAllProperties();
    for (const juce::String& key : all.getAllKeys())
        if (all[key].trimStart().startsWithChar('<') && !canBeWritten(all[key].toRawUTF8()))
            properties.removeValue(key);
}

} // namespace

std::unique_ptr<juce::PropertiesFile> openSettingsFile(const juce::String& applicationName,
                                                       const juce::File& folderOfBinary)
{
    const juce::PropertiesFile::Options options = makeOptions(applicationName);
    const juce::File portable = folderOfBinary.getChildFile(applicationName + "." + extension);
    const bool isPortable = folderOfBinary.hasWriteAccess() && portable.existsAsFile();
    const juce::File file = isPortable ? portable : options.getDefaultFile();
    auto properties = std::make_unique<juce::PropertiesFile>(putAsideIfUnsafe(file), options);
    removeUnsafeValues(*properties);
    return properties;
}

void reloadSettingsFile(juce::PropertiesFile& properties)
{
    if (putAsideIfUnsafe(properties.getFile()) == properties.getFile())
        properties.reload();
    removeUnsafeValues(properties);
}

std::unique_ptr<juce::XmlElement> parseSafely(std::string_view xml)
{
    constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
    if (xml.starts_with(byteOrderMark))
        xml.remove_prefix(byteOrderMark.size());
    const int size = static_cast<int>(xml.size());
    if (!juce::CharPointer_UTF8::isValidString(xml.data(), size))
        return nullptr;
    const juce::String text = juce::String::fromUTF8(xml.data(), size);
    return Inspection(text.toRawUTF8()).accepts() ? juce::parseXML(text) : nullptr;
}

} // namespace kalim::plugin
