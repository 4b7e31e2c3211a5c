#include "standalone/CommandLine.h"

#include <gmock/gmock.h>

#include <tuple>

namespace kalim::standalone
{

TEST(StandaloneCommandLine, takesOneFileOrExplainsItself)
{
    using Arguments = std::vector<std::string>;
    for (const auto& [arguments, file, exitCode, message] :
         {std::tuple{Arguments{}, "none", 0, "none"},
          {{"a file.wav"}, "a file.wav", 0, "none"},
          {{"--", "--help"}, "--help", 0, "none"},
          {{"--help"}, "none", 0, "kalim-standalone [FILE]"},
          {{"--version"}, "none", 0, "kalim-standalone 1."},
          {{"--loop"}, "none", 2, "usage: "},
          {{"a.wav", "b.wav"}, "none", 2, "usage: "},
          {{"-x", "a.wav"}, "none", 2, "usage: "}})
    {
        const CommandLine parsed = CommandLine::parse(arguments);
        EXPECT_EQ(parsed.file.value_or("none"), file);
        EXPECT_EQ(parsed.exitCode, exitCode);
        EXPECT_THAT(parsed.message.value_or("none"), testing::HasSubstr(message));
    }
}

} // namespace kalim::standalone
