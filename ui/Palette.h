#pragma once

#include <juce_graphics/juce_graphics.h>

/** Every colour of the interface, by name. Each has one meaning: ice is touched or active, ember is removed,
    amber warns, red is failure only, and every drum type has a hue of its own.
*/
namespace tessivar::palette
{

// Backgrounds, from the window up to what floats over it.
inline const juce::Colour window (0xff0d1013);
inline const juce::Colour wave (0xff0b0e11);
inline const juce::Colour panel (0xff14181c);
inline const juce::Colour raised (0xff1a2026);
inline const juce::Colour popup (0xff20262c);
inline const juce::Colour hover (0xff222a31);
inline const juce::Colour selected (0xff24303a);
inline const juce::Colour highlight (0xff2b4250);
inline const juce::Colour well (0xff080a0c);
inline const juce::Colour scrim (0x9e050709);

inline const juce::Colour line (0xff252d34);
inline const juce::Colour lineStrong (0xff36414a);
inline const juce::Colour outline (0xff74818d);
inline const juce::Colour dialogEdge (0xff3a454e);
/** The dark seam between two panels. */
inline const juce::Colour seam (0xff000000);

inline const juce::Colour textHigh (0xfff5f5f5);
inline const juce::Colour textMid (0xffbac4cd);
inline const juce::Colour textLow (0xff8c98a4);
inline const juce::Colour textDisabled (0xff5c6873);
/** Text on ice, ember and amber fills. */
inline const juce::Colour textOnFill (0xff0d1e29);

inline const juce::Colour ice (0xffbfeaff);
inline const juce::Colour iceMid (0xff63c3ee);
inline const juce::Colour iceDeep (0xff3ba3d6);
inline const juce::Colour iceHover (0xffddf4ff);

inline const juce::Colour ember (0xffff8a57);
inline const juce::Colour emberLine (0xffa9563a);
inline const juce::Colour emberFill (0xff6e3b2a);

inline const juce::Colour amber (0xfff2c14e);
inline const juce::Colour red (0xffff6b6b);
inline const juce::Colour green (0xff7fd6a4);
/** Text of a destructive action, on a raised background. */
inline const juce::Colour danger (0xffff9c9c);

inline const juce::Colour kick (0xff78aeff);
inline const juce::Colour snare (0xfff2d06b);
inline const juce::Colour hiHat (0xff62e0cc);
inline const juce::Colour tomHigh (0xffc3a3ff);
inline const juce::Colour tomLow (0xfff593cd);
inline const juce::Colour tomFloor (0xff9cdb6e);
inline const juce::Colour other (0xffaeb8c2);

/** The source of a track that has not been analysed. */
inline const juce::Colour sourceUnanalysed (0xff93a0ac);

} // namespace tessivar::palette
