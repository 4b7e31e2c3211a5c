#include "standalone/CommandLine.h"
#include "standalone/MainWindow.h"

#include <cstdio>
#include <juce_audio_plugin_client/utility/juce_CreatePluginFilter.h>
#include <juce_gui_basics/juce_gui_basics.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kalim::standalone
{
namespace
{

/// The arguments are read before the framework starts, and the file is left here.
std::optional<std::string> fileToOpen;

class KalimApplication : public juce::JUCEApplication, private juce::Timer
{
public:
    const juce::String getApplicationName() override { return "Kalim"; }

    const juce::String getApplicationVersion() override { return JucePlugin_VersionString; }

    bool moreThanOneInstanceAllowed() override { return true; }

    void initialise(const juce::String&) override
    {
        const auto program = juce::File::getSpecialLocation(juce::File::currentExecutableFile);
        processor = juce::createPluginFilterOfType(juce::AudioProcessor::wrapperType_Standalone);
        session = std::make_unique<Session>(*processor, program.getParentDirectory());
        session->openDevice();
        window = std::make_unique<MainWindow>(*session);
        if (fileToOpen)
            window->openFile(juce::File::getCurrentWorkingDirectory().getChildFile(
                juce::String::fromUTF8(fileToOpen->c_str())));
        startTimer(rememberInterval);
    }

    void shutdown() override
    {
        stopTimer();
        window.reset();
        session.reset();
        processor.reset();
    }

    void systemRequestedQuit() override { quit(); }

private:
    static constexpr int rememberInterval = 2000; // in milliseconds

    /// A crash loses what has changed in the last seconds only.
    void timerCallback() override
    {
        session->remember();
        window->remember();
    }

    std::unique_ptr<juce::AudioProcessor> processor;
    std::unique_ptr<Session> session;
    std::unique_ptr<MainWindow> window;
};

/// Whether there is a screen to show windows on. To be called before anything of the framework's
/// is, which would wait for ever or crash without one.
bool hasDisplay()
{
#if JUCE_LINUX || JUCE_BSD
    // Loaded like the framework does it, so that the program links and starts without it.
    struct Display;
    using OpenDisplay = Display* (*)(const char*);
    using CloseDisplay = int (*)(Display*);
    juce::DynamicLibrary library("libX11.so.6");
    const auto open = reinterpret_cast<OpenDisplay>(library.getFunction("XOpenDisplay"));
    const auto close = reinterpret_cast<CloseDisplay>(library.getFunction("XCloseDisplay"));
    if (open == nullptr || close == nullptr)
        return false;
    Display* const display = open(nullptr);
    if (display == nullptr)
        return false;
    close(display);
#endif
    return true;
}

} // namespace
} // namespace kalim::standalone

JUCE_CREATE_APPLICATION_DEFINE(kalim::standalone::KalimApplication)

int main(int numArguments, char** arguments)
{
    using namespace kalim::standalone;
    const auto commandLine =
        CommandLine::parse(std::vector<std::string>(arguments + 1, arguments + numArguments));
    if (commandLine.message)
    {
        std::fputs(commandLine.message->c_str(), commandLine.exitCode == 0 ? stdout : stderr);
        return commandLine.exitCode;
    }
    if (!hasDisplay())
    {
        std::fputs("kalim-standalone: there is no screen to show a window on (is DISPLAY set?)\n",
                   stderr);
        return 1;
    }
    fileToOpen = commandLine.file;
    juce::JUCEApplicationBase::createInstance = &juce_CreateApplication;
    return juce::JUCEApplicationBase::main(numArguments, const_cast<const char**>(arguments));
}
