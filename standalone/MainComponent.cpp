#include "standalone/MainComponent.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace kalim::standalone
{
namespace
{

constexpr int refreshesPerSecond = 20;

/// What is usually read; others may be chosen with the last entry.
constexpr const char* audioFiles = "*.wav;*.wave;*.rf64;*.w64;*.bwf;*.aif;*.aiff;*.aifc;*.caf;"
                                   "*.flac;*.au;*.snd;*.ogg;*.oga;*.opus;*.mp3;*.m4a;*.mp4;"
                                   "*.mov;*.mkv;*.mka;*.webm;*.avi;*.wma;*.aac";

/// An invisible part of another component that tells when that one's look changes.
class LookAndFeelWatcher : public juce::Component
{
public:
    LookAndFeelWatcher(juce::Component& watched, std::function<void()> changed)
        : onChange(std::move(changed))
    {
        watched.addChildComponent(this);
    }

    void lookAndFeelChanged() override { onChange(); }

private:
    std::function<void()> onChange;
};

/// The tooltips of a component but for a part that shows its own.
class TooltipsBeside : public juce::TooltipWindow
{
public:
    TooltipsBeside(juce::Component& parent, juce::Component& part)
        : juce::TooltipWindow(&parent)
        , excluded(part)
    {
    }

    juce::String getTipFor(juce::Component& component) override
    {
        const bool isOwn = &component != &excluded && !excluded.isParentOf(&component);
        return isOwn ? juce::TooltipWindow::getTipFor(component) : juce::String();
    }

private:
    juce::Component& excluded;
};

} // namespace

/// A line that tells the user of something, with a button to do something about it.
class MainComponent::NoticeBar : public juce::Component
{
public:
    static constexpr int height = 30;

    NoticeBar()
    {
        setOpaque(true);
        label.setColour(juce::Label::textColourId, juce::Colour(0xff2b2410));
        label.setMinimumHorizontalScale(0.7F);
        addAndMakeVisible(label);
        addAndMakeVisible(button);
    }

    /// The texts are shown as they are, so translated ones are expected.
    void show(const Notice& notice)
    {
        button.onClick = notice.action;
        if (label.getText() == notice.text && button.getButtonText() == notice.buttonText)
            return;
        label.setText(notice.text, juce::dontSendNotification);
        label.setTooltip(notice.text);
        button.setButtonText(notice.buttonText);
        button.setTitle(notice.buttonText);
        resized();
        // Those who cannot see it are told.
        juce::AccessibilityHandler::postAnnouncement(
            notice.text, juce::AccessibilityHandler::AnnouncementPriority::medium);
    }

    /// Readable on any theme.
    void paint(juce::Graphics& graphics) override { graphics.fillAll(juce::Colour(0xfff3e2a9)); }

    void resized() override
    {
        constexpr int margin = 4;
        auto area = getLocalBounds().reduced(margin);
        button.setBounds(area.removeFromRight(button.getBestWidthForHeight(area.getHeight())));
        label.setBounds(area);
    }

private:
    juce::Label label;
    juce::TextButton button;
};

MainComponent::MainComponent(Session& sessionToShow)
    : session(sessionToShow)
    , noticeBar(std::make_unique<NoticeBar>())
    , humBar(session.getPlayer(), dynamic_cast<BasePlugInProcessor&>(session.getProcessor()))
    , transportBar(session.getPlayer())
    , editor(session.getProcessor().createEditorIfNeeded())
    , tooltips(std::make_unique<TooltipsBeside>(*this, *editor))
{
    setWantsKeyboardFocus(true);
    transportBar.onOpen = [this] { chooseFile(); };
    transportBar.onAudioSettings = [this] { showAudioSettings(); };
    addChildComponent(*noticeBar);
    addAndMakeVisible(*editor);
    addAndMakeVisible(humBar);
    addAndMakeVisible(transportBar);
    lookWatcher = std::make_unique<LookAndFeelWatcher>(*editor, [this] { followLook(); });
    followLook();
    updateNotice();
    fitEditor();
    startTimerHz(refreshesPerSecond);
}

MainComponent::~MainComponent()
{
    stopTimer();
    tooltips.reset();
    audioSettings.reset();
    // The look may belong to the editor.
    juce::LookAndFeel::setDefaultLookAndFeel(nullptr);
    setLookAndFeel(nullptr);
    lookWatcher.reset();
    editor.reset();
}

int MainComponent::getExtraHeight() const
{
    return HumBar::height + TransportBar::height + (noticeBar->isVisible() ? NoticeBar::height : 0);
}

juce::Rectangle<int> MainComponent::getMinimumArea() const
{
    const juce::ComponentBoundsConstrainer* const limits = editor->getConstrainer();
    const auto smallest = limits == nullptr ? editor->getLocalBounds()
                                            : juce::Rectangle<int>(limits->getMinimumWidth(),
                                                                   limits->getMinimumHeight());
    return {std::max(smallest.getWidth(), TransportBar::minimumWidth),
            smallest.getHeight() + getExtraHeight()};
}

bool MainComponent::canBeResized() const
{
    return editor->isResizable();
}

void MainComponent::resized()
{
    const juce::ScopedValueSetter<bool> scope(isLayingOut, true);
    auto area = getLocalBounds();
    if (noticeBar->isVisible())
        noticeBar->setBounds(area.removeFromTop(NoticeBar::height));
    transportBar.setBounds(area.removeFromBottom(TransportBar::height));
    humBar.setBounds(area.removeFromBottom(HumBar::height));
    editor->setBoundsConstrained(area);
}

void MainComponent::childBoundsChanged(juce::Component* child)
{
    if (child == editor.get() && !isLayingOut)
        fitEditor();
}

void MainComponent::fitEditor()
{
    setSize(std::max(editor->getWidth(), TransportBar::minimumWidth),
            editor->getHeight() + getExtraHeight());
}

void MainComponent::followLook()
{
    juce::LookAndFeel& look = editor->getLookAndFeel();
    setLookAndFeel(&look);
    // For windows of their own: settings, and the framework's dialogs. All are told, even of the
    // same one, and the editor would lead here again.
    if (&juce::LookAndFeel::getDefaultLookAndFeel() != &look)
        juce::LookAndFeel::setDefaultLookAndFeel(&look);
    humBar.repaint();
    transportBar.repaint();
}

void MainComponent::timerCallback()
{
    humBar.refresh();
    transportBar.refresh();
    updateNotice();
    // What a dialog has covered is told by the window system, but the framework may hear of it only
    // when something else happens.
    const int count = juce::Desktop::getInstance().getNumComponents();
    if (std::exchange(numWindows, count) != count)
        repaint();
}

std::optional<MainComponent::Notice> MainComponent::findNotice()
{
    AudioEngine& engine = session.getEngine();
    if (problem.isNotEmpty())
        return Notice{problem, juce::translate("Close"), [this] { problem.clear(); }};
    if (!engine.hasDevice())
        return Notice{
            juce::translate("There is no audio device: files are played without a sound."),
            juce::translate("Audio settings..."), [this] { showAudioSettings(); }};
    if (engine.hasInput() && engine.isInputMuted())
        return Notice{juce::translate(
                          "The audio input is muted, so that nothing howls through loudspeakers."),
                      juce::translate("Unmute"), [&engine] { engine.setInputMuted(false); }};
    return std::nullopt;
}

void MainComponent::updateNotice()
{
    const auto notice = findNotice();
    if (notice)
        noticeBar->show(*notice);
    if (notice.has_value() == noticeBar->isVisible())
        return;
    noticeBar->setVisible(notice.has_value());
    fitEditor();
    resized();
}

void MainComponent::openFile(const juce::File& file)
{
    problem = session.openFile(file);
    if (problem.isEmpty())
        humBar.fileOpened();
    transportBar.refresh();
    updateNotice();
}

void MainComponent::chooseFile()
{
    fileChooser = std::make_unique<juce::FileChooser>(
        juce::translate("Open an audio file"), session.getSettings().getFolder(), audioFiles);
    const int options =
        juce::FileBrowserComponent::openMode | juce::FileBrowserComponent::canSelectFiles;
    fileChooser->launchAsync(options,
                             [this](const juce::FileChooser& chooser)
                             {
                                 const juce::File chosen = chooser.getResult();
                                 if (chosen != juce::File())
                                     openFile(chosen);
                             });
}

void MainComponent::showAudioSettings()
{
    if (audioSettings == nullptr)
        audioSettings = std::make_unique<AudioSettingsWindow>(
            session.getEngine(),
            [this]
            {
                // Not while the window is calling.
                juce::MessageManager::callAsync(
                    [safe = juce::Component::SafePointer<MainComponent>(this)]
                    {
                        if (safe != nullptr)
                            safe->audioSettings.reset();
                    });
            });
    audioSettings->showOver(*this);
}

bool MainComponent::keyPressed(const juce::KeyPress& key)
{
    if (key == juce::KeyPress('o', juce::ModifierKeys::commandModifier, 0))
    {
        chooseFile();
        return true;
    }
    if (key == juce::KeyPress::escapeKey && humBar.isBusy())
    {
        humBar.cancel();
        return true;
    }
    if (key != juce::KeyPress::spaceKey)
        return false;
    if (auto* const button = dynamic_cast<juce::Button*>(getCurrentlyFocusedComponent()))
        button->triggerClick();
    else
        transportBar.togglePlaying();
    return true;
}

bool MainComponent::isInterestedInFileDrag(const juce::StringArray& files)
{
    return files.size() == 1;
}

void MainComponent::filesDropped(const juce::StringArray& files, int, int)
{
    openFile(juce::File(files[0]));
}

} // namespace kalim::standalone
