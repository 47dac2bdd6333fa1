#include "tools/gallery/GalleryPages.h"

#include "tools/gallery/SampleStates.h"

#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "ui/Buttons.h"
#include "ui/DrumDrawing.h"
#include "ui/EmptyView.h"
#include "ui/Palette.h"
#include "ui/TessivarControls.h"
#include "ui/TessivarKnobComponent.h"
#include "ui/TessivarLookAndFeel.h"
#include "ui/TessivarSuppressionMeterComponent.h"
#include "ui/bleed/BleedView.h"
#include "ui/browser/BrowserView.h"
#include "ui/dock/SettingDock.h"
#include "ui/transport/TransportBar.h"

namespace tessivar::test
{
namespace
{

std::unique_ptr<juce::Component> knobPage (const ResourceImages& images)
{
    auto sheet = std::make_unique<GallerySheet> (900, 330, palette::panel);
    int x = 20;
    for (const auto proportion : { 0.0, 0.5, 0.62, 1.0, 0.2 })
    {
        auto& large = sheet->add (std::make_unique<TessivarKnobComponent> (images, 39.0f, nullptr, true));
        large.setRange (0.0, 5.0);
        large.setValue (5.0 * proportion, juce::dontSendNotification);
        large.setBounds (x, 20, 128, 128);
        auto& small = sheet->add (std::make_unique<TessivarKnobComponent> (images, 23.0f, nullptr, false));
        small.setRange (0.0, 1.0);
        small.setValue (proportion, juce::dontSendNotification);
        small.setBounds (x + 26, 170, 76, 76);
        auto& slider = sheet->add (std::make_unique<TessivarKnobComponent> (images, 0.0f, nullptr, false));
        slider.setRange (0.0, 1.4);
        slider.setValue (1.4 * proportion, juce::dontSendNotification);
        slider.setBounds (x, 270, 130, 20);
        const auto enabled = x < 600;
        large.setEnabled (enabled);
        small.setEnabled (enabled);
        slider.setEnabled (enabled);
        x += 160;
    }
    auto& vertical = sheet->add (std::make_unique<TessivarKnobComponent> (images, 0.0f, nullptr, false));
    vertical.setSliderStyle (juce::Slider::LinearVertical);
    vertical.setRange (0.0, 1.4);
    vertical.setValue (1.0, juce::dontSendNotification);
    vertical.setBounds (850, 20, 20, 290);
    return sheet;
}

std::unique_ptr<juce::Component> meterPage (const ResourceImages& images)
{
    auto sheet = std::make_unique<GallerySheet> (500, 420, palette::panel);
    int x = 20;
    for (const auto lit : { -1, 0, 12, 41 })
    {
        auto& meter = sheet->add (std::make_unique<TessivarSuppressionMeterComponent> (images));
        meter.layOut ({ x, 20 }, 8);
        if (lit == 0)
            meter.setLevel (3.0005f / 41.0f, 0.0f, 41.0f, false);
        meter.setLevel (static_cast<float> (std::max (0, lit)) / 41.0f + 0.0005f, 0.0f, 41.0f, lit < 0);
        x += 100;
    }
    return sheet;
}

std::unique_ptr<juce::Component> smallControlsPage (const ResourceImages& images)
{
    auto sheet = std::make_unique<GallerySheet> (760, 420, palette::panel);
    std::vector<TessivarCheckBox*> boxes;
    for (const auto on : { false, true })
    {
        auto& box = sheet->add (std::make_unique<TessivarCheckBox> (images, on ? "On" : "Off"));
        box.setToggleState (on, juce::dontSendNotification);
        box.layOut ({ 20, on ? 50 : 20, 120, 24 });
        boxes.push_back (&box);
    }
    const auto colourOf = [] (Icon icon)
    {
        const auto type = std::find_if (drumTypeRows.begin(),
                                        drumTypeRows.end(),
                                        [icon] (const auto& row) { return drumIcon (row.type) == icon; });
        return type != drumTypeRows.end() ? drumColour (type->type) : palette::textHigh;
    };
    sheet->over = [boxes, colourOf] (juce::Graphics& g)
    {
        for (auto* box : boxes)
            drawSocket (g, box->getDotArea());
        for (int i = 0; i < 35; ++i)
            drawIcon (g,
                      static_cast<Icon> (i),
                      juce::Rectangle<float> (20.0f + 40.0f * static_cast<float> (i % 18),
                                              300.0f + 50.0f * static_cast<float> (i / 18),
                                              24.0f,
                                              24.0f),
                      colourOf (static_cast<Icon> (i)));
    };

    int x = 160;
    for (const auto look : { ButtonLook::standard,
                             ButtonLook::primary,
                             ButtonLook::caution,
                             ButtonLook::danger,
                             ButtonLook::quiet,
                             ButtonLook::bypassOn })
    {
        auto& button = sheet->add (std::make_unique<ActionButton> ("Cancel", look));
        button.setBounds (x, 20, 92, 36);
        auto& disabled = sheet->add (std::make_unique<ActionButton> ("Cancel", look, Icon::exporting));
        disabled.setEnabled (false);
        disabled.setBounds (x, 64, 92, 36);
        x += 98;
    }
    auto& combo = sheet->add (std::make_unique<TessivarComboBox>());
    combo.addItem ("Studio Interface", 1);
    combo.setSelectedId (1, juce::dontSendNotification);
    combo.setBounds (20, 120, 240, 32);
    auto& editor = sheet->add (std::make_unique<juce::TextEditor>());
    prepareTextField (editor);
    editor.setText ("snare; snr; sn; rim");
    editor.setBounds (280, 120, 240, 32);
    auto& bar = sheet->add (std::make_unique<juce::TextButton> ("Use default"));
    bar.setBounds (540, 120, 120, 28);
    auto& copy = sheet->add (std::make_unique<ActionButton> ("Copy A"));
    copy.setTrailing (Icon::arrowRight, "B");
    copy.setBounds (20, 180, 105, 26);
    return sheet;
}

std::unique_ptr<juce::Component> dockPage (const ResourceImages& images)
{
    auto sheet = std::make_unique<GallerySheet> (935, 840, palette::window);
    int y = 0;
    for (const int variant : { 0, 1, 2, 3 })
    {
        auto state = dockSample();
        state.available = variant != 1;
        state.sounding = variant == 2 ? KnobSetting::b : KnobSetting::a;
        state.listening =
            variant == 2 ? ListenMode::removed : (variant == 3 ? ListenMode::bypass : ListenMode::processed);
        auto& dock = sheet->add (std::make_unique<SettingDock> (images));
        dock.setCompact (variant >= 2);
        dock.setState (state);
        dock.setBounds (0, y, variant >= 2 ? 724 : 935, dockHeight (variant >= 2));
        if (variant != 1)
        {
            dock.getFocus().getLabel().showText (
                percentText (static_cast<double> (state.valuesOf (state.sounding).focus), 5.0));
            dock.getFine().getLabel().showText (
                percentText (static_cast<double> (state.valuesOf (state.sounding).fine), 1.0));
        }
        y += dock.getHeight() + 10;
    }
    return sheet;
}

std::unique_ptr<juce::Component> browserPage (const ResourceImages& images)
{
    auto sheet = std::make_unique<GallerySheet> (1400, 716, palette::window);
    for (const int variant : { 0, 1, 2, 3 })
    {
        auto& browser = sheet->add (std::make_unique<BrowserView> (images));
        browser.setCompact (variant == 2);
        browser.setBounds (variant * 350, 0, variant == 2 ? 300 : 345, variant == 2 ? 556 : 716);
        if (variant == 3)
            continue;
        browser.setState (browserSample (variant == 0));
        browser.getList().setSelection (
            { 1, 11, 11, variant == 1 ? std::vector<RowId>{ 11, 13 } : std::vector<RowId>{ 11 } });
        if (variant == 2)
            browser.setDropHover (BrowserView::DropHover{ 1, 4 });
    }
    return sheet;
}

std::unique_ptr<juce::Component> transportPage (const ResourceImages& images)
{
    auto sheet = std::make_unique<GallerySheet> (1280, 320, palette::window);
    int y = 0;
    for (const int variant : { 0, 1, 2, 3, 4 })
    {
        auto& bar = sheet->add (std::make_unique<TransportBar> (images));
        bar.setBounds (0, y, variant == 3 ? 1024 : 1280, TransportBar::height);
        y += 62;
        TransportState state;
        state.hasTrack = variant != 2;
        state.playing = variant == 0;
        state.looping = variant == 0;
        state.following = true;
        state.position = state.hasTrack ? 49.306 : 0.0;
        state.duration = 222.0;
        state.volumeDb = -4.2f;
        if (variant != 1)
            state.loop = juce::Range<double> (48.375, 50.690);
        bar.setState (state);
        if (variant == 0)
            bar.getMeter().update ({ -22.0f, -24.0f }, 0.0);
        if (variant == 4)
            bar.showNotice (
                "8 files exported", "Show in folder", [] {}, false);
    }
    return sheet;
}

std::unique_ptr<juce::Component> emptyPage (const ResourceImages& images)
{
    auto sheet = std::make_unique<GallerySheet> (935 + 20 + MeterColumn::width + 200, 716, palette::window);
    sheet->add (std::make_unique<EmptyView>()).setBounds (0, 0, 935, 716);
    auto& column = sheet->add (std::make_unique<MeterColumn> (images));
    column.setBounds (955, 0, MeterColumn::width, 467);
    column.getMeter().setLevel (12.0f / 41.0f + 0.0005f, 0.0f, 41.0f, false);
    sheet->add (std::make_unique<DropOverlay>()).setBounds (955, 500, 300, 160);
    return sheet;
}

std::unique_ptr<juce::Component> bleedPage (const ResourceImages&)
{
    auto sheet = std::make_unique<GallerySheet> (1280, 1220, palette::window);
    const auto add = [&] (std::size_t numDrums, juce::Rectangle<int> bounds)
    {
        auto& view = sheet->add (std::make_unique<BleedView>());
        view.setBounds (bounds);
        view.bandsOf = [] (std::size_t, std::size_t)
        {
            std::vector<BleedBand> bands;

            for (const auto* name : { "to 120 Hz", "120 to 240", "240 to 480", "from 480" })
                bands.push_back ({ { -31.2, -44.0 }, name });

            return bands;
        };
        view.setState (bleedSample (numDrums));
    };
    add (7, { 0, 0, 660, 400 });
    add (0, { 670, 0, 610, 200 });
    add (1, { 670, 210, 610, 190 });
    add (24, { 0, 410, 1280, 800 });
    return sheet;
}

} // namespace

std::vector<GalleryPage> galleryPages()
{
    return { { "knobs", knobPage },  { "meter", meterPage },     { "small controls", smallControlsPage },
             { "dock", dockPage },   { "browser", browserPage }, { "transport", transportPage },
             { "empty", emptyPage }, { "bleed", bleedPage },     { "dialogs", dialogsPage },
             { "menus", menusPage } };
}

} // namespace tessivar::test
