#include "standalone/MainWindow.h"

#include "Artwork.h"

#include <memory>

namespace kalim::standalone
{
namespace
{

juce::Image makeIcon()
{
    return juce::ImageFileFormat::loadFrom(artwork::appIcon_png, artwork::appIcon_pngSize);
}

} // namespace

MainWindow::MainWindow(Session& sessionToShow)
    : juce::DocumentWindow("Kalim",
                           juce::LookAndFeel::getDefaultLookAndFeel().findColour(
                               juce::ResizableWindow::backgroundColourId),
                           juce::DocumentWindow::minimiseButton |
                               juce::DocumentWindow::maximiseButton |
                               juce::DocumentWindow::closeButton,
                           false)
    , session(sessionToShow)
{
    setUsingNativeTitleBar(true);
    auto component = std::make_unique<MainComponent>(session);
    content = component.get();
    const bool isResizable = content->canBeResized();
    setContentOwned(component.release(), true);
    setResizable(isResizable, false);
    restoreBounds();
    // Only now that it is complete, or the window system would see several windows come and go.
    addToDesktop();
    if (juce::ComponentPeer* const peer = getPeer())
        peer->setIcon(makeIcon());
    setVisible(true);
}

MainWindow::~MainWindow()
{
    remember();
}

void MainWindow::restoreBounds()
{
    if (getConstrainer() != nullptr)
    {
        const juce::Rectangle<int> smallest = content->getMinimumArea();
        setResizeLimits(smallest.getWidth(), smallest.getHeight(), 1 << 15, 1 << 15);
    }
    const auto remembered = session.getSettings().getWindow();
    if (!remembered)
    {
        centreWithSize(getWidth(), getHeight());
        return;
    }
    const int extra = content->getExtraHeight();
    const auto wanted = remembered->withHeight(remembered->getHeight() + extra);
    const auto& displays = juce::Desktop::getInstance().getDisplays();
    const auto* const display = displays.getDisplayForRect(wanted);
    if (display == nullptr)
        return;
    const auto area = limitToScreen(wanted, display->userArea);
    if (content->canBeResized())
        content->setSize(area.getWidth(), area.getHeight());
    setTopLeftPosition(area.getPosition());
}

void MainWindow::remember()
{
    if (isMinimised() || isFullScreen())
        return;
    const juce::Point<int> position = getFramePosition();
    session.getSettings().setWindow({position.getX(), position.getY(), content->getWidth(),
                                     content->getHeight() - content->getExtraHeight()});
}

/// Positions are given to the window system for the frame around the window.
juce::Point<int> MainWindow::getFramePosition() const
{
    const juce::ComponentPeer* const peer = getPeer();
    const auto frame =
        peer != nullptr ? peer->getFrameSizeIfPresent() : juce::ComponentPeer::OptionalBorderSize();
    const juce::Point<int> position = getPosition();
    return frame ? position.translated(-frame->getLeft(), -frame->getTop()) : position;
}

/// The window itself knows no keys and no next part.
void MainWindow::focusGained(FocusChangeType)
{
    content->grabKeyboardFocus();
}

void MainWindow::closeButtonPressed()
{
    juce::JUCEApplicationBase::getInstance()->systemRequestedQuit();
}

} // namespace kalim::standalone
