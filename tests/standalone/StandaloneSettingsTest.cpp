#include "standalone/StandaloneSettings.h"

#include "standalone/Session.h"
#include "tests/standalone/ProbeProcessor.h"
#include "tests/standalone/SoundFiles.h"

#include <gtest/gtest.h>

namespace
{

juce::String makeFile(const juce::StringPairArray& values)
{
    juce::XmlElement root("PROPERTIES");
    for (const juce::String& key : values.getAllKeys())
    {
        juce::XmlElement* const value = root.createNewChildElement("VALUE");
        value->setAttribute("name", key);
        value->setAttribute("val", values[key]);
    }
    return root.toString();
}

} // namespace

class Settings : public SoundFiles
{
protected:
    /// A file in the folder makes it the place of the settings.
    void writeSettings(const juce::StringPairArray& values) const
    {
        write("KalimStandalone.prop", makeFile(values));
    }
};

TEST_F(Settings, haveCautiousDefaults)
{
    const StandaloneSettings settings(folder);
    EXPECT_TRUE(settings.getFile().getFullPathName().endsWith("/Orvotech/KalimStandalone.prop"));
    EXPECT_TRUE(settings.isInputMuted());
    EXPECT_FALSE(settings.isLooping());
    EXPECT_EQ(settings.getDevice(), nullptr);
    EXPECT_TRUE(settings.getState().isEmpty());
    EXPECT_FALSE(settings.getWindow().has_value());
}

TEST_F(Settings, areRememberedFromOneSessionToTheNext)
{
    writeSettings({});
    const juce::File sound = writeNumbered(48000, 1000);
    ProbeProcessor processor;
    {
        Session session(processor, folder);
        EXPECT_EQ(processor.state, juce::String());
        EXPECT_EQ(session.openFile(sound), juce::String());
        session.getEngine().setInputMuted(false);
        session.getPlayer().setLooping(true);
        session.getSettings().setWindow({-40, 30, 700, 500});
        juce::XmlElement device("DEVICESETUP");
        device.setAttribute("deviceType", "Fake");
        session.getSettings().setDevice(&device);
        processor.state = "some settings";
    }
    processor.state = {};
    Session session(processor, folder);
    EXPECT_EQ(processor.state, "some settings");
    EXPECT_FALSE(session.getEngine().isInputMuted());
    EXPECT_TRUE(session.getPlayer().isLooping());
    EXPECT_EQ(session.getSettings().getFolder(), folder);
    EXPECT_EQ(session.getSettings().getWindow(), juce::Rectangle<int>(-40, 30, 700, 500));
    ASSERT_NE(session.getSettings().getDevice(), nullptr);
    EXPECT_EQ(session.getSettings().getDevice()->getStringAttribute("deviceType"), "Fake");
}

TEST_F(Settings, areWrittenBeforeTheEnd)
{
    writeSettings({});
    ProbeProcessor processor;
    Session session(processor, folder);
    processor.state = "changed";
    session.remember();
    const auto deadline = juce::Time::getMillisecondCounter() + 10000;
    juce::MemoryBlock state;
    while (state.isEmpty() && juce::Time::getMillisecondCounter() < deadline)
    {
        juce::MessageManager::getInstance()->runDispatchLoopUntil(100);
        state = StandaloneSettings(folder).getState();
    }
    EXPECT_EQ(state.toString(), "changed");
}

TEST_F(Settings, tellWhyAFileCannotBePlayed)
{
    ProbeProcessor processor;
    Session session(processor, folder);
    const juce::String problem = session.openFile(write("text.wav", "no sound"));
    EXPECT_TRUE(problem.contains("text.wav: ")) << problem;
    EXPECT_NE(session.getSettings().getFolder(), folder);
}

TEST_F(Settings, areNotHarmedByHostileValues)
{
    const juce::String deep =
        juce::String::repeatedString("<a>", 5000) + juce::String::repeatedString("</a>", 5000);
    const juce::String laughs =
        "<!DOCTYPE a [<!ENTITY b \"&c;&c;\"><!ENTITY c \"&b;&b;\">]><DEVICESETUP>&b;</DEVICESETUP>";
    juce::StringPairArray values;
    values.set("AudioDevice", laughs);
    values.set("Unknown", deep);
    values.set("State", "2147483647.AAAA");
    values.set("Folder", "../../..");
    values.set("WindowX", "99999999999999999999");
    values.set("WindowY", "-2147483648");
    values.set("EditorWidth", "2147483647");
    values.set("EditorHeight", "2147483647");
    writeSettings(values);

    ProbeProcessor processor;
    {
        Session session(processor, folder);
        EXPECT_EQ(session.getSettings().getDevice(), nullptr);
        EXPECT_TRUE(session.getSettings().getFolder().isDirectory());
        EXPECT_NE(session.getSettings().getFolder().getFileName(), "..");
        const auto window = session.getSettings().getWindow();
        ASSERT_TRUE(window.has_value());
        const juce::Rectangle<int> screen(0, 20, 1280, 700);
        EXPECT_TRUE(screen.contains(limitToScreen(*window, screen)));
    }
    EXPECT_EQ(processor.state, juce::String());

    values.clear();
    values.set("WindowX", "1");
    values.set("WindowY", "1");
    values.set("EditorWidth", "-5");
    values.set("EditorHeight", "x");
    values.set("AudioDevice", deep);
    writeSettings(values);
    const StandaloneSettings settings(folder);
    EXPECT_EQ(settings.getDevice(), nullptr);
    EXPECT_FALSE(settings.getWindow().has_value());
}

TEST(WindowArea, isMovedIntoTheScreenAndMadeNoLarger)
{
    const juce::Rectangle<int> screen(100, 20, 1000, 700);
    using Area = juce::Rectangle<int>;
    EXPECT_EQ(limitToScreen({300, 200, 400, 300}, screen), Area(300, 200, 400, 300));
    EXPECT_EQ(limitToScreen({-300, -200, 400, 300}, screen), Area(100, 20, 400, 300));
    EXPECT_EQ(limitToScreen({3000, 2000, 400, 300}, screen), Area(700, 420, 400, 300));
    EXPECT_EQ(limitToScreen({0, 0, 4000, 3000}, screen), screen);
}
