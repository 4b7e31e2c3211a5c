#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

/// An empty home folder for as long as it lives, so that tests neither see nor change what belongs
/// to whoever runs them; and the built-in language.
class ScratchHome
{
public:
    ScratchHome()
    {
        auto name = (std::filesystem::temp_directory_path() / "kalim-home-XXXXXX").native();
        folder = mkdtemp(name.data());
        setenv("HOME", folder.c_str(), 1);
        setenv("LC_ALL", "C", 1);
        unsetenv("LANGUAGE");
    }

    ~ScratchHome() { std::filesystem::remove_all(folder); }

    ScratchHome(const ScratchHome&) = delete;
    ScratchHome& operator=(const ScratchHome&) = delete;

private:
    std::filesystem::path folder;
};
