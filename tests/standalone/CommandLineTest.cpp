#include "standalone/CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;

TEST(StandaloneCommandLine, takesAFile)
{
    EXPECT_FALSE(CommandLine::parse({}).file.has_value());
    EXPECT_FALSE(CommandLine::parse({}).message.has_value());
    EXPECT_EQ(CommandLine::parse({"a file.wav"}).file, "a file.wav");
    EXPECT_EQ(CommandLine::parse({"--", "--help"}).file, "--help");
}

TEST(StandaloneCommandLine, explainsItself)
{
    const CommandLine help = CommandLine::parse({"--help"});
    EXPECT_THAT(help.message.value_or(""), HasSubstr("kalim-standalone [FILE]"));
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(CommandLine::parse({"--version"}).message, "kalim-standalone 1.8.1\n");
}

TEST(StandaloneCommandLine, refusesWhatItDoesNotKnow)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--loop"}, {"a.wav", "b.wav"}, {"-x", "a.wav"}})
    {
        const CommandLine refused = CommandLine::parse(arguments);
        EXPECT_EQ(refused.exitCode, 2);
        EXPECT_THAT(refused.message.value_or(""), HasSubstr("usage: "));
    }
}
