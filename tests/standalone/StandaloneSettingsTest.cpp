#include "standalone/StandaloneSettings.h"

#include "standalone/Session.h"
#include "tests/standalone/ProbeProcessor.h"
#include "tests/standalone/SoundFiles.h"

#include <tuple>

namespace kalim::test
{
namespace
{

using Area = juce::Rectangle<int>;
using standalone::limitToScreen;
using standalone::Session;
using standalone::StandaloneSettings;

struct StandaloneSettingsTest : SoundFiles
{
    ProbeProcessor processor;
};

} // namespace

TEST_F(StandaloneSettingsTest, areRememberedFromOneSessionToTheNext)
{
    writeText("KalimStandalone.prop", "");
    const juce::XmlElement device("FakeDevice");
    {
        Session session(processor, juceFolder());
        EXPECT_TRUE(session.getEngine().isInputMuted());
        const juce::String problem = session.openFile(writeNoSound());
        EXPECT_TRUE(problem.startsWith(path("a.wav").string() + ": ")) << problem;
        session.getEngine().setInputMuted(false);
        session.getSettings().setDevice(&device);
    }
    Session session(processor, juceFolder());
    EXPECT_FALSE(session.getEngine().isInputMuted());
    EXPECT_NE(session.getSettings().getDevice(), nullptr);
}

TEST_F(StandaloneSettingsTest, areNotHarmedByHostileValues)
{
    const juce::String deep =
        juce::String::repeatedString("<a>", 5000) + juce::String::repeatedString("</a>", 5000);
    const juce::String laughs =
        "<!DOCTYPE a [<!ENTITY b \"&c;&c;\"><!ENTITY c \"&b;&b;\">]><DEVICESETUP>&b;</DEVICESETUP>";
    const Area screen(0, 20, 1280, 700);
    for (const auto& [device, place, width, isWindow] :
         {std::tuple(laughs, "99999999999999999999", "2147483647", true),
          std::tuple(juce::String("<a><?y?>x</a>"), "1", "-5", false),
          std::tuple(deep, "-2147483648", "x", false)})
    {
        juce::PropertySet values;
        values.setValue("AudioDevice", device);
        values.setValue("Unknown", deep);
        values.setValue("State", "2147483647.AAAA");
        values.setValue("Folder", "../../..");
        values.setValue("WindowX", place);
        values.setValue("WindowY", place);
        for (const char* const key : {"EditorWidth", "EditorHeight"})
            values.setValue(key, width);
        // A file in the folder makes it the place of the settings.
        writeText("KalimStandalone.prop", values.createXml("PROPERTIES")->toString().toStdString());
        Session session(processor, juceFolder());
        const StandaloneSettings& settings = session.getSettings();
        EXPECT_EQ(settings.getDevice(), nullptr);
        EXPECT_TRUE(settings.getFolder().isDirectory());
        EXPECT_NE(settings.getFolder().getFileName(), "..");
        EXPECT_EQ(settings.getWindow().has_value(), isWindow);
        EXPECT_TRUE(screen.contains(limitToScreen(settings.getWindow().value_or(screen), screen)));
        EXPECT_TRUE(processor.state.isEmpty());
    }
}

TEST(WindowArea, isMovedIntoTheScreenAndMadeNoLarger)
{
    const Area screen(100, 20, 1000, 700);
    EXPECT_EQ(limitToScreen({300, 200, 400, 300}, screen), Area(300, 200, 400, 300));
    EXPECT_EQ(limitToScreen({-300, -200, 400, 300}, screen), Area(100, 20, 400, 300));
    EXPECT_EQ(limitToScreen({3000, 2000, 400, 300}, screen), Area(700, 420, 400, 300));
}

} // namespace kalim::test
