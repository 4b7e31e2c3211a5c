#include "presets/PresetFolders.h"

#include "tests/audiofile/ScratchFolder.h"

namespace kalim::test
{
namespace
{

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

TEST_F(PresetFoldersTest, TheFactorysAreInTheNearestBundleAroundTheProgram)
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

TEST_F(PresetFoldersTest, TheUsersAreWhereTheTableOfFoldersLeads)
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
