#include "presets/PresetCatalogue.h"

#include "tests/audiofile/ScratchFolder.h"

#include <sys/stat.h>

namespace kalim::test
{
namespace
{

class PresetCatalogueTest : public ScratchFolder
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

class PresetFoldersTest : public ScratchFolder
{
protected:
    /// The folder for settings that a table of folders leads to, relative to the home folder.
    std::string configFolderWith(const std::string& table) const
    {
        writeText(".config/user-dirs.dirs", table);
        const auto presets = findUserPresets(folder).lexically_relative(folder).string();
        const std::string end = "/Application Support/Orvotech/Kalim/Presets";
        EXPECT_TRUE(presets.ends_with(end)) << presets;
        return presets.substr(0, presets.size() - end.size());
    }
};

} // namespace

TEST_F(PresetCatalogueTest, ListsOneLevelOfFoldersSortedWithoutRegardToCase)
{
    add({"factory/B.xml", "factory/A.xml", "factory/a.xml", "factory/zoo/y.xml",
         "factory/Bar/x.xml", "factory/Bar/deep/no.xml", "factory/.hidden.xml",
         "factory/.git/no.xml", "factory/readme.txt", "factory/folder.xml/no.txt",
         "factory/empty/no.txt", "user/a b.xml", "user/a.xml"});
    ASSERT_EQ(mkfifo(path("user/pipe.xml").c_str(), 0600), 0);
    std::string names;
    for (const Preset& preset : listPresets(folders()))
        names += preset.folder + "/" + preset.name + " ";
    EXPECT_EQ(names, "/A /a /B Bar/x zoo/y /a /a b ");
    std::string groups;
    for (const PresetGroup& group : listPresetGroups(folders()))
        groups += std::to_string(group.presets.size()) + group.folder + " ";
    EXPECT_EQ(groups, "3 1Bar 0empty 0folder.xml 1zoo 2 ");
    EXPECT_TRUE(listPresets({path("none"), ""}).empty());
}

TEST_F(PresetCatalogueTest, KnowsWhichResetsTheSettings)
{
    EXPECT_EQ(findResetPreset(listPresets(folders())), std::nullopt);
    add({"factory/A.xml", "factory/reset.xml", "factory/Sub/Reset it.xml"});
    EXPECT_EQ(findResetPreset(listPresets(folders())), 1U);
    add({"user/RESET.xml"});
    EXPECT_EQ(findResetPreset(listPresets(folders())), 3U);
}

TEST_F(PresetCatalogueTest, PrefersExactNamesThenTheUsersOwn)
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

TEST_F(PresetCatalogueTest, NamesTheCandidatesWhereSeveralAreMeant)
{
    add({"factory/A/Hum.xml", "factory/B/Hum.xml", "factory/C/HUM.xml"});
    EXPECT_EQ(find("Hum"), "there are several presets 'Hum': A/Hum, B/Hum");
    EXPECT_EQ(find("hum"), "there are several presets 'hum': A/Hum, B/Hum, C/HUM");
    EXPECT_EQ(find("HUM"), "factory/C/HUM.xml");
    add({"user/D/hum.xml", "user/hum.xml"});
    EXPECT_EQ(find("hum"), "there are several presets 'hum': /hum, D/hum");
    EXPECT_EQ(find("b/hum"), "factory/B/Hum.xml");
}

TEST_F(PresetFoldersTest, FactoryPresetsAreInTheNearestBundleAroundTheProgram)
{
    for (const char* const name :
         {"outer/Contents/Resources", "outer/inner/Contents", "outer/inner/bin"})
        std::filesystem::create_directories(path(name));
    const auto program = path("outer/inner/bin/kalim");
    EXPECT_EQ(findFactoryPresets(program), path("outer/Contents/Resources/Presets"));
    std::filesystem::create_directory(path("outer/inner/Contents/Resources"));
    EXPECT_EQ(findFactoryPresets(program), path("outer/inner/Contents/Resources/Presets"));
    EXPECT_EQ(findFactoryPresets("/nowhere/at/all/kalim"), "");
    EXPECT_EQ(findFactoryPresets(""), "");
}

TEST_F(PresetFoldersTest, UserPresetsAreWhereTheTableOfFoldersLeads)
{
    std::filesystem::create_directory(path(".config"));
    std::filesystem::create_directory(path("my settings"));
    EXPECT_EQ(configFolderWith(""), ".config");
    const std::string elsewhere = "XDG_CONFIG_HOME=\"" + path("my settings").string() + "\"";
    EXPECT_EQ(configFolderWith(elsewhere), "my settings");
    EXPECT_EQ(configFolderWith("XDG_CONFIG_HOME=$HOME/none\n \t" + elsewhere + " \r\n"),
              "my settings");
    EXPECT_EQ(configFolderWith("XDG_CONFIG_HOME = '$HOME/my settings'"), "my settings");
    EXPECT_EQ(configFolderWith("#" + elsewhere + "\nXDG_CONFIG_HOME\nXDG_CONFIG_HOME=\"\"\n"),
              ".config");
    EXPECT_EQ(findUserPresets(""), "");
}

} // namespace kalim::test
