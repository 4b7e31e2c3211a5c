#include "Artwork.h"
#include "dev/gallery/Scenes.h"
#include "ui/controls/IconButton.h"

namespace
{

struct HeaderButton
{
    const char* text;
    const char* data;
    int size;
    int x;
    int edges;
    bool isOn = false;
    int width = 24;
};

constexpr int left = juce::Button::ConnectedOnLeft;
constexpr int right = juce::Button::ConnectedOnRight;

void addHeader(Sheet& sheet, int width, int titleWidth)
{
    sheet.place(std::make_unique<Drawing>(
                    [](juce::Graphics& g, juce::Component& component, BaseTheme& theme)
                    {
                        const auto w = static_cast<float>(component.getWidth());
                        g.setGradientFill({juce::Colour(0x32000000), w / 2, 40.0F,
                                           juce::Colour(0x00000000), w / 2, 46.0F, false});
                        g.fillRect(0, 40, component.getWidth(), 6);
                        theme.paintHeaderBackground(g, component.getWidth(), 40, "Kalim");
                    }),
                {0, 0, width, 48});
    const std::array buttons = {
        HeaderButton{"<-", artwork::undo_svg, artwork::undo_svgSize, width - 176, right},
        HeaderButton{"->", artwork::redo_svg, artwork::redo_svgSize, width - 152, left},
        HeaderButton{"A", nullptr, 0, width - 120, right, true},
        HeaderButton{"->", artwork::copyRight_svg, artwork::copyRight_svgSize, width - 96,
                     left | right},
        HeaderButton{"B", nullptr, 0, width - 72, left},
        HeaderButton{":=", artwork::menu_svg, artwork::menu_svgSize, width - 40, 0, false, 32},
        HeaderButton{"->", artwork::arrowRight_svg, artwork::arrowRight_svgSize, width - 216, left},
        HeaderButton{"<-", artwork::arrowLeft_svg, artwork::arrowLeft_svgSize, titleWidth + 152,
                     right},
        HeaderButton{"50 Hz standard", nullptr, 0, titleWidth + 176, left | right, false,
                     width - 392 - titleWidth}};
    for (const HeaderButton& description : buttons)
    {
        std::unique_ptr<juce::Button> button;
        if (description.data == nullptr)
            button = std::make_unique<juce::TextButton>(description.text);
        else
        {
            auto icon = std::make_unique<IconButton>(description.text);
            icon->setIcon(juce::Drawable::createFromImageData(description.data,
                                                              static_cast<size_t>(description.size))
                              .release());
            button = std::move(icon);
        }
        button->setConnectedEdges(description.edges);
        button->setToggleState(description.isOn, juce::dontSendNotification);
        sheet.place(std::move(button), {description.x, 8, description.width, 24});
    }
    auto logo = std::make_unique<juce::DrawableButton>("logo", juce::DrawableButton::ImageFitted);
    logo->setImages(juce::Drawable::createFromImageData(artwork::orvotechLogo_svg,
                                                        artwork::orvotechLogo_svgSize)
                        .get());
    sheet.place(std::move(logo), {8, 0, 80, 40});
}

void addKnobs(Sheet& sheet, int height)
{
    struct Column
    {
        const char* text;
        double value;
        double end;
        double interval;
        int x;
    };

    for (const Column& column : {Column{"Frequency\n(Hz)", 50.0, 100.0, 0.01, 8},
                                 Column{"Sensitiviy\n(%)", 75.0, 100.0, 1.0, 104},
                                 Column{"Adaptivity\n(Hz/s)", 0.2, 1.0, 0.01, 200},
                                 Column{"Number of\nharmonics", 20.0, 100.0, 1.0, 296}})
    {
        auto label = std::make_unique<juce::Label>("label", column.text);
        label->setFont(juce::Font(13.0F));
        label->setJustificationType(juce::Justification::centred);
        sheet.place(std::move(label), {column.x, height - 136, 88, 28});
        auto knob = std::make_unique<juce::Slider>(juce::Slider::RotaryVerticalDrag,
                                                   juce::Slider::TextBoxBelow);
        knob->setTextBoxStyle(juce::Slider::TextBoxBelow, false, 60, 20);
        knob->setRange(0.0, column.end, column.interval);
        knob->setValue(column.value, juce::dontSendNotification);
        knob->setEnabled(column.x != 104);
        sheet.place(std::move(knob), {column.x, height - 104, 88, 84});
    }
}

/// Stands in for the plot, so that the colours that meet there are seen together.
void addPlot(Sheet& sheet, int width, int height)
{
    sheet.place(std::make_unique<Drawing>(
                    [](juce::Graphics& g, juce::Component& component, BaseTheme& theme)
                    {
                        const auto area = component.getLocalBounds();
                        g.fillAll(theme.findColour(BaseTheme::curveBackgroundColourId));
                        g.setColour(theme.findColour(BaseTheme::curveGridColourId));
                        for (int i = 1; i < 10; ++i)
                        {
                            g.fillRect(area.getWidth() * i / 10, 0, 1, area.getHeight());
                            g.fillRect(0, area.getHeight() * i / 10, area.getWidth(), 1);
                        }
                        g.setColour(juce::Colour(0xffeeac18));
                        g.fillEllipse(60.0F, 4.0F, 10.0F, 10.0F);
                        g.setColour(juce::Colours::green);
                        g.fillEllipse(100.0F, 4.0F, 10.0F, 10.0F);
                        g.setColour(juce::Colours::red);
                        g.fillEllipse(140.0F, 4.0F, 10.0F, 10.0F);
                        g.setColour(theme.findColour(BaseTheme::curveOutlineColourId));
                        g.drawRect(area);
                    }),
                {56, 64, width - 80, height - 248});
    sheet.place(std::make_unique<Drawing>(
                    [](juce::Graphics& g, juce::Component& component, BaseTheme& theme)
                    {
                        g.setColour(theme.findColour(BaseTheme::axisTextColourId));
                        g.setFont(juce::Font(13.0F));
                        g.drawText("40   100   200   500   1000   2000", component.getLocalBounds(),
                                   juce::Justification::centredTop, false);
                        g.drawText("Frequency (Hz)", component.getLocalBounds(),
                                   juce::Justification::centredBottom, false);
                    }),
                {40, height - 184, width - 48, 40});
}

void addToggles(Sheet& sheet, int height)
{
    auto odd = std::make_unique<juce::ToggleButton>("Only odd harmonics");
    sheet.place(std::move(odd), {392, height - 128, 272, 64});
    auto aggressive = std::make_unique<juce::ToggleButton>("Aggressive hum removal");
    aggressive->setToggleState(true, juce::dontSendNotification);
    sheet.place(std::move(aggressive), {392, height - 60, 272, 24});
    auto residual = std::make_unique<juce::ToggleButton>("Listen to removed signal");
    sheet.place(std::move(residual), {392, height - 38, 272, 24});
}

std::unique_ptr<Sheet> makeEditor(int width, int height)
{
    auto sheet = std::make_unique<Sheet>(width, height);
    auto& theme = dynamic_cast<BaseTheme&>(juce::LookAndFeel::getDefaultLookAndFeel());
    addHeader(*sheet, width, static_cast<int>(theme.getTitleWidth("Kalim")));
    addPlot(*sheet, width, height);
    addKnobs(*sheet, height);
    addToggles(*sheet, height);
    sheet->place(std::make_unique<juce::ResizableCornerComponent>(sheet.get(), nullptr),
                 {width - 16, height - 16, 16, 16});
    return sheet;
}

std::unique_ptr<Sheet> makeSmallEditor()
{
    return makeEditor(680, 424);
}

std::unique_ptr<Sheet> makeLargeEditor()
{
    return makeEditor(1100, 640);
}

} // namespace

Scenes getEditorScenes()
{
    return {{"editor", makeSmallEditor}, {"editor-large", makeLargeEditor}};
}
