#pragma once

#include <functional>

namespace CLI
{
class App;
}

namespace kalim::program
{

/// The verb "detect": tells what hum the files hold that the command line names, which starts after
/// the verb, on standard output. Gives the exit code: 1 where a file could not be read, of which a
/// line on standard error tells; the others are told all the same. Throws UsageError.
int runDetection(int argc, const char* const* argv);

/// Hands over the verb's options, from which manual and completions are made.
void visitDetectionOptions(const std::function<void(CLI::App&)>& visit);

} // namespace kalim::program
