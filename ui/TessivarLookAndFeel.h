#pragma once

#include "ui/FocusRings.h"
#include "ui/Fonts.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>

namespace tessivar
{

/** The program's look for the toolkit's widgets, and owner of its typefaces.

    Made once, set as default look and feel before the first window, and kept until the last one is gone. A
    key in square brackets at the end of a tooltip, "Hear only what is removed [R]", is drawn as a key cap.
*/
class TessivarLookAndFeel : public juce::LookAndFeel_V4
{
public:
    explicit TessivarLookAndFeel (const juce::File& resourcesFolder);
    ~TessivarLookAndFeel() override;

    juce::Typeface::Ptr getTypefaceForFont (const juce::Font& font) override;

    void
    drawButtonBackground (juce::Graphics&, juce::Button&, const juce::Colour&, bool over, bool down) override;
    void drawButtonText (juce::Graphics&, juce::TextButton&, bool over, bool down) override;
    juce::Font getTextButtonFont (juce::TextButton&, int height) override;

    void drawComboBox (juce::Graphics&, int, int, bool, int, int, int, int, juce::ComboBox&) override;
    juce::Font getComboBoxFont (juce::ComboBox&) override { return fonts::inter (13.0f); }
    void positionComboBoxText (juce::ComboBox&, juce::Label&) override;
    juce::PopupMenu::Options getOptionsForComboBoxPopupMenu (juce::ComboBox&, juce::Label&) override;
    juce::Font getLabelFont (juce::Label& label) override { return label.getFont(); }

    void drawPopupMenuBackground (juce::Graphics&, int width, int height) override;
    void drawPopupMenuItem (juce::Graphics&,
                            const juce::Rectangle<int>& area,
                            bool isSeparator,
                            bool isActive,
                            bool isHighlighted,
                            bool isTicked,
                            bool hasSubMenu,
                            const juce::String& text,
                            const juce::String& shortcutKeyText,
                            const juce::Drawable* icon,
                            const juce::Colour* textColour) override;
    void getIdealPopupMenuItemSize (const juce::String& text,
                                    bool isSeparator,
                                    int standardHeight,
                                    int& idealWidth,
                                    int& idealHeight) override;
    juce::Font getPopupMenuFont() override { return fonts::inter (13.0f); }
    int getPopupMenuBorderSize() override { return menuBorder; }
    int getPopupMenuBorderSizeWithOptions (const juce::PopupMenu::Options&) override { return menuBorder; }

    void
    drawMenuBarBackground (juce::Graphics&, int width, int height, bool, juce::MenuBarComponent&) override;
    void drawMenuBarItem (juce::Graphics&,
                          int width,
                          int height,
                          int index,
                          const juce::String& text,
                          bool isOverItem,
                          bool isOpen,
                          bool isOverBar,
                          juce::MenuBarComponent&) override;
    int getMenuBarItemWidth (juce::MenuBarComponent&, int index, const juce::String& text) override;
    juce::Font getMenuBarFont (juce::MenuBarComponent&, int, const juce::String&) override
    {
        return fonts::inter (13.0f);
    }
    int getDefaultMenuBarHeight() override { return 28; }

    void drawTooltip (juce::Graphics&, const juce::String& text, int width, int height) override;
    juce::Rectangle<int> getTooltipBounds (const juce::String& text,
                                           juce::Point<int> screenPosition,
                                           juce::Rectangle<int> parentArea) override;

    int getDefaultScrollbarWidth() override { return 10; }
    void drawScrollbar (juce::Graphics&,
                        juce::ScrollBar&,
                        int x,
                        int y,
                        int width,
                        int height,
                        bool isVertical,
                        int thumbStart,
                        int thumbSize,
                        bool isOver,
                        bool isDown) override;

    void fillTextEditorBackground (juce::Graphics&, int width, int height, juce::TextEditor&) override;
    void drawTextEditorOutline (juce::Graphics&, int width, int height, juce::TextEditor&) override;

    void drawFileBrowserRow (juce::Graphics&,
                             int width,
                             int height,
                             const juce::File&,
                             const juce::String& name,
                             juce::Image* icon,
                             const juce::String& size,
                             const juce::String& time,
                             bool isDirectory,
                             bool isSelected,
                             int index,
                             juce::DirectoryContentsDisplayComponent&) override;
    juce::Button* createFileBrowserGoUpButton() override;
    void layoutFileBrowserComponent (juce::FileBrowserComponent&,
                                     juce::DirectoryContentsDisplayComponent* list,
                                     juce::FilePreviewComponent*,
                                     juce::ComboBox* path,
                                     juce::TextEditor* name,
                                     juce::Button* goUp) override;

    std::unique_ptr<juce::FocusOutline> createFocusOutlineForComponent (juce::Component&) override;

private:
    static constexpr int menuBorder = 6;

    void setColours();

    const fonts::InterTypefaces typefaces;
    const FocusRingWatch rings;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarLookAndFeel)
};

/** Sets up a single-line text field: 13 px type, centred vertically, 10 px from its edge. */
void prepareTextField (juce::TextEditor& editor);

/** A tooltip's text, and the key in square brackets at its end. */
struct TooltipParts
{
    juce::String text, key;
};
TooltipParts splitTooltip (const juce::String& tip);

/** A progress bar's trough with its ice fill. @param progress  0 to 1; below 0 draws the empty trough */
void drawProgressTrough (juce::Graphics& g, juce::Rectangle<float> area, double progress);

} // namespace tessivar
