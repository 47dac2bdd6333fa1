#pragma once

#include <juce_graphics/juce_graphics.h>

#include <array>

/** The interface's type. Sizes are em sizes in logical pixels, as designers state them; juce::Font measures
    from ascender to descender, which for Inter is 1.21 times as much.

    TessivarLookAndFeel supplies the file behind the name "Inter"; without it, the system's sans serif is
    used.
*/
namespace tessivar::fonts
{

enum class Weight
{
    regular,
    medium,
    semibold
};

/** The family that TessivarLookAndFeel supplies. */
inline constexpr const char* familyName = "Inter";

/** Height of a juce::Font over its em: (2728 + 680) / 2816 in Inter's own units. */
inline constexpr float heightPerEm = 3408.0f / 2816.0f;

/** @param emPixels  size of the em in logical pixels, above 0 */
juce::Font inter (float emPixels, Weight weight = Weight::regular);

/** The three shipped files, read once and kept for the look and feel. A missing file gives a null pointer. */
class InterTypefaces
{
public:
    explicit InterTypefaces (const juce::File& resourcesFolder);

    /** The typeface for a style name set by inter(); null when its file is missing. */
    juce::Typeface::Ptr forStyle (const juce::String& style) const;

private:
    std::array<juce::Typeface::Ptr, 3> typefaces;
};

/** Section caption: 11 px semibold capitals, tracked by 6 %. */
juce::Font caption();

/** Width of text when every digit is as wide as the widest one. */
float tabularWidth (const juce::Font& font, const juce::String& text);

/** Draws one line with every digit centred in a cell as wide as the widest, so that a running time doesn't
    jitter. Text wider than the area overflows it. Centred vertically unless the justification says otherwise.
*/
void drawTabular (juce::Graphics& g,
                  const juce::Font& font,
                  const juce::String& text,
                  juce::Rectangle<float> area,
                  juce::Justification justification);

} // namespace tessivar::fonts
