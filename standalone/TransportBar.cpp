#include "standalone/TransportBar.h"

namespace kalim::standalone
{
namespace
{

constexpr int transportMargin = 6;
constexpr int timeWidth = 104;

/// Minutes and seconds, with hours where there are any.
juce::String formatTime(double seconds)
{
    const auto total = static_cast<juce::int64>(seconds);
    const juce::String tail = juce::String(total % 60).paddedLeft('0', 2);
    const juce::int64 minutes = total / 60;
    if (minutes < 60)
        return juce::String(minutes) + ":" + tail;
    return juce::String(minutes / 60) + ":" + juce::String(minutes % 60).paddedLeft('0', 2) + ":" +
           tail;
}

} // namespace

TransportBar::TransportBar(FilePlayer& playerToShow)
    : player(playerToShow)
{
    setTitle(juce::translate("Audio file"));
    setFocusContainerType(juce::Component::FocusContainerType::focusContainer);
    prepareButtons();
    prepareSlider();
    timeLabel.setTitle(juce::translate("Time"));
    timeLabel.setJustificationType(juce::Justification::centred);
    nameLabel.setTitle(juce::translate("File name"));
    nameLabel.setMinimumHorizontalScale(0.8F);
    for (juce::Component* const child : std::initializer_list<juce::Component*>{
             &openButton, &playButton, &loopButton, &positionSlider, &timeLabel, &nameLabel,
             &audioButton})
        addAndMakeVisible(child);
    refresh();
}

void TransportBar::prepareButtons()
{
    openButton.setButtonText(juce::translate("Open..."));
    openButton.setTitle(juce::translate("Open an audio file"));
    openButton.setTooltip(juce::translate("Open an audio file"));
    openButton.onClick = [this] { onOpen(); };

    playButton.setDescription(juce::translate("Audio file"));
    playButton.onClick = [this] { togglePlaying(); };

    loopButton.setButtonText(juce::translate("Loop"));
    loopButton.setTitle(juce::translate("Loop"));
    loopButton.setTooltip(juce::translate("Play the file over and over again"));
    loopButton.onClick = [this] { player.setLooping(loopButton.getToggleState()); };

    audioButton.setButtonText(juce::translate("Audio..."));
    audioButton.setTitle(juce::translate("Audio settings"));
    audioButton.setTooltip(juce::translate("Audio settings"));
    audioButton.onClick = [this] { onAudioSettings(); };
}

void TransportBar::prepareSlider()
{
    positionSlider.setSliderStyle(juce::Slider::LinearHorizontal);
    positionSlider.setTextBoxStyle(juce::Slider::NoTextBox, true, 0, 0);
    positionSlider.setTitle(juce::translate("Position"));
    positionSlider.setDescription(juce::translate("Audio file"));
    positionSlider.setWantsKeyboardFocus(true);
    positionSlider.setScrollWheelEnabled(false);
    positionSlider.textFromValueFunction = formatTime;
    positionSlider.onValueChange = [this] { player.seek(positionSlider.getValue()); };
}

void TransportBar::togglePlaying()
{
    if (!player.hasFile())
        onOpen();
    else if (player.isPlaying())
        player.stop();
    else
        player.play();
    refresh();
}

void TransportBar::refresh()
{
    const juce::String playText =
        player.isPlaying() ? juce::translate("Stop") : juce::translate("Play");
    playButton.setButtonText(playText);
    playButton.setTitle(playText);
    loopButton.setToggleState(player.isLooping(), juce::dontSendNotification);

    const double length = player.getLength();
    const double position = player.getPosition();
    positionSlider.setEnabled(player.hasFile());
    if (length > 0.0 && length != positionSlider.getMaximum())
        positionSlider.setRange(0.0, length);
    if (!positionSlider.isMouseButtonDown())
        positionSlider.setValue(position, juce::dontSendNotification);
    timeLabel.setText(formatTime(position) + " / " + formatTime(length),
                      juce::dontSendNotification);

    const juce::String name =
        player.hasFile() ? player.getFile().getFileName() : juce::translate("No file");
    if (name == nameLabel.getText())
        return;
    nameLabel.setText(name, juce::dontSendNotification);
    nameLabel.setTooltip(player.getFile().getFullPathName());
    resized();
}

void TransportBar::paint(juce::Graphics& graphics)
{
    graphics.fillAll(findColour(juce::ResizableWindow::backgroundColourId));
}

void TransportBar::resized()
{
    auto area = getLocalBounds().reduced(transportMargin);
    const int lineHeight = area.getHeight();
    const auto place = [&area](juce::Component& child, int width)
    {
        child.setBounds(area.removeFromLeft(width));
        area.removeFromLeft(transportMargin);
    };
    place(openButton, openButton.getBestWidthForHeight(lineHeight));

    // Wide enough for both texts, so that nothing moves when it is pressed.
    juce::TextButton widest;
    widest.setLookAndFeel(&getLookAndFeel());
    int playWidth = 0;
    for (const juce::String& text : {juce::translate("Play"), juce::translate("Stop")})
    {
        widest.setButtonText(text);
        playWidth = juce::jmax(playWidth, widest.getBestWidthForHeight(lineHeight));
    }
    widest.setLookAndFeel(nullptr);
    place(playButton, playWidth);
    const juce::Font font = getLookAndFeel().getLabelFont(nameLabel);
    loopButton.changeWidthToFitText();
    place(loopButton, loopButton.getWidth());

    audioButton.setBounds(area.removeFromRight(audioButton.getBestWidthForHeight(lineHeight)));
    area.removeFromRight(transportMargin);
    const int nameWidth = font.getStringWidth(nameLabel.getText()) + 2 * transportMargin;
    nameLabel.setBounds(area.removeFromRight(juce::jmin(nameWidth, area.getWidth() / 3)));
    timeLabel.setBounds(area.removeFromRight(timeWidth));
    positionSlider.setBounds(area);
}

void TransportBar::lookAndFeelChanged()
{
    resized();
}

} // namespace kalim::standalone
