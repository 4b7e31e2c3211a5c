#include "standalone/CommandLine.h"

#include <gmock/gmock.h>

namespace kalim::standalone
{

using testing::HasSubstr;

TEST(StandaloneCommandLine, takesAFile)
{
    EXPECT_FALSE(CommandLine::parse({}).file.has_value());
    EXPECT_FALSE(CommandLine::parse({}).message.has_value());
    EXPECT_EQ(CommandLine::parse({"a file.wav"}).file, "a file.wav");
    EXPECT_EQ(CommandLine::parse({"--", "--help"}).file, "--help");
}

TEST(StandaloneCommandLine, explainsItselfAndRefusesWhatItDoesNotKnow)
{
    struct Case
    {
        std::vector<std::string> arguments;
        int exitCode;
        std::string message;
    };

    for (const auto& [arguments, exitCode, message] :
         {Case{{"--help"}, 0, "kalim-standalone [FILE]"},
          Case{{"--version"}, 0, "kalim-standalone 1.8.1\n"}, Case{{"--loop"}, 2, "usage: "},
          Case{{"a.wav", "b.wav"}, 2, "usage: "}, Case{{"-x", "a.wav"}, 2, "usage: "}})
    {
        const CommandLine parsed = CommandLine::parse(arguments);
        EXPECT_EQ(parsed.exitCode, exitCode);
        EXPECT_THAT(parsed.message.value_or(""), HasSubstr(message));
    }
}

} // namespace kalim::standalone
