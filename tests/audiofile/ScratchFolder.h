#pragma once

#include "base/FileError.h"

#include <gmock/gmock.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kalim::test
{

using ::testing::HasSubstr;

/// A folder of its own for every test, removed at the end.
class ScratchFolder : public ::testing::Test
{
protected:
    void SetUp() override
    {
        auto name = (std::filesystem::temp_directory_path() / "kalim-test-XXXXXX").native();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder = name;
    }

    void TearDown() override { std::filesystem::remove_all(folder); }

    std::filesystem::path path(const std::string& name) const { return folder / name; }

    std::filesystem::path writeText(const std::string& name, const std::string& text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }

    static std::string contentsOf(const std::filesystem::path& file)
    {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    std::ptrdiff_t filesInFolder() const
    {
        return std::distance(std::filesystem::directory_iterator(folder), {});
    }

    std::filesystem::path folder;
};

/// The message of the error that an action throws, empty if it throws none.
template <typename Error = FileError, typename Action>
std::string messageOf(const Action& action)
{
    try
    {
        action();
    }
    catch (const Error& error)
    {
        return error.what();
    }
    return {};
}

} // namespace kalim::test
