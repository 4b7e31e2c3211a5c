#include "standalone/HumBar.h"

#include "standalone/ErrorText.h"

#include <chrono>
#include <exception>
#include <utility>

namespace kalim::standalone
{
namespace
{

using orvo::audio::precise::HumKind;

constexpr int humBarMargin = 6;

juce::String getName(HumKind kind)
{
    switch (kind)
    {
    case HumKind::Tape:
        return juce::translate("its frequency wavers");
    case HumKind::Switched:
        return juce::translate("it comes and goes");
    case HumKind::Breathing:
        return juce::translate("its level wavers");
    default:
        return juce::translate("steady");
    }
}

juce::String describe(const FoundHum& hum)
{
    const juce::String text = hum.isOnlyOdd ? juce::translate("Hum at @ Hz, # odd harmonics")
                              : hum.numHarmonics == 1 ? juce::translate("Hum at @ Hz, one harmonic")
                                                      : juce::translate("Hum at @ Hz, # harmonics");
    return text.replace("@", juce::String(hum.frequency, 2))
               .replace("#", juce::String(hum.numHarmonics)) +
           ", " + getName(hum.kind);
}

std::filesystem::path getPath(const juce::File& file)
{
    return file.getFullPathName().toStdString();
}

} // namespace

HumBar::HumBar(FilePlayer& playerToUse, BasePlugInProcessor& plugInToSet)
    : player(playerToUse)
    , plugIn(plugInToSet)
{
    setTitle(juce::translate("Hum of the file"));
    setFocusContainerType(juce::Component::FocusContainerType::focusContainer);
    findButton.setTooltip(
        juce::translate("Look for the hum of the file and set the controls for it"));
    findButton.onClick = [this]
    {
        if (isBusy())
            cancel();
        else
            lookForHum();
    };
    saveButton.setButtonText(juce::translate("Save cleaned..."));
    saveButton.setTitle(juce::translate("Save the cleaned file"));
    saveButton.setTooltip(juce::translate("Save the cleaned file"));
    saveButton.onClick = [this] { askForMethod(); };
    label.setTitle(juce::translate("Result"));
    label.setMinimumHorizontalScale(0.8F);
    for (juce::Component* const child :
         std::initializer_list<juce::Component*>{&findButton, &saveButton, &label})
        addAndMakeVisible(child);
    refresh();
}

HumBar::~HumBar()
{
    cancel();
}

void HumBar::lookForHum()
{
    isAboutFile = true;
    start(juce::translate("Looking for hum: # %"),
          [this, file = getPath(player.getFile())](Progress& shown) -> Outcome
          {
              const auto hum = findHum(file, shown);
              if (!hum)
                  return [] { return juce::translate("No hum was found"); };
              return [this, hum = *hum]
              {
                  applyHum(plugIn, hum);
                  return describe(hum);
              };
          });
}

void HumBar::save(const juce::File& source, const juce::File& target, CleaningMethod method)
{
    isAboutFile = false;
    start(juce::translate("Saving: # %"),
          [input = getPath(source), target, method,
           settings = getWindowSettings(plugIn)](Progress& shown) -> Outcome
          {
              const auto warnings = writeCleaned(input, getPath(target), method, settings, shown);
              return [target, warnings]
              {
                  juce::String text = juce::translate("Saved:") + " " + target.getFileName();
                  for (const std::string& warning : warnings)
                      text << "; " << juce::String::fromUTF8(warning.c_str());
                  return text;
              };
          });
}

void HumBar::start(const juce::String& doing, Work newWork)
{
    if (isBusy())
        return;
    activity = doing;
    progress = std::make_unique<Progress>();
    work = std::async(std::launch::async, std::move(newWork), std::ref(*progress));
    refresh();
}

void HumBar::cancel()
{
    if (isBusy())
        progress->cancel();
}

void HumBar::fileOpened()
{
    if (isAboutFile)
        cancel();
    if (!isBusy())
        say({});
}

void HumBar::refresh()
{
    if (isBusy() && work.wait_for(std::chrono::seconds(0)) == std::future_status::ready)
        finish();
    const juce::String findText =
        isBusy() ? juce::translate("Cancel") : juce::translate("Find hum");
    findButton.setButtonText(findText);
    findButton.setTitle(findText);
    const bool canStart = player.hasFile() && fileChooser == nullptr;
    findButton.setEnabled(isBusy() || canStart);
    saveButton.setEnabled(!isBusy() && canStart);
    if (isBusy())
        label.setText(progress->wasCancelled()
                          ? juce::translate("Cancelling...")
                          : activity.replace(
                                "#", juce::String(static_cast<int>(100.0 * progress->getShare()))),
                      juce::dontSendNotification);
}

void HumBar::finish()
{
    try
    {
        const Outcome outcome = work.get();
        // What was found may have been cancelled since; what was saved is there.
        say(isAboutFile && progress->wasCancelled() ? juce::String() : outcome());
    }
    catch (const Cancelled&)
    {
        say({});
    }
    catch (const std::exception& error)
    {
        say(translateError(juce::String::fromUTF8(error.what())));
    }
}

void HumBar::say(const juce::String& text)
{
    label.setText(text, juce::dontSendNotification);
    label.setTooltip(text);
    if (text.isNotEmpty()) // those who cannot see it are told
        juce::AccessibilityHandler::postAnnouncement(
            text, juce::AccessibilityHandler::AnnouncementPriority::medium);
}

void HumBar::askForMethod()
{
    juce::PopupMenu menu;
    menu.setLookAndFeel(&getLookAndFeel());
    menu.addItem(1, juce::translate("As heard"));
    menu.addItem(2, juce::translate("Precise"));
    const auto chosen = [](int result, HumBar* bar)
    {
        if (result != 0 && bar != nullptr)
            bar->askForTarget(result == 1 ? CleaningMethod::asHeard : CleaningMethod::precise);
    };
    menu.showMenuAsync(juce::PopupMenu::Options().withTargetComponent(saveButton),
                       juce::ModalCallbackFunction::forComponent(+chosen, this));
}

void HumBar::askForTarget(CleaningMethod method)
{
    const juce::File file = player.getFile();
    const auto proposal = file.getSiblingFile(file.getFileNameWithoutExtension() + "-kalim" +
                                              file.getFileExtension());
    fileChooser =
        std::make_unique<juce::FileChooser>(juce::translate("Save the cleaned file"), proposal);
    const int options = juce::FileBrowserComponent::saveMode |
                        juce::FileBrowserComponent::canSelectFiles |
                        juce::FileBrowserComponent::warnAboutOverwriting;
    fileChooser->launchAsync(options,
                             [this, file, method](const juce::FileChooser& chooser)
                             {
                                 const juce::File chosen = chooser.getResult();
                                 fileChooser.reset(); // which is done once it has called
                                 if (chosen != juce::File())
                                     save(file, chosen, method);
                             });
}

void HumBar::paint(juce::Graphics& graphics)
{
    graphics.fillAll(findColour(juce::ResizableWindow::backgroundColourId));
}

void HumBar::resized()
{
    auto area = getLocalBounds().reduced(humBarMargin);
    const auto place = [&area](juce::TextButton& button, int width)
    {
        button.setBounds(area.removeFromLeft(width));
        area.removeFromLeft(humBarMargin);
    };
    // Wide enough for both texts, so that nothing moves when it is pressed.
    juce::TextButton widest;
    widest.setLookAndFeel(&getLookAndFeel());
    int findWidth = 0;
    for (const juce::String& text : {juce::translate("Find hum"), juce::translate("Cancel")})
    {
        widest.setButtonText(text);
        findWidth = juce::jmax(findWidth, widest.getBestWidthForHeight(area.getHeight()));
    }
    widest.setLookAndFeel(nullptr);
    place(findButton, findWidth);
    place(saveButton, saveButton.getBestWidthForHeight(area.getHeight()));
    label.setBounds(area);
}

} // namespace kalim::standalone
