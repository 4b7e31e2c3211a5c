#include "standalone/CommandLine.h"

#include <gmock/gmock.h>

namespace kalim::standalone
{

TEST(StandaloneCommandLine, takesOneFileOrExplainsItself)
{
    struct Case
    {
        std::vector<std::string> arguments;
        std::optional<std::string> file;
        int exitCode = 0;
        std::string message = "nothing";
    };

    for (const auto& [arguments, file, exitCode, message] :
         {Case{{}, {}}, Case{{"a file.wav"}, "a file.wav"}, Case{{"--", "--help"}, "--help"},
          Case{{"--help"}, {}, 0, "kalim-standalone [FILE]"},
          Case{{"--version"}, {}, 0, "kalim-standalone 1.8.1\n"},
          Case{{"--loop"}, {}, 2, "usage: "}, Case{{"a.wav", "b.wav"}, {}, 2, "usage: "},
          Case{{"-x", "a.wav"}, {}, 2, "usage: "}})
    {
        const CommandLine parsed = CommandLine::parse(arguments);
        EXPECT_EQ(parsed.file, file);
        EXPECT_EQ(parsed.exitCode, exitCode);
        EXPECT_THAT(parsed.message.value_or("nothing"), testing::HasSubstr(message));
    }
}

} // namespace kalim::standalone
