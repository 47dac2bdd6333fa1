#pragma once

#include "ui/Buttons.h"
#include "ui/bleed/BleedState.h"

#include <functional>
#include <optional>
#include <vector>

namespace tessivar
{

/** The bleed map in the place of the waveform: a row for each microphone, a column for each drum. The
    numbers say it, the ground colours it. The arrow keys go from cell to cell, Enter does what a click
    does, Escape closes. More cells than there is room for are scrolled by wheel and keys.
*/
class BleedView : public juce::Component, public juce::SettableTooltipClient
{
public:
    using Place = juce::Point<int>; // of a cell: x the drum, y the microphone

    BleedView();

    void setState (BleedState newState);

    std::function<void (std::size_t microphone, std::size_t drum)> onChosen;
    std::function<void()> onClosed, onAnalyze;

    /** Asked for the bands of the cell that is pointed at, or else selected. */
    std::function<std::vector<BleedBand> (std::size_t microphone, std::size_t drum)> bandsOf;

    /** What a click on a cell does, for its tooltip. */
    std::function<juce::String (std::size_t microphone, std::size_t drum)> describeChoice;

    /** What a screen reader says: the selected cell. */
    [[nodiscard]] juce::String accessibleValue() const;

    /** Where a cell stands; empty when it is scrolled away. */
    [[nodiscard]] juce::Rectangle<int> cellBounds (Place cell) const;

    void paint (juce::Graphics& g) override;
    void paintOverChildren (juce::Graphics& g) override;
    void resized() override;
    bool keyPressed (const juce::KeyPress& key) override;
    void mouseMove (const juce::MouseEvent& event) override;
    void mouseExit (const juce::MouseEvent& event) override;
    void mouseUp (const juce::MouseEvent& event) override;
    void mouseWheelMove (const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel) override;
    void focusGained (FocusChangeType) override { repaint(); }
    void focusLost (FocusChangeType) override { repaint(); }
    juce::String getTooltip() override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    [[nodiscard]] int numDrums() const { return static_cast<int> (state.drums.size()); }
    [[nodiscard]] bool hasMap() const { return ! state.drums.empty(); }
    [[nodiscard]] juce::Rectangle<int> grid() const;
    [[nodiscard]] std::optional<Place> cellAt (juce::Point<int> position) const;
    [[nodiscard]] bool showsAfter() const { return after.getToggleState(); }
    void moveTo (Place cell);
    void scrollTo (Place first);
    void choose (Place cell);
    void setAfter (bool shouldShowAfter);

    void paintHeads (juce::Graphics& g) const;
    void paintCell (juce::Graphics& g, Place cell, juce::Rectangle<int> area) const;
    void paintStrip (juce::Graphics& g) const;
    void paintMessage (juce::Graphics& g) const;

    BleedState state;
    Place selected, firstShown;
    std::optional<Place> pointedAt;
    int cellWidth = 1, cellHeight = 1, headWidth = 1;
    ActionButton before{ "Before", ButtonLook::bare }, after{ "After", ButtonLook::bare };
    IconButton closeButton{ "Back to the waveform", Icon::close };
    ActionButton analyze{ {}, ButtonLook::primary };

    JUCE_DECLARE_NON_COPYABLE (BleedView)
};

} // namespace tessivar
