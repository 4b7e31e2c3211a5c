#include "standalone/CommandLine.h"
#include "standalone/DisplayCheck.h"
#include "standalone/MainWindow.h"

#include <cstdio>
#include <juce_audio_plugin_client/utility/juce_CreatePluginFilter.h>
#include <juce_gui_basics/juce_gui_basics.h>
#include <memory>
#include <string>
#include <vector>

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

} // namespace

JUCE_CREATE_APPLICATION_DEFINE(KalimApplication)

int main(int numArguments, char** arguments)
{
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
