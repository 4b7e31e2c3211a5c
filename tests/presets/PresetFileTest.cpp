#include "presets/PresetFile.h"

#include "kalim/HumSettings.h"
#include "tests/audiofile/ScratchFolder.h"

#include <sys/stat.h>

namespace kalim::test
{
namespace
{

using namespace program;
using orvo::audio::Kalimmer;
using ::testing::ElementsAre;

std::string preset(const std::string& elements)
{
    return "<Preset><ParameterSettings>" + elements + "</ParameterSettings><CustomData/></Preset>";
}

class PresetFileTest : public ScratchFolder
{
protected:
    /// All values by id after a preset of these elements was read.
    std::vector<float> valuesFrom(const std::string& elements) const
    {
        HumSettings settings;
        settings.update(readPresetFile(writeText("a.xml", preset(elements))));
        std::vector<float> values;
        for (int id = 0; id < static_cast<int>(HumSettings::count); ++id)
            values.push_back(settings.get(static_cast<orvo::audio::HumParameterId>(id)));
        return values;
    }

    static std::string refusalOf(const std::filesystem::path& file)
    {
        const auto message = messageOf([&] { readPresetFile(file); });
        EXPECT_TRUE(message.empty() || message.starts_with(file.string() + ": ")) << message;
        return message;
    }

    std::string refusal(const std::string& text) const
    {
        return refusalOf(writeText("bad.xml", text));
    }
};

} // namespace

TEST_F(PresetFileTest, SetsWhatItMentionsWithinItsLimitsAndLeavesTheRest)
{
    EXPECT_THAT(valuesFrom("<!-- a comment --><Parameter id=\"0\" unit=\"kHz\" value=\"60\" "
                           "name=\"x\"/> text <Other id=' 3' value=' +1.4e1'/>"
                           "<Parameter id='6' value='1,0'/>"
                           "<Parameter id='4' value='1'/><Parameter id='4' value='0'/>"),
                ElementsAre(60, 30, 15, 14, 0, 0, 1));
    EXPECT_EQ(valuesFrom("<P value='77'/><P id='' value='77'/><P id='two' value='77'/>"
                         "<P id='-1' value='77'/><P id='7' value='77'/>"
                         "<P id='4294967296' value='77'/>"),
              valuesFrom(""));
    EXPECT_THAT(valuesFrom("<P id='0' value='-inf'/><P id='1' value='1e999'/><P id='2'/>"
                           "<P id='3' value='96.7'/><P id='4' value='many'/>"
                           "<P id='5' value='1e300'/>"),
                ElementsAre(40, 100, 0, 96, 0, 1, 0));
    EXPECT_EQ(valuesFrom("<P id='0' value='60'/><P id='0' value='nan'/>"), valuesFrom(""));
}

TEST_F(PresetFileTest, RefusesWhatIsNoPresetWithTheReason)
{
    EXPECT_THAT(refusal(""), HasSubstr("not valid XML"));
    EXPECT_THAT(refusal("<Preset>\n<ParameterSettings>\n</Preset>"), HasSubstr("line 3"));
    EXPECT_THAT(refusal("<Preset><Inner><ParameterSettings/></Inner></Preset>"),
                HasSubstr("no ParameterSettings"));
    EXPECT_THAT(refusal("<!DOCTYPE Preset>" + preset("")), HasSubstr("DOCTYPE"));
    EXPECT_THAT(refusal(preset("<!ENTITY a \"b\">")), HasSubstr("ENTITY"));
    EXPECT_THAT(refusal(preset("<P id='0' name='\xfc'/>")), HasSubstr("UTF-8"));
    EXPECT_EQ(refusal("\xef\xbb\xbf<?xml version='1.0' encoding='UTF-8'?>" + preset("")), "");
}

TEST_F(PresetFileTest, LimitsSizeAndNesting)
{
    const auto nested = [](int depth)
    {
        std::string elements = "text";
        for (int i = 0; i < depth; ++i)
            elements.insert(0, "<a>").append("</a>");
        return preset(elements);
    };
    EXPECT_EQ(refusal(nested(62)), "");
    EXPECT_THAT(refusal(nested(63)), HasSubstr("nested deeper than 64"));
    EXPECT_THAT(refusal(nested(140000)), HasSubstr("nested deeper than 64"));
    const std::string padding((1U << 20U) - preset("").size(), ' ');
    EXPECT_EQ(refusal(preset(padding)), "");
    EXPECT_THAT(refusal(preset(padding + " ")), HasSubstr("larger than 1 MiB"));
}

TEST_F(PresetFileTest, ReadsRegularFilesOnly)
{
    ASSERT_EQ(mkfifo(path("pipe.xml").c_str(), 0600), 0);
    EXPECT_THAT(refusalOf(path("pipe.xml")), HasSubstr("not a regular file"));
    EXPECT_THAT(refusalOf(folder), HasSubstr("is a folder"));
    EXPECT_THAT(refusalOf(path("missing.xml")), HasSubstr("No such file"));
}

} // namespace kalim::test
