#include "standalone/CommandLine.h"

#include "plugin/KalimConstants.h"

namespace kalim::standalone
{
namespace
{

constexpr const char* usage = "usage: kalim-standalone [FILE]\n";

constexpr const char* help = "\nRemoves mains hum from what an audio device records, or from an "
                             "audio file while it plays.\n"
                             "\n"
                             "  FILE       an audio file to open\n"
                             "  --help     print this and exit\n"
                             "  --version  print the version and exit\n";

CommandLine refuse(const std::string& reason)
{
    return {std::nullopt, "kalim-standalone: " + reason + "\n" + usage, 2};
}

} // namespace

CommandLine CommandLine::parse(const std::vector<std::string>& arguments)
{
    CommandLine result;
    bool mayBeOption = true;
    for (const std::string& argument : arguments)
    {
        const bool isOption = mayBeOption && argument.size() > 1 && argument.front() == '-';
        if (isOption && (argument == "--help" || argument == "-h"))
            return {{}, std::string(usage) + help, 0};
        if (isOption && argument == "--version")
            return {{}, std::string("kalim-standalone ") + KalimConstants::plugInVersion + "\n", 0};
        if (isOption && argument == "--")
            mayBeOption = false;
        else if (isOption)
            return refuse("unknown option " + argument);
        else if (result.file)
            return refuse("only one file can be opened");
        else
            result.file = argument;
    }
    return result;
}

} // namespace kalim::standalone
