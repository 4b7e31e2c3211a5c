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

class StandaloneSettingsTest : public SoundFiles
{
protected:
    /// A file in the folder makes it the place of the settings.
    void writeSettings(const juce::PropertySet& values) const
    {
        writeText("KalimStandalone.prop", values.createXml("PROPERTIES")->toString().toStdString());
    }

    ProbeProcessor processor;
};

} // namespace

TEST_F(StandaloneSettingsTest, areCautiousAtFirstAndRememberedFromOneSessionToTheNext)
{
    writeSettings({});
    const juce::MemoryBlock state("some settings", 13);
    {
        Session session(processor, juceFolder());
        EXPECT_TRUE(session.getEngine().isInputMuted());
        EXPECT_FALSE(session.getPlayer().isLooping());
        EXPECT_FALSE(session.getSettings().getWindow().has_value());
        const juce::String problem = session.openFile(writeNoSound());
        EXPECT_TRUE(problem.startsWith(path("a.wav").string() + ": ")) << problem;
        EXPECT_NE(session.getSettings().getFolder(), juceFolder());
        EXPECT_EQ(session.openFile(writeNumbered(48000, 1000)), juce::String());
        session.getEngine().setInputMuted(false);
        session.getPlayer().setLooping(true);
        session.getSettings().setWindow({-40, 30, 700, 500});
        const juce::XmlElement device("FakeDevice");
        session.getSettings().setDevice(&device);
        processor.state = state;
    }
    processor.state = {};
    Session session(processor, juceFolder());
    EXPECT_EQ(processor.state, state);
    EXPECT_FALSE(session.getEngine().isInputMuted());
    EXPECT_TRUE(session.getPlayer().isLooping());
    EXPECT_EQ(session.getSettings().getFolder(), juceFolder());
    EXPECT_EQ(session.getSettings().getWindow(), Area(-40, 30, 700, 500));
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
          std::tuple(deep, "1", "-5", false), std::tuple(deep, "-2147483648", "x", false)})
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
        writeSettings(values);
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
