#include "app/settings/SettingsDialog.h"

#include "app/settings/ChoiceGroup.h"
#include "app/settings/SettingsPage.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"

#include <array>

namespace tessivar
{

namespace
{
constexpr int dialogWidth = 720, dialogHeight = 480;
constexpr int headerHeight = 48, footerHeight = 62, listWidth = 176;
constexpr int edge = 20, closeWidth = 92, closeHeight = 36;

class SettingsDialog final : public DialogContent
{
public:
    explicit SettingsDialog (SettingsDialogContext contextToUse)
        : DialogContent ("Settings", { { .text = "Close", .isSafe = true } }),
          context (std::move (contextToUse))
    {
        closeSign.setInk (palette::textLow);
        closeSign.onClick = [this] { escape(); };
        list.onSelect = [this] (int index) { showPage (index); };
        // Tab goes through the page's fields before it comes to the bottom row.
        closeSign.setExplicitFocusOrder (4);
        list.setExplicitFocusOrder (1);
        getButton (0).setExplicitFocusOrder (3);
        addAndMakeVisible (closeSign);
        addAndMakeVisible (list);
        addAndMakeVisible (footnote);

        for (const auto& page : pages)
        {
            page->setExplicitFocusOrder (2);
            page->onFootnoteChanged = [this] { showFootnote(); };
            addChildComponent (*page);
        }

        list.select (static_cast<int> (context.firstPage));
        showPage (list.getSelected());
        setSize (dialogWidth, dialogHeight);
    }

    ~SettingsDialog() override { leave(); }

    int idealWidth() const override { return dialogWidth; }

    juce::String getMessage() const override
    {
        return current != nullptr ? "Page " + current->getTitle() : juce::String();
    }

    void paint (juce::Graphics& g) override
    {
        const auto card = getLocalBounds().toFloat().reduced (0.5f);
        g.setGradientFill (juce::ColourGradient::vertical (
            juce::Colour (0xff1c2229), card.getY(), juce::Colour (0xff191e24), card.getBottom()));
        g.fillRoundedRectangle (card, DialogShadow::cornerRadius);

        const auto body = getLocalBounds().withTrimmedTop (headerHeight).withTrimmedBottom (footerHeight);
        g.setColour (palette::panel);
        g.fillRect (body.withWidth (listWidth).withTrimmedLeft (1));
        g.setColour (palette::line);
        g.fillRect (body.withWidth (1).withX (listWidth));
        g.fillRect (body.withHeight (1).reduced (1, 0));
        g.fillRect (body.withTop (body.getBottom()).withHeight (1).reduced (1, 0));
        g.setColour (palette::dialogEdge);
        g.drawRoundedRectangle (card, DialogShadow::cornerRadius, 1.0f);

        g.setColour (palette::textHigh);
        g.setFont (fonts::inter (15.0f, fonts::Weight::semibold));
        g.drawText (getTitleText(),
                    getLocalBounds().withHeight (headerHeight + 2).withTrimmedLeft (edge + 1),
                    juce::Justification::centredLeft,
                    true);
    }

    void resized() override
    {
        auto area = getLocalBounds();
        auto header = area.removeFromTop (headerHeight);
        auto footer = area.removeFromBottom (footerHeight).reduced (edge + 1, 0);
        closeSign.setBounds (header.removeFromRight (44).withSizeKeepingCentre (28, 28).translated (-5, 1));
        getButton (0).setBounds (
            footer.removeFromRight (closeWidth).withSizeKeepingCentre (closeWidth, closeHeight));
        footnote.setBounds (footer.withTrimmedRight (16)
                                .withSizeKeepingCentre (footer.getWidth() - 16, 17)
                                .translated (0, 1));
        list.setBounds (area.removeFromLeft (listWidth).reduced (9, 12).withTrimmedTop (1).expanded (
            ChoiceGroup::ringRoom));

        for (const auto& page : pages)
            page->setBounds (area.withTrimmedLeft (1));
    }

    /** The dialog gets the focus when it appears, and Tab would not lead from there to what lies inside. */
    void focusGained (FocusChangeType) override { list.takeFocus(); }

    void parentHierarchyChanged() override
    {
        // Off the screen: what it works on may go before it does.
        if (getParentComponent() == nullptr)
            leave();
    }

protected:
    int bodyHeight (int) const override { return dialogHeight - 2 * padding - 22 - 60; }
    void layOutBody (juce::Rectangle<int>) override {}

private:
    void showPage (int index)
    {
        leave();
        current = pages[static_cast<std::size_t> (index)].get();

        for (const auto& page : pages)
            page->setVisible (page.get() == current);

        current->open();
        showFootnote();
    }

    void leave()
    {
        if (auto* left = std::exchange (current, nullptr))
            left->close();
    }

    void showFootnote()
    {
        if (current != nullptr)
            footnote.setText (current->footnote());
    }

    const SettingsDialogContext context;
    IconButton closeSign{ "Close settings", Icon::close };
    ChoiceGroup list{ "Pages",
                      ChoiceGroup::Style::pages,
                      { { "Audio device", Icon::device },
                        { "Abbreviations", Icon::tag },
                        { "Folders", Icon::folder },
                        { "Performance", Icon::gauge } } };
    const std::array<std::unique_ptr<SettingsPage>, 4> pages{ makeAudioPage (context),
                                                              makeAbbreviationsPage (context),
                                                              makeFoldersPage (context),
                                                              makePerformancePage (context) };
    SettingsPage* current = nullptr;
    TextBlock footnote{ TextBlock::Kind::hint };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (SettingsDialog)
};
} // namespace

std::unique_ptr<DialogContent> makeSettingsDialog (SettingsDialogContext context)
{
    return std::make_unique<SettingsDialog> (std::move (context));
}

} // namespace tessivar
