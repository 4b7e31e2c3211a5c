#pragma once

#include <span>

namespace CLI
{
class App;
}

namespace kalim::program
{

/// Throws UsageError for a word that looks like an option and is none, with the option that was
/// perhaps meant: the parser would take what follows a misspelt option for a file, and blame the
/// last file.
void requireKnownOptions(const CLI::App& app, std::span<const char* const> words);

} // namespace kalim::program
