#include "dev/manual/Completions.h"
#include "dev/manual/ManPage.h"
#include "kalim/Detection.h"
#include "kalim/Options.h"
#include "kalim/Version.h"

#ifdef KALIM_HAS_STANDALONE
#include "standalone/CommandLine.h"
#endif

#include <fmt/format.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

namespace
{

using namespace kalim::manual;

Command readOptions(const std::function<void(const std::function<void(CLI::App&)>&)>& visit)
{
    Command command;
    visit([&](CLI::App& app) { command = readCommand(app); });
    return command;
}

const PageTexts mainTexts{
    {"[options] INPUT OUTPUT", "[options] --output-dir DIR INPUT...", "detect [options] FILE..."},
    {{"kalim interview.wav clean.wav", "Finds the hum and takes it off the recording as a whole."},
     {"kalim --output-dir clean --recursive --report clean.csv tapes",
      "Cleans all recordings below the folder tapes; a second time only what is new or has "
      "changed."},
     {"kalim --fundamental 60 --harmonics 14 guitar.flac clean.flac",
      "The tracking engine, with settings by hand."}},
    {"kalim-detect", "kalim-standalone"}};

const PageTexts detectionTexts{
    {"[options] FILE..."},
    {{"kalim detect --json interview.wav", "What hum there is, for a program to read."}},
    {"kalim"}};

const PageTexts standaloneTexts{{"[FILE]"}, {}, {"kalim"}};

class Output
{
public:
    Output(const std::filesystem::path& target, const std::string& shownDate)
        : folder(target)
        , date(shownDate)
    {
        std::filesystem::create_directories(folder);
    }

    void writePage(const Command& command, const PageTexts& texts) const
    {
        write(pageNameOf(command) + ".1",
              makeManPage(command, texts, kalim::program::version, date));
    }

    void write(const std::string& name, const std::string& text) const
    {
        std::ofstream file(folder / name, std::ios::binary);
        file << text;
        file.close();
        if (!file)
            throw std::runtime_error((folder / name).string() + ": cannot be written");
    }

private:
    std::filesystem::path folder;
    std::string date;
};

void writeAll(const Output& output)
{
    const Program program{readOptions(kalim::program::visitOptions),
                          {readOptions(kalim::program::visitDetectionOptions)}};
    output.writePage(program.main, mainTexts);
    output.writePage(program.verbs.front(), detectionTexts);
#ifdef KALIM_HAS_STANDALONE
    const auto help = kalim::standalone::CommandLine::parse({"--help"}).message;
    output.writePage(readHelp(help.value()), standaloneTexts);
#endif
    output.write("kalim.bash", makeBashCompletion(program));
    output.write("_kalim", makeZshCompletion(program));
    output.write("kalim.fish", makeFishCompletion(program));
}

} // namespace

/// Writes manual pages and completions, made from what the programs know of their options.
int main(int argc, char** argv)
{
    if (argc != 3)
    {
        fmt::print(stderr, "usage: kalim_manual FOLDER DATE\n");
        return 2;
    }
    try
    {
        writeAll({argv[1], argv[2]});
        return 0;
    }
    catch (const std::exception& error)
    {
        fmt::print(stderr, "kalim_manual: {}\n", error.what());
        return 1;
    }
}
