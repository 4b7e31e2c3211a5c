#pragma once

#include "plugin/BundleFiles.h"
#include "tests/support/Sanitizers.h"

#include <juce_gui_basics/juce_gui_basics.h>

/// For as long as it lives, every text that has translations is shown between marks, so that those
/// without any stand out.
class MarkedLanguage
{
public:
    MarkedLanguage()
    {
        const auto file = kalim::plugin::getResourcesFolder().getChildFile("Vellacore_de.loc");
        juce::String marked = "language: Marked\n\n";
        const juce::LocalisedStrings known(file, false);
        for (const juce::String& key : known.getMappings().getAllKeys())
        {
            const juce::String escaped = key.replace("\n", "\\n");
            marked << escaped.quoted() << " = " << (opening + escaped + closing).quoted() << "\n";
        }
        juce::LocalisedStrings::setCurrentMappings(
            std::make_unique<juce::LocalisedStrings>(marked, false).release());
    }

    ~MarkedLanguage() { juce::LocalisedStrings::setCurrentMappings(nullptr); }

    MarkedLanguage(const MarkedLanguage&) = delete;
    MarkedLanguage& operator=(const MarkedLanguage&) = delete;

    /// Texts of the component and of all in it that hold letters beside marked ones and `names`.
    static juce::StringArray findUnmarked(juce::Component& component,
                                          const juce::StringArray& names)
    {
        juce::StringArray found;
        for (const juce::String& text : getTexts(component))
            if (hasOwnLetters(text, names))
                found.add(component.getName() + ": " + text);
        for (juce::Component* const child : component.getChildren())
            found.addArray(findUnmarked(*child, names));
        return found;
    }

    static juce::StringArray findUnmarked(const juce::PopupMenu& menu,
                                          const juce::StringArray& names)
    {
        juce::StringArray found;
        for (juce::PopupMenu::MenuItemIterator iterator(menu, true); iterator.next();)
            if (hasOwnLetters(iterator.getItem().text, names))
                found.add(iterator.getItem().text);
        return found;
    }

private:
    static juce::StringArray getTexts(juce::Component& component)
    {
        juce::StringArray texts{component.getTitle(), component.getDescription(),
                                component.getHelpText()};
        if (auto* const client = dynamic_cast<juce::TooltipClient*>(&component))
            texts.add(client->getTooltip());
        if (const auto* const button = dynamic_cast<juce::Button*>(&component))
            texts.add(button->getButtonText());
        if (const auto* const label = dynamic_cast<juce::Label*>(&component))
            texts.add(label->getText());
        if (const auto* const window = dynamic_cast<juce::TopLevelWindow*>(&component))
            texts.add(window->getName());
        if (const auto* const box = dynamic_cast<juce::ComboBox*>(&component))
            for (int i = 0; i < box->getNumItems(); ++i)
                texts.add(box->getItemText(i));
        return texts;
    }

    static bool hasOwnLetters(juce::String text, const juce::StringArray& names)
    {
        while (text.contains(opening))
            text = text.upToFirstOccurrenceOf(opening, false, false) +
                   text.fromFirstOccurrenceOf(closing, false, false);
        for (const juce::String& name : names)
            text = text.replace(name, "");
        return text.containsAnyOf("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
    }

    static inline const juce::String opening = juce::String::charToString(0xab);
    static inline const juce::String closing = juce::String::charToString(0xbb);
};
