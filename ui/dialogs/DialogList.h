#pragma once

#include "ui/Buttons.h"
#include "ui/TessivarControls.h"

#include <optional>

namespace tessivar
{

/** A row of a dialog's list. What doesn't fit into a line is wrapped; a remark then goes below the text. */
struct DialogListRow
{
    juce::String text, remark{};
    juce::String detail{}; // below both
    Icon icon = Icon::file;
    juce::Colour iconColour{}, remarkColour{}; // transparent: the low text colour
    std::optional<bool> ticked{};              // shows a dot in place of the icon
};

/** A scrolling list in a well, as high as its rows but not higher than eight without detail. */
class DialogList : public juce::Component
{
public:
    explicit DialogList (const ResourceImages& images);

    void setRows (std::vector<DialogListRow> newRows, int rowHeightToUse);
    const std::vector<DialogListRow>& getRows() const { return rows; }

    /** Height of its rows at this width, in logical pixels. */
    int idealHeight (int width) const;

    /** The user ticked or cleared a row's dot. */
    std::function<void (int row, bool ticked)> onTick;

    void paint (juce::Graphics& g) override;
    void paintOverChildren (juce::Graphics& g) override;
    void resized() override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    /** All rows, inside the viewport. */
    class Rows : public juce::Component
    {
    public:
        explicit Rows (DialogList& ownerList) : owner (ownerList) {}
        void paint (juce::Graphics& g) override;
        void paintOverChildren (juce::Graphics& g) override;
        void resized() override;

        std::vector<std::unique_ptr<TessivarCheckBox>> dots;

    private:
        DialogList& owner;
    };

    /** Where a row lies among all rows, and its words as laid out. */
    struct Place
    {
        int top = 0, height = 0;
        int headHeight = 0; // of the text, above what stands below it
        juce::TextLayout text, below;
        bool hasRemarkBeside = false;
    };
    std::vector<Place> placesAt (int rowWidth) const;
    static int heightOf (const std::vector<Place>& rowPlaces);

    const ResourceImages& images;
    std::vector<DialogListRow> rows;
    std::vector<Place> places;
    int rowHeight = 30;
    Rows content;
    juce::Viewport viewport;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (DialogList)
};

} // namespace tessivar
