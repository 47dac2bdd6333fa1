#pragma once

#include "ui/dialogs/DialogContent.h"

#include <array>
#include <vector>

namespace tessivar
{

struct KeySheetLine
{
    juce::String text;
    juce::StringArray keys; // "Ctrl+S"
};

/** The keys of one area of the window. */
struct KeySheetSection
{
    juce::String title;
    std::vector<KeySheetLine> lines;
};

/** Shows all keys, in columns, each section in one piece. */
class KeySheetDialog : public DialogContent
{
public:
    explicit KeySheetDialog (std::vector<KeySheetSection> sectionsToShow);

    int idealWidth() const override { return 960; }
    juce::String getMessage() const override;
    void paint (juce::Graphics& g) override;

protected:
    int bodyHeight (int) const override;
    void layOutBody (juce::Rectangle<int>) override {}

private:
    static constexpr std::size_t numColumns = 3;

    /** For each column, the sections from one index up to, not including, the next. */
    using Columns = std::array<std::size_t, numColumns + 1>;
    Columns columns() const;
    int heightOf (const Columns& cut, int heightOfLine) const;

    const std::vector<KeySheetSection> sections;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (KeySheetDialog)
};

} // namespace tessivar
