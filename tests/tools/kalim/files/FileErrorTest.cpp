#include "tools/kalim/files/FileError.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace kalim::program
{

TEST(FileErrorTest, StaysOnOneLineWhateverTheNameHolds)
{
    EXPECT_STREQ(FileError("a\nb\x1b[2Jü.wav", "is empty").what(), "a\\nb\\x1b[2Jü.wav: is empty");
    EXPECT_STREQ(FileError("x", ENOENT).what(), "x: No such file or directory");
}

} // namespace kalim::program
