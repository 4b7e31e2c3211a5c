#include "plugin/SafeXml.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>
#include <string_view>

namespace
{

class SafeXmlTest : public ::testing::Test
{
protected:
    bool isAccepted(std::string_view text) const
    {
        EXPECT_TRUE(file.getFile().replaceWithData(text.data(), text.size()));
        return SafeXml::parse(file.getFile()) != nullptr;
    }

    juce::TemporaryFile file{".xml"};
};

std::string repeat(std::string_view text, int count)
{
    std::string result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

} // namespace

TEST_F(SafeXmlTest, acceptsWhatPeopleAndEditorsWrite)
{
    EXPECT_TRUE(isAccepted("<Preset/>"));
    EXPECT_TRUE(isAccepted("\xef\xbb\xbf<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n"
                           "<!-- R&D > <b> ' -->\n<Preset a = '1' b=\"&lt;&#252;&#xFC;>\">"
                           "<c:d-e.f/>\xc3\xbc &amp; <![CDATA[ <x> & ]]></Preset>\n"));
    EXPECT_TRUE(isAccepted(repeat("<a>", 64) + repeat("</a>", 64)));
    EXPECT_TRUE(isAccepted("<a>" + repeat("<b x='/>'/><c></c>", 10000) + "</a>"));
}

TEST_F(SafeXmlTest, refusesWhatTheParserWouldNotSurvive)
{
    EXPECT_FALSE(isAccepted(repeat("<a>", 65) + repeat("</a>", 65)));
    // Deep nesting in the disguise of things that look like closing tags, or hide opening ones.
    for (const std::string_view step :
         {"<b x='/>'>", "<b><!-- </b> -->", "<b><![CDATA[</b>]]>", "<b><?x </b> ?>", "<b '<b>'>",
          "<b x=\"&\" y=\"/>;\">", "<b x='>' /<b>", "< b>"})
        EXPECT_FALSE(isAccepted("<a>" + repeat(step, 20000))) << step;
    EXPECT_FALSE(isAccepted("<a x=\"" + repeat("/>", 40000) + "\">" + repeat("<b>", 40000)));
    EXPECT_FALSE(isAccepted("<!DOCTYPE a [<!ENTITY b \"bb\"><!ENTITY c \"&b;&b;\">]><a>&c;</a>"));
    EXPECT_FALSE(isAccepted("<a>&b;</a>"));
    EXPECT_FALSE(isAccepted("<a b='\xff\xfe\xc3'/>"));
    EXPECT_FALSE(isAccepted("<a b='\xe2\x82"));
    for (const std::string_view text : {"", "text", "<", "<a", "<a b", "<a b=", "<a b='", "<!--",
                                        "<a>&", "<a>&#", "<a>&#99999999999;</a>", "</a>"})
        EXPECT_FALSE(isAccepted(text)) << text;
}

TEST_F(SafeXmlTest, readsRegularFilesOfModestSizeOnly)
{
    const std::string large = "<a>" + std::string(std::size_t{1} << 20, ' ') + "</a>";
    EXPECT_FALSE(isAccepted(large));
    const juce::File pipe = file.getFile().getSiblingFile("kalim-test-pipe.xml");
    pipe.deleteFile();
    ASSERT_EQ(mkfifo(pipe.getFullPathName().toRawUTF8(), 0600), 0);
    for (const juce::File& other :
         {file.getFile().getParentDirectory(), pipe, juce::File("/dev/zero"), juce::File()})
        EXPECT_EQ(SafeXml::parse(other), nullptr) << other.getFullPathName();
    EXPECT_TRUE(pipe.deleteFile());
}
