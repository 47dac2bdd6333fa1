#include "tools/contrast/Contrast.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <optional>
#include <vector>

// Measures on a picture of the window whether words stand off their ground by 4.5:1 and marks by 3:1:
//
//     tessivar_ui_contrast PICTURE.png AREAS.txt [SCALE]
//
// A line of AREAS is "text|mark x y width height name", in logical pixels; SCALE is pixels of the picture per
// logical pixel (2 is best: there even thin letters have pixels of their full colour). Lines that begin with
// # are remarks. Exit status 1 when an area falls short.

namespace tessivar
{

namespace
{

struct Area
{
    bool isText = true;
    juce::Rectangle<int> bounds;
    juce::String name;

    [[nodiscard]] double wanted() const { return isText ? contrast::ofText : contrast::ofMarks; }
};

std::optional<Area> areaFrom (const juce::String& line)
{
    const auto words = juce::StringArray::fromTokens (line.trim(), " ", {});
    if (words.size() < 6 || (words[0] != "text" && words[0] != "mark"))
        return std::nullopt;
    return Area{
        words[0] == "text",
        { words[1].getIntValue(), words[2].getIntValue(), words[3].getIntValue(), words[4].getIntValue() },
        words.joinIntoString (" ", 5)
    };
}

struct Measured
{
    juce::Colour ground, ink;
    double ratio = 1.0;
};

/** The ground is the colour that is there most, in steps of 8 as grounds may run from one colour to another;
    the ink is as far from it as the farthest half percent of the pixels, so that a stray one says nothing.
*/
Measured measure (const juce::Image::BitmapData& pixels, juce::Rectangle<int> bounds)
{
    std::map<juce::uint32, std::vector<juce::Colour>> byColour;
    std::vector<juce::Colour> all;
    for (int y = bounds.getY(); y < bounds.getBottom(); ++y)
        for (int x = bounds.getX(); x < bounds.getRight(); ++x)
        {
            const auto colour = pixels.getPixelColour (x, y);
            byColour[colour.getARGB() & 0xfff8f8f8].push_back (colour);
            all.push_back (colour);
        }

    const auto most =
        std::max_element (byColour.begin(),
                          byColour.end(),
                          [] (const auto& a, const auto& b) { return a.second.size() < b.second.size(); });
    Measured result;
    result.ground = most->second[most->second.size() / 2];
    std::sort (all.begin(),
               all.end(),
               [&] (juce::Colour a, juce::Colour b)
               { return contrast::between (a, result.ground) > contrast::between (b, result.ground); });
    result.ink = all[std::min (all.size() - 1, std::max<std::size_t> (3, all.size() / 200))];
    result.ratio = contrast::between (result.ink, result.ground);
    return result;
}

int run (const juce::File& pictureFile, const juce::File& areasFile, double scale)
{
    const auto picture = juce::ImageFileFormat::loadFrom (pictureFile);
    if (! picture.isValid() || ! areasFile.existsAsFile())
    {
        std::cerr << "cannot read " << pictureFile.getFullPathName() << " or " << areasFile.getFullPathName()
                  << "\n";
        return 2;
    }

    const juce::Image::BitmapData pixels (picture, juce::Image::BitmapData::readOnly);
    int failures = 0, count = 0;
    auto lowest = 100.0;
    for (const auto& line : juce::StringArray::fromLines (areasFile.loadFileAsString()))
    {
        const auto area = areaFrom (line);
        if (! area)
            continue;
        const auto bounds =
            (area->bounds.toDouble() * scale).toNearestInt().getIntersection (picture.getBounds());
        if (bounds.isEmpty())
        {
            std::cout << "outside the picture: " << area->name << "\n";
            ++failures;
            continue;
        }
        const auto found = measure (pixels, bounds);
        const auto passes = found.ratio >= area->wanted();
        failures += passes ? 0 : 1;
        ++count;
        lowest = std::min (lowest, found.ratio / area->wanted());
        std::cout << (passes ? "  " : "! ") << juce::String (found.ratio, 2) << " of " << area->wanted()
                  << "  " << found.ink.toDisplayString (false) << " on "
                  << found.ground.toDisplayString (false) << "  " << area->name << "\n";
    }
    std::cout << count << " areas, " << failures << " too faint, nearest to its limit "
              << juce::String (lowest, 2) << " times\n";
    return failures == 0 ? 0 : 1;
}

} // namespace

} // namespace tessivar

int main (int argc, char* argv[])
{
    if (argc < 3)
    {
        std::cerr << "usage: tessivar_ui_contrast PICTURE.png AREAS.txt [SCALE]\n";
        return 2;
    }
    const auto file = [&] (int index)
    { return juce::File::getCurrentWorkingDirectory().getChildFile (juce::String::fromUTF8 (argv[index])); };
    return tessivar::run (file (1), file (2), argc > 3 ? juce::String (argv[3]).getDoubleValue() : 1.0);
}
