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

using PresetFoldersTest = ScratchFolder;

} // namespace

TEST_F(PresetCatalogueTest, ListsOneLevelOfFoldersSortedWithoutRegardToCase)
{
    add({"factory/B.xml", "factory/A.xml", "factory/a.xml", "factory/zoo/y.xml",
         "factory/Bar/x.xml", "factory/Bar/deep/no.xml", "factory/.hidden.xml",
         "factory/.git/no.xml", "factory/readme.txt", "factory/folder.xml/no.txt",
         "factory/empty/no.txt", "user/a b.xml", "user/a.xml"});
    ASSERT_EQ(mkfifo(path("user/pipe.xml").c_str(), 0600), 0);
    std::string listed;
    for (const PresetGroup& group : listPresetGroups(folders()))
    {
        listed += "\n" + group.folder + ":";
        for (const Preset& preset : group.presets)
            listed += " " + preset.folder + "/" + preset.name;
    }
    EXPECT_EQ(listed, "\n: /A /a /B\nBar: Bar/x\nempty:\nfolder.xml:\nzoo: zoo/y\n: /a /a b");
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
    EXPECT_EQ(find(path("factory/Hum.xml").string()), "factory/Hum.xml");
    EXPECT_THAT(find("Hu"), HasSubstr("there is no preset 'Hu'; --list-presets"));
    EXPECT_THAT(find(path("user/none.xml").string()), HasSubstr("there is no preset"));
}

TEST_F(PresetCatalogueTest, NamesTheCandidatesWhereSeveralAreMeant)
{
    add({"factory/A/Hum.xml", "factory/B/Hum.xml", "factory/C/HUM.xml"});
    EXPECT_EQ(find("Hum"), "there are several presets 'Hum': A/Hum, B/Hum");
    EXPECT_EQ(find("hum"), "there are several presets 'hum': A/Hum, B/Hum, C/HUM");
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
    const auto elsewhere = "XDG_CONFIG_HOME=\"" + path("my settings").string() + "\"";
    for (const auto& [table, config] :
         {std::pair(""s, ".config"), std::pair(elsewhere, "my settings"),
          std::pair("XDG_CONFIG_HOME=$HOME/none\n \t" + elsewhere + " \r\n", "my settings"),
          std::pair("XDG_CONFIG_HOME = '$HOME/my settings'"s, "my settings"),
          std::pair("#" + elsewhere + "\nXDG_CONFIG_HOME\nXDG_CONFIG_HOME=\"\"\n", ".config")})
    {
        writeText(".config/user-dirs.dirs", table);
        EXPECT_EQ(findUserPresets(folder),
                  path(config) / "Application Support/Orvotech/Kalim/Presets");
    }
    EXPECT_EQ(findUserPresets(""), "");
}

} // namespace kalim::test
