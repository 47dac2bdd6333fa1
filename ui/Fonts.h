#pragma once

#include <juce_graphics/juce_graphics.h>

#include <array>

/** Type of the interface. Sizes are in logical pixels of the em, as designers state them; juce::Font counts from the
    top of the ascenders to the bottom of the descenders, which is 1.21 times as much for Inter.

    Which file stands behind the name "Inter" is the look and feel's business (TessivarLookAndFeel): without it the
    system's sans serif is drawn.
*/
namespace tessivar::fonts
{

enum class Weight
{
    regular,
    medium,
    semibold
};

/** The family that TessivarLookAndFeel answers for. */
inline constexpr const char* familyName = "Inter";

/** Height of a juce::Font over its em: (2728 + 680) / 2816 in Inter's own units. */
inline constexpr float heightPerEm = 3408.0f / 2816.0f;

/** @param emPixels  size of the em in logical pixels, above 0 */
juce::Font inter (float emPixels, Weight weight = Weight::regular);

/** The three shipped files, read once and kept for the look and feel. A missing file is an empty pointer. */
class InterTypefaces
{
public:
    explicit InterTypefaces (const juce::File& resourcesFolder);

    /** The typeface for a style name as inter() sets it; nothing when its file is missing. */
    juce::Typeface::Ptr forStyle (const juce::String& style) const;

private:
    std::array<juce::Typeface::Ptr, 3> typefaces;
};

/** Section caption: 11 px semibold capitals, tracked by 6 %. */
juce::Font caption();

/** Width of text when every digit takes the cell of the widest one. */
float tabularWidth (const juce::Font& font, const juce::String& text);

/** Draws one line, every digit centred in a cell of the widest digit's width, so that a running time does not
    tremble. Text that is wider than the area runs out of it. Vertically centred unless the justification says else.
*/
void drawTabular (juce::Graphics& g,
                  const juce::Font& font,
                  const juce::String& text,
                  juce::Rectangle<float> area,
                  juce::Justification justification);

} // namespace tessivar::fonts
