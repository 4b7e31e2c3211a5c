#pragma once

#include <juce_gui_basics/juce_gui_basics.h>
#include <memory>

namespace kalim::ui
{

/// Says what plug-in this is, of which version, by whom and under which licence. To be shown in a
/// `juce::DialogWindow`, which its button, Return and Escape close.
class AboutDialog : public juce::Component
{
public:
    AboutDialog();
    ~AboutDialog() override;

    void setPlugInName(const juce::String& name);

    void paint(juce::Graphics& g) override;
    void resized() override;
    bool keyPressed(const juce::KeyPress& key) override;
    void visibilityChanged() override;
    void parentHierarchyChanged() override;

private:
    void addLabel(juce::Label& label, const juce::String& name, const juce::String& text);
    void close();
    void focusButton();

    juce::String plugInName;
    std::unique_ptr<juce::Drawable> logo;
    juce::Label versionLabel;
    juce::Label makerLabel;
    juce::Label licenceLabel;
    juce::TextButton okButton;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(AboutDialog)
};

} // namespace kalim::ui
