#pragma once

#include <juce_graphics/juce_graphics.h>

#include <algorithm>
#include <cmath>

namespace tessivar::contrast
{

inline constexpr double ofText = 4.5, ofMarks = 3.0; // at least

/** Relative luminance of a colour, 0 to 1 (W3C 2008, Web Content Accessibility Guidelines 2.0). */
inline double luminance (juce::Colour colour)
{
    const auto linear = [] (juce::uint8 value)
    {
        const auto share = value / 255.0;
        return share <= 0.03928 ? share / 12.92 : std::pow ((share + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear (colour.getRed()) + 0.7152 * linear (colour.getGreen())
           + 0.0722 * linear (colour.getBlue());
}

/** 1 for equal colours to 21 for black and white, in either order. */
inline double between (juce::Colour a, juce::Colour b)
{
    const auto first = luminance (a), second = luminance (b);
    return (std::max (first, second) + 0.05) / (std::min (first, second) + 0.05);
}

} // namespace tessivar::contrast
