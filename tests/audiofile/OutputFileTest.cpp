#include "audiofile/OutputFile.h"

#include "tests/audiofile/ScratchFolder.h"

#include <sys/stat.h>

namespace kalim::test
{
namespace
{

class OutputFileTest : public ScratchFolder
{
protected:
    static void put(OutputFile& file, const std::string& text)
    {
        file.write(std::as_bytes(std::span(text)));
    }

    static void write(const std::filesystem::path& target, const std::string& text)
    {
        OutputFile file(target, Existing::replace);
        put(file, text);
        file.commit();
    }

    static std::string refusal(const std::filesystem::path& target,
                               Existing existing = Existing::replace)
    {
        return messageOf([&] { const OutputFile file(target, existing); });
    }
};

} // namespace

TEST_F(OutputFileTest, FilesAppearCompleteAndWhenAllAreFinishedOrNotAtAll)
{
    const auto longest = path(std::string(255, 'x'));
    OutputFile first(longest, Existing::keep);
    {
        OutputFile unfinished(path("b"), Existing::keep);
        put(unfinished, "half");
        OutputFile second(path("c"), Existing::keep);
        put(first, "whole");
        first.finish();
        second.finish();
        second.finish();
        EXPECT_FALSE(std::filesystem::exists(longest));
        EXPECT_EQ(contentsOf(first.getTemporaryPath()), "whole");
    }
    EXPECT_EQ(filesInFolder(), 1);
    first.commit();
    EXPECT_EQ(contentsOf(longest), "whole");
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(OutputFileTest, KeepsWhatExistsUnlessToldToReplaceIt)
{
    const auto target = writeText("two\n \"quoted\"' lines, Grüße 録音", "old");
    EXPECT_THAT(refusal(target, Existing::keep), HasSubstr("already exists"));

    OutputFile late(path("b.wav"), Existing::keep);
    writeText("b.wav", "made meanwhile");
    EXPECT_THAT(messageOf([&] { late.commit(); }), HasSubstr("already exists"));
    EXPECT_EQ(contentsOf(path("b.wav")), "made meanwhile");

    std::filesystem::permissions(target, std::filesystem::perms(0640));
    write(target, "new");
    EXPECT_EQ(contentsOf(target), "new");
    EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms(0640));
}

TEST_F(OutputFileTest, HonoursTheUmaskAndLinks)
{
    const auto previous = umask(0027);
    write(path("a"), "");
    umask(previous);
    EXPECT_EQ(std::filesystem::status(path("a")).permissions(), std::filesystem::perms(0640));

    std::filesystem::create_symlink("a", path("link"));
    EXPECT_TRUE(isSameFile(path("a"), path("link")));
    EXPECT_FALSE(isSameFile(path("a"), path("missing")));
    write(path("link"), "linked");
    EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
    EXPECT_EQ(contentsOf(path("a")), "linked");

    const auto roundabout = std::filesystem::relative(path("new")).parent_path() / "./link";
    EXPECT_EQ(resolvedTarget(roundabout), resolvedTarget(path("a")));
    EXPECT_EQ(resolvedTarget("./new"), resolvedTarget("new"));
    EXPECT_NE(resolvedTarget("new"), resolvedTarget("other"));
}

TEST_F(OutputFileTest, RefusesPlacesThatCannotHoldAFile)
{
    std::filesystem::create_symlink("missing", path("dangling"));
    for (const auto& [target, reason] :
         {std::pair(folder, "is a folder"), std::pair(path("missing/a.wav"), "does not exist"),
          std::pair(writeText("file", "") / "a.wav", "Not a directory"),
          std::pair(std::filesystem::path("/dev/null"), "not a regular file"),
          std::pair(std::filesystem::path("/proc/a.wav"), "cannot create a file"),
          std::pair(path("dangling"), "is a link that leads nowhere"),
          std::pair(path(std::string(256, 'x')), "too long")})
        EXPECT_THAT(refusal(target), HasSubstr(reason));
    EXPECT_EQ(refusal(""), "the output has no name");
    EXPECT_TRUE(std::filesystem::is_symlink(path("dangling")));
}

TEST_F(OutputFileTest, ASignalRemovesTheUnfinishedFileAndEndsTheProcess)
{
    const auto interrupted = [&]
    {
        TemporaryFileRegistry::installSignalHandlers();
        const OutputFile file(path("a.wav"), Existing::keep);
        std::raise(SIGTERM);
    };
    EXPECT_EXIT(interrupted(), testing::KilledBySignal(SIGTERM), "");
    EXPECT_EQ(filesInFolder(), 0);
}

} // namespace kalim::test
