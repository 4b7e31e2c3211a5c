#include "dev/gallery/Sheet.h"

namespace kalim::gallery
{
namespace
{

const juce::String japanese = juce::String::fromUTF8("除去した信号を聴く");

std::unique_ptr<juce::TextEditor> makeEditor(const juce::String& text, Stage stage)
{
    auto editor = std::make_unique<juce::TextEditor>();
    editor->setText(text, false);
    setStage(*editor, stage);
    return editor;
}

std::unique_ptr<juce::ComboBox> makeBox(Stage stage)
{
    auto box = std::make_unique<juce::ComboBox>();
    box->addItem("48000 Hz", 1);
    box->setSelectedId(1, juce::dontSendNotification);
    setStage(*box, stage);
    return box;
}

std::unique_ptr<Sheet> makeFields()
{
    auto sheet = std::make_unique<Sheet>(600, 190);
    int x = 20;
    for (const Stage stage : {Stage::normal, Stage::focused, Stage::disabled})
    {
        auto editor = makeEditor("Text editor", stage);
        juce::TextEditor& placed =
            sheet->place(std::move(editor), {x, 26, 170, 24}, getName(stage));
        if (stage == Stage::focused)
            placed.setHighlightedRegion({0, 4});
        x += 190;
    }
    x = 20;
    for (const Stage stage : allStages)
    {
        sheet->place(makeBox(stage), {x, 80, 104, 24}, getName(stage));
        x += 113;
    }
    auto label = std::make_unique<juce::Label>("label", "A label");
    sheet->place(std::move(label), {20, 132, 100, 24}, "label");
    auto disabled = std::make_unique<juce::Label>("label", "A label");
    disabled->setEnabled(false);
    sheet->place(std::move(disabled), {130, 132, 100, 24}, "disabled");
    auto edited = std::make_unique<juce::Label>("label", "Being edited");
    edited->setEditable(true);
    juce::Label& editable = sheet->place(std::move(edited), {240, 132, 130, 24}, "edited");
    editable.showEditor();
    if (auto* editor = editable.getCurrentTextEditor())
        setStage(*editor, Stage::focused);
    return sheet;
}

std::unique_ptr<Sheet> makeLanguages()
{
    auto sheet = std::make_unique<Sheet>(620, 220);
    const std::array texts = {juce::String("Listen to removed signal (0123456789)"),
                              juce::String::fromUTF8("Größe ändern, äöüß ÄÖÜ €"),
                              juce::String::fromUTF8("Éliminer le ronflement, çà œuvre"),
                              juce::String::fromUTF8("¿Señal eliminada? Sí, año"),
                              japanese,
                              juce::String::fromUTF8("周波数 (Hz) 感度 (%) ハム除去プラグイン")};
    int y = 10;
    for (const juce::String& text : texts)
    {
        auto label = std::make_unique<juce::Label>("label", text);
        sheet->place(std::move(label), {12, y, 300, 24});
        sheet->place(std::make_unique<juce::ToggleButton>(text), {320, y, 290, 24});
        y += 34;
    }
    return sheet;
}

std::unique_ptr<Sheet> makeTooltips()
{
    auto sheet = std::make_unique<Sheet>(900, 110);
    int x = 16;
    for (const juce::String& text :
         {juce::String("Load next preset"),
          juce::String("Enable this if you want to process only odd harmonics and leave even "
                       "harmonics unprocessed. Hum signals that are symmetrical around zero will "
                       "contain only odd harmonics."),
          juce::String::fromUTF8("有効にすると奇数次の高調波だけを処理します。")})
    {
        auto tooltip = std::make_unique<Drawing>(
            [text](juce::Graphics& g, juce::Component& component, ui::BaseTheme& theme)
            {
                const auto size = theme.getTooltipBounds(text, {}, {0, 0, 2000, 2000});
                const juce::Graphics::ScopedSaveState saved(g);
                g.reduceClipRegion(
                    component.getLocalBounds().withSize(size.getWidth(), size.getHeight()));
                theme.drawTooltip(g, text, size.getWidth(), size.getHeight());
            });
        const int width = x == 16 ? 140 : 360;
        sheet->place(std::move(tooltip), {x, 30, width, 80}, "tooltip");
        x += width;
    }
    return sheet;
}

} // namespace

Scenes getTextScenes()
{
    return {{"fields", makeFields}, {"languages", makeLanguages}, {"tooltips", makeTooltips}};
}

} // namespace kalim::gallery
