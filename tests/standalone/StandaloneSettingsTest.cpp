#include "standalone/StandaloneSettings.h"

#include "standalone/Session.h"
#include "tests/standalone/ProbeProcessor.h"
#include "tests/standalone/SoundFiles.h"

#include <map>
#include <tuple>

namespace kalim::test
{
namespace
{

using standalone::limitToScreen;
using standalone::Session;
using standalone::StandaloneSettings;

class StandaloneSettingsTest : public SoundFiles
{
protected:
    /// A file in the folder makes it the place of the settings.
    void writeSettings(const std::map<juce::String, juce::String>& values) const
    {
        juce::PropertySet properties;
        for (const auto& [key, value] : values)
            properties.setValue(key, value);
        writeText("KalimStandalone.prop",
                  properties.createXml("PROPERTIES")->toString().toStdString());
    }

    ProbeProcessor processor;
};

} // namespace

TEST_F(StandaloneSettingsTest, areCautiousAtFirstAndRememberedFromOneSessionToTheNext)
{
    writeSettings({});
    {
        Session session(processor, juceFolder());
        EXPECT_TRUE(session.getEngine().isInputMuted());
        EXPECT_FALSE(session.getPlayer().isLooping());
        EXPECT_EQ(session.getSettings().getDevice(), nullptr);
        EXPECT_FALSE(session.getSettings().getWindow().has_value());
        EXPECT_EQ(processor.state, juce::String());
        EXPECT_EQ(session.openFile(writeNumbered(48000, 1000)), juce::String());
        session.getEngine().setInputMuted(false);
        session.getPlayer().setLooping(true);
        session.getSettings().setWindow({-40, 30, 700, 500});
        const juce::XmlElement device("FakeDevice");
        session.getSettings().setDevice(&device);
        processor.state = "some settings";
        // What has changed is written before the end, too.
        session.remember();
        EXPECT_TRUE(waitUntil(
            [this]
            { return StandaloneSettings(juceFolder()).getState().toString() == processor.state; }));
    }
    processor.state = {};
    Session session(processor, juceFolder());
    EXPECT_EQ(processor.state, "some settings");
    EXPECT_FALSE(session.getEngine().isInputMuted());
    EXPECT_TRUE(session.getPlayer().isLooping());
    EXPECT_EQ(session.getSettings().getFolder(), juceFolder());
    EXPECT_EQ(session.getSettings().getWindow(), juce::Rectangle<int>(-40, 30, 700, 500));
    ASSERT_NE(session.getSettings().getDevice(), nullptr);
    EXPECT_TRUE(session.getSettings().getDevice()->hasTagName("FakeDevice"));
}

TEST_F(StandaloneSettingsTest, tellWhyAFileCannotBePlayed)
{
    Session session(processor, juceFolder());
    const juce::String problem = session.openFile(writeNoSound());
    EXPECT_TRUE(problem.startsWith(path("a.wav").string() + ": ")) << problem;
    EXPECT_NE(session.getSettings().getFolder(), juceFolder());
}

TEST_F(StandaloneSettingsTest, areNotHarmedByHostileValues)
{
    const juce::String deep =
        juce::String::repeatedString("<a>", 5000) + juce::String::repeatedString("</a>", 5000);
    const juce::String laughs =
        "<!DOCTYPE a [<!ENTITY b \"&c;&c;\"><!ENTITY c \"&b;&b;\">]><DEVICESETUP>&b;</DEVICESETUP>";
    const juce::Rectangle<int> screen(0, 20, 1280, 700);
    const juce::String huge = "99999999999999999999";
    const juce::String low = "-2147483648";
    for (const auto& [device, x, y, width, isWindow] :
         {std::tuple(laughs, huge, low, juce::String("2147483647"), true),
          std::tuple(deep, juce::String("1"), juce::String("1"), juce::String("-5"), false),
          std::tuple(deep, low, low, juce::String("x"), false)})
    {
        writeSettings({{"AudioDevice", device},
                       {"Unknown", deep},
                       {"State", "2147483647.AAAA"},
                       {"Folder", "../../.."},
                       {"WindowX", x},
                       {"WindowY", y},
                       {"EditorWidth", width},
                       {"EditorHeight", "2147483647"}});
        Session session(processor, juceFolder());
        const StandaloneSettings& settings = session.getSettings();
        EXPECT_EQ(settings.getDevice(), nullptr);
        EXPECT_TRUE(settings.getFolder().isDirectory());
        EXPECT_NE(settings.getFolder().getFileName(), "..");
        EXPECT_EQ(settings.getWindow().has_value(), isWindow);
        EXPECT_TRUE(screen.contains(limitToScreen(settings.getWindow().value_or(screen), screen)));
        EXPECT_EQ(processor.state, juce::String());
    }
}

TEST(WindowArea, isMovedIntoTheScreenAndMadeNoLarger)
{
    using Area = juce::Rectangle<int>;
    const Area screen(100, 20, 1000, 700);
    for (const auto& [wanted, expected] :
         {std::pair(Area(300, 200, 400, 300), Area(300, 200, 400, 300)),
          std::pair(Area(-300, -200, 400, 300), Area(100, 20, 400, 300)),
          std::pair(Area(3000, 2000, 400, 300), Area(700, 420, 400, 300)),
          std::pair(Area(0, 0, 4000, 3000), screen)})
        EXPECT_EQ(limitToScreen(wanted, screen), expected);
}

} // namespace kalim::test
