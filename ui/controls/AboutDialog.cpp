#include "ui/controls/AboutDialog.h"

#include "Artwork.h"
#include "plugin/KalimConstants.h"
#include "ui/themes/BaseTheme.h"

namespace kalim::ui
{
namespace
{

constexpr int headerHeight = 40;
constexpr int margin = 20;
constexpr int lineHeight = 22;

} // namespace

AboutDialog::AboutDialog()
    : logo(juce::Drawable::createFromImageData(artwork::orvotechLogo_svg,
                                               artwork::orvotechLogo_svgSize))
    , okButton(juce::translate("OK"))
{
    setTitle(juce::translate("About"));
    addLabel(versionLabel, "versionLabel",
             juce::translate("Version") + " " + KalimConstants::plugInVersion);
    addLabel(makerLabel, "makerLabel", juce::translate("Made by") + " " + orvo::companyName);
    addLabel(licenceLabel, "licenceLabel",
             juce::translate("Free software under the GNU General Public License, version 3 or "
                             "later. It comes without any warranty."));
    okButton.setComponentID("okButton");
    okButton.setName("okButton");
    okButton.setTitle(okButton.getButtonText());
    okButton.onClick = [this] { close(); };
    addAndMakeVisible(okButton);
    setWantsKeyboardFocus(true);
    setSize(360, 204);
}

AboutDialog::~AboutDialog() = default;

void AboutDialog::addLabel(juce::Label& label, const juce::String& name, const juce::String& text)
{
    label.setName(name);
    label.setTitle(text);
    label.setText(text, juce::dontSendNotification);
    label.setFont(juce::Font(15.0F));
    label.setBorderSize({0, 0, 0, 0});
    label.setMinimumHorizontalScale(0.9F);
    label.setJustificationType(juce::Justification::topLeft);
    addAndMakeVisible(label);
}

void AboutDialog::setPlugInName(const juce::String& name)
{
    plugInName = name;
    setTitle(juce::translate("About") + " " + name);
    repaint();
}

void AboutDialog::paint(juce::Graphics& g)
{
    if (auto* theme = dynamic_cast<BaseTheme*>(&getLookAndFeel()))
    {
        theme->paintBackground(g, getWidth(), getHeight());
        theme->paintHeaderBackground(g, getWidth(), headerHeight, plugInName);
    }
    if (logo != nullptr)
        logo->draw(g, 1.0F, juce::AffineTransform::translation(8.0F, 0.0F));
}

void AboutDialog::resized()
{
    juce::Rectangle<int> area = getLocalBounds().withTrimmedTop(headerHeight).reduced(margin, 16);
    okButton.setBounds(area.removeFromBottom(28).removeFromRight(88));
    versionLabel.setBounds(area.removeFromTop(lineHeight));
    makerLabel.setBounds(area.removeFromTop(lineHeight));
    area.removeFromTop(6);
    licenceLabel.setBounds(area.withTrimmedBottom(8));
}

bool AboutDialog::keyPressed(const juce::KeyPress& key)
{
    if (key != juce::KeyPress::returnKey && key != juce::KeyPress::escapeKey)
        return false;
    close();
    return true;
}

void AboutDialog::visibilityChanged()
{
    focusButton();
}

void AboutDialog::parentHierarchyChanged()
{
    focusButton();
}

void AboutDialog::focusButton()
{
    if (isShowing())
        okButton.grabKeyboardFocus();
}

void AboutDialog::close()
{
    auto* const window = findParentComponentOfClass<juce::DialogWindow>();
    if (window == nullptr)
        return;
    // A modal window goes by itself, after this call; another one is told that it shall.
    if (window->isCurrentlyModal())
        window->exitModalState(0);
    else
        window->closeButtonPressed();
}

} // namespace kalim::ui
