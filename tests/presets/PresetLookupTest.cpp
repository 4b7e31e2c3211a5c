#include "presets/PresetLookup.h"

#include "tests/audiofile/ScratchFolder.h"
#include "presets/PresetList.h"
#include "kalim/report/Report.h"

#include <sys/stat.h>

namespace kalim::test
{
namespace
{

class PresetLookupTest : public ScratchFolder
{
protected:
    /// Makes empty files in the folders of all presets, "factory" and "user".
    void add(std::initializer_list<const char*> names) const
    {
        for (const char* const name : names)
        {
            std::filesystem::create_directories(path(name).parent_path());
            writeText(name, "");
        }
    }

    /// The file that is found, or the reason why there is none.
    std::string find(const std::string& text) const
    {
        std::string found;
        const auto reason = messageOf<std::invalid_argument>(
            [&] { found = findPreset(text, folders()).file.lexically_proximate(folder).string(); });
        return found + reason;
    }

    PresetFolders folders() const { return {path("factory"), path("user")}; }
};

} // namespace

TEST_F(PresetLookupTest, ListsOneLevelOfFoldersSortedWithoutRegardToCase)
{
    add({"factory/b.xml", "factory/A.xml", "factory/a.xml", "factory/zoo/y.xml",
         "factory/Bar/x.xml", "factory/Bar/deep/no.xml", "factory/.hidden.xml",
         "factory/.git/no.xml", "factory/readme.txt", "factory/folder.xml/no.txt", "user/a b.xml",
         "user/a.xml"});
    ASSERT_EQ(mkfifo(path("user/pipe.xml").c_str(), 0600), 0);
    std::string names;
    for (const Preset& preset : listPresets(folders()))
        names += preset.folder + "/" + preset.name + " ";
    EXPECT_EQ(names, "/A /a /b Bar/x zoo/y /a /a b ");
    EXPECT_EQ(program::presetsToText(listPresets(folders()), {}),
              "Factory presets\n  A\n  a\n  b\n  Bar/\n    x\n  zoo/\n    y\n"
              "User presets\n  a\n  a b\n");
    EXPECT_EQ(program::presetsToText(listPresets({path("none"), ""}), {}),
              "Factory presets\n  none\nUser presets\n  none\n");
}

TEST_F(PresetLookupTest, PrefersExactNamesThenTheUsersOwn)
{
    add({"factory/Hum.xml", "factory/Guitar/Buzz.xml", "user/buzz.xml", "user/My/Hum.xml",
         "user/My/Own.xml"});
    EXPECT_EQ(find("Hum"), "user/My/Hum.xml");
    EXPECT_EQ(find("hum"), "user/My/Hum.xml");
    EXPECT_EQ(find("/Hum"), "factory/Hum.xml");
    EXPECT_EQ(find("Buzz"), "factory/Guitar/Buzz.xml");
    EXPECT_EQ(find("BUZZ"), "user/buzz.xml");
    EXPECT_EQ(find("guitar/BUZZ"), "factory/Guitar/Buzz.xml");
    EXPECT_EQ(find(path("factory/Hum.xml").string()), "factory/Hum.xml");
    EXPECT_THAT(find("Hu"), HasSubstr("there is no preset 'Hu'; --list-presets"));
    EXPECT_THAT(find(path("user/none.xml").string()), HasSubstr("there is no preset"));
}

TEST_F(PresetLookupTest, NamesTheCandidatesWhereSeveralAreMeant)
{
    add({"factory/A/Hum.xml", "factory/B/Hum.xml", "factory/C/HUM.xml"});
    EXPECT_EQ(find("Hum"), "there are several presets 'Hum': A/Hum, B/Hum");
    EXPECT_EQ(find("hum"), "there are several presets 'hum': A/Hum, B/Hum, C/HUM");
    EXPECT_EQ(find("HUM"), "factory/C/HUM.xml");
    add({"user/D/hum.xml", "user/hum.xml"});
    EXPECT_EQ(find("hum"), "there are several presets 'hum': /hum, D/hum");
    EXPECT_EQ(find("b/hum"), "factory/B/Hum.xml");
}

} // namespace kalim::test
