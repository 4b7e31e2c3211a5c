#pragma once

#include "base/FileError.h"

#include <gmock/gmock.h>

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kalim::test
{

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

inline std::string contentsOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// A folder of its own for every test, removed at the end.
class ScratchFolder : public ::testing::Test
{
protected:
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::filesystem::path path(const std::string& name) const { return folder / name; }

    std::filesystem::path writeText(const std::string& name, const std::string& text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }

    std::ptrdiff_t filesInFolder() const
    {
        return std::distance(std::filesystem::directory_iterator(folder), {});
    }

    std::filesystem::path folder{
        mkdtemp((std::filesystem::temp_directory_path() / "kalim-test-XXXXXX").string().data())};
};

/// The message of the error that an action throws, empty if it throws none.
template <typename Error = FileError, typename Action>
std::string messageOf(const Action& action)
try
{
    action();
    return {};
}

catch (const Error& error)
{
    return error.what();
}

/// The same while no file may grow beyond a size, as on a full disk.
template <typename Action>
std::string messageOnFullDisk(rlim_t largestFile, const Action& action)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit previous{};
    getrlimit(RLIMIT_FSIZE, &previous);
    const rlimit limit{largestFile, previous.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    auto message = messageOf(action);
    setrlimit(RLIMIT_FSIZE, &previous);
    return message;
}

} // namespace kalim::test
