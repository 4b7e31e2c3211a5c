#include "presets/PresetFile.h"

#include "tests/audiofile/ScratchFolder.h"
#include "tests/presets/PresetCases.h"

#include <sys/stat.h>

#include <bit>
#include <tuple>

namespace kalim::test
{
namespace
{

std::string preset(const std::string& elements)
{
    return "<Preset><ParameterSettings>" + elements + "</ParameterSettings><CustomData/></Preset>";
}

class PresetFileTest : public ScratchFolder
{
protected:
    PresetContent read(const std::string& text) const
    {
        return readPresetFile(writeText("a.xml", text));
    }

    static std::string refusalOf(const std::filesystem::path& file)
    {
        return messageOf([&] { readPresetFile(file); });
    }
};

} // namespace

TEST_F(PresetFileTest, GivesTheNumbersThatAreThereAndNoOthers)
{
    for (const auto& [attributes, id, value] : presetCases)
    {
        const auto values = read(preset(std::string("<P ") + attributes + "/>")).values;
        ASSERT_EQ(values.size(), id < 0 ? 0U : 1U) << attributes;
        for (const ParameterValue& found : values)
            EXPECT_EQ(std::tuple(attributes, found.id, std::bit_cast<int>(found.value)),
                      std::tuple(attributes, id, std::bit_cast<int>(value)));
    }
}

TEST_F(PresetFileTest, KeepsOrderAndCustomDataAndMindsNothingElse)
{
    const PresetContent content = read(
        "<?xml version='1.0' encoding='UTF-8'?><Preset><?y?>x<Other/><CustomData a='&lt;'> <b/>t"
        "</CustomData><ParameterSettings><!-- - -->text<P id='4' value='1'/><Q id='4'/>"
        "</ParameterSettings></Preset>");
    ASSERT_EQ(content.values.size(), 2U);
    EXPECT_EQ(content.values[0].value, 1.0F);
    EXPECT_EQ(content.values[1].value, 0.0F);
    EXPECT_EQ(content.customData, "<CustomData a=\"&lt;\"><b/>t</CustomData>");
    EXPECT_EQ(read("<A><ParameterSettings/></A>").customData, "");
}

TEST_F(PresetFileTest, RefusesWhatIsNoPresetWithTheReason)
{
    const auto nested = [](int depth)
    {
        std::string elements;
        for (int i = 0; i < depth; ++i)
            elements += "<a>";
        elements += "text";
        for (int i = 0; i < depth; ++i)
            elements += "</a>";
        return preset(elements);
    };
    const std::string padding((1U << 20U) - preset("").size(), ' ');
    for (const auto& [text, reason] :
         {std::pair<std::string, std::string>{"", "not valid XML"},
          {"<Preset>\n<ParameterSettings>\n</Preset>", "line 3"},
          {"<Preset><Inner><ParameterSettings/></Inner></Preset>", "no ParameterSettings"},
          {"<!DOCTYPE Preset>" + preset(""), "DOCTYPE"},
          {preset("<!ENTITY a \"b\">"), "ENTITY"},
          {preset("<P id='0' name='\xfc'/>"), "UTF-8"},
          {nested(63), "nested deeper than 64"},
          {nested(140000), "nested deeper than 64"},
          {preset(padding + " "), "larger than 1 MiB"}})
        EXPECT_THAT(refusalOf(writeText("bad.xml", text)), HasSubstr(reason));
    for (const std::string& text : {"\xef\xbb\xbf" + preset(""), nested(62), preset(padding)})
        EXPECT_EQ(refusalOf(writeText("good.xml", text)), "");
    ASSERT_EQ(mkfifo(path("pipe.xml").c_str(), 0600), 0);
    EXPECT_THAT(refusalOf(path("pipe.xml")), HasSubstr("not a regular file"));
    EXPECT_EQ(refusalOf(folder), folder.string() + ": is a folder, not a preset");
}

TEST_F(PresetFileTest, WritesTheBytesThatEarlierVersionsWrote)
{
    const auto file = writeText("a.xml", "what was there");
    writePresetFile(file, {{0, "Hz", 61.7F, "FundamentalFrequency"},
                           {3, "", 14.0, "NumberOfHarmonics"},
                           {7, "<a unit> & \"another one\" of more characters", 1.0e-5F, "Long"}});
    std::string expected =
        R"(<?xml version="1.0" encoding="UTF-8"?>

<Preset>
  <ParameterSettings>
    <Parameter id="0" unit="Hz" value="61.70000076293945" name="FundamentalFrequency"/>
    <Parameter id="3" unit="" value="14.0" name="NumberOfHarmonics"/>
    <Parameter id="7" unit="&lt;a unit&gt; &amp; &quot;another one&quot; of more characters"
               value="9.999999747378752e-6" name="Long"/>
  </ParameterSettings>
  <CustomData/>
</Preset>
)";
    for (std::size_t at = 0; (at = expected.find('\n', at)) != std::string::npos; at += 2)
        expected.insert(at, 1, '\r');
    EXPECT_EQ(contentsOf(file), expected);
    EXPECT_EQ(filesInFolder(), 1);

    const auto readers = [](const std::filesystem::path& written)
    { return std::filesystem::status(written).permissions() & std::filesystem::perms(0444); };
    EXPECT_EQ(readers(file), readers(writeText("usual.xml", "")));
}

TEST_F(PresetFileTest, LeavesTheOldFileWhereWritingFails)
{
    const auto file = writeText("old.xml", "what was there");
    EXPECT_THAT(messageOnFullDisk(16, [&] { writePresetFile(file, {}); }),
                HasSubstr("old.xml: File too large"));
    EXPECT_EQ(contentsOf(file), "what was there");
    EXPECT_THAT(messageOf([&] { writePresetFile(path("missing/new.xml"), {}); }),
                HasSubstr("No such file"));
    std::filesystem::create_directory(path("folder.xml"));
    EXPECT_THAT(messageOf([&] { writePresetFile(path("folder.xml"), {}); }),
                HasSubstr("directory"));
    EXPECT_EQ(filesInFolder(), 2);
}

} // namespace kalim::test
