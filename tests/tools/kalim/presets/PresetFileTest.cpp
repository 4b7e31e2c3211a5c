#include "tools/kalim/presets/PresetFile.h"

#include "tests/tools/kalim/files/ScratchFolder.h"
#include "tools/kalim/files/FileError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

namespace kalim::program
{
namespace
{

using orvo::audio::Kalimmer;
using test::messageOf;
using ::testing::HasSubstr;

std::string preset(const std::string& elements)
{
    return "<Preset><ParameterSettings>" + elements + "</ParameterSettings><CustomData/></Preset>";
}

class PresetFileTest : public test::ScratchFolder
{
protected:
    HumSettings settingsFrom(const std::string& elements) const
    {
        HumSettings settings;
        settings.update(readPresetFile(writeText("a.xml", preset(elements))));
        return settings;
    }

    std::string refusal(const std::string& text) const
    {
        const auto file = writeText("bad.xml", text);
        const auto message = messageOf<FileError>([&] { readPresetFile(file); });
        EXPECT_TRUE(message.empty() || message.starts_with(file.string() + ": ")) << message;
        return message;
    }
};

} // namespace

TEST_F(PresetFileTest, SetsWhatItMentionsAndLeavesTheRest)
{
    const HumSettings settings =
        settingsFrom("<!-- a comment --><Parameter id=\"0\" unit=\"kHz\" value=\"60\" name=\"x\"/>"
                     " text <Other id=' 3' value=' +1.4e1'/><Parameter id='6' value='1,0'/>"
                     "<Parameter id='4' value='1'/><Parameter id='4' value='0'/>");
    EXPECT_EQ(settings.get(Kalimmer::FundamentalFrequency), 60.0F);
    EXPECT_EQ(settings.get(Kalimmer::NumberOfHarmonics), 14.0F);
    EXPECT_TRUE(settings.isOn(Kalimmer::ResidualMode));
    EXPECT_FALSE(settings.isOn(Kalimmer::OnlyOddHarmonics));
    EXPECT_EQ(settings.get(Kalimmer::Sensitivity), 30.0F);
    EXPECT_EQ(settings.get(Kalimmer::Adaptivity), 15.0F);
    EXPECT_FALSE(settings.isOn(Kalimmer::AggressiveMode));
}

TEST_F(PresetFileTest, LimitsValuesAndSkipsIdsOfNoParameter)
{
    const HumSettings untouched = settingsFrom(
        "<P value='77'/><P id='' value='77'/><P id='two' value='77'/>"
        "<P id='-1' value='77'/><P id='7' value='77'/><P id='4294967296' value='77'/>");
    for (int id = 0; id < static_cast<int>(HumSettings::count); ++id)
        EXPECT_EQ(untouched.get(static_cast<Kalimmer::ParameterId>(id)),
                  HumSettings().get(static_cast<Kalimmer::ParameterId>(id)));

    const HumSettings limited =
        settingsFrom("<P id='0' value='-inf'/><P id='1' value='1e999'/><P id='2'/>"
                     "<P id='3' value='96.7'/><P id='4' value='many'/><P id='5' value='1e300'/>");
    EXPECT_EQ(limited.get(Kalimmer::FundamentalFrequency), 40.0F);
    EXPECT_EQ(limited.get(Kalimmer::Sensitivity), 100.0F);
    EXPECT_EQ(limited.get(Kalimmer::Adaptivity), 0.0F);
    EXPECT_EQ(limited.get(Kalimmer::NumberOfHarmonics), 96.0F);
    EXPECT_FALSE(limited.isOn(Kalimmer::OnlyOddHarmonics));
    EXPECT_TRUE(limited.isOn(Kalimmer::AggressiveMode));
    EXPECT_EQ(settingsFrom("<P id='0' value='60'/><P id='0' value='nan'/>")
                  .get(Kalimmer::FundamentalFrequency),
              50.0F);
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
    for (const auto& [file, reason] :
         {std::pair(path("pipe.xml"), "not a regular file"), std::pair(folder, "is a folder"),
          std::pair(path("missing.xml"), "missing.xml: No such file")})
        EXPECT_THAT(messageOf<FileError>([&, name = file] { readPresetFile(name); }),
                    HasSubstr(reason));
}

} // namespace kalim::program
