#include "tests/ui/Snapshots.h"
#include "tools/contrast/Contrast.h"

#include "ui/DrumDrawing.h"
#include "ui/Palette.h"

#include <catch2/catch.hpp>

using namespace tessivar;

namespace
{
struct Named
{
    const char* name;
    juce::Colour colour;
};

const Named grounds[] = { { "window", palette::window }, { "wave", palette::wave },
                          { "panel", palette::panel },   { "raised", palette::raised },
                          { "popup", palette::popup },   { "hover", palette::hover },
                          { "well", palette::well },     { "selected", palette::selected } };

/** Of what stands out most in an area from the ground in its corner. */
double strongestIn (const juce::Image& image, juce::Rectangle<int> area)
{
    const auto ground = image.getPixelAt (area.getX(), area.getY());
    auto strongest = 1.0;

    for (int y = area.getY(); y < area.getBottom(); ++y)
        for (int x = area.getX(); x < area.getRight(); ++x)
            strongest = std::max (strongest, contrast::between (image.getPixelAt (x, y), ground));

    return strongest;
}
} // namespace

TEST_CASE ("Words stand off their grounds", "[ui][contrast]")
{
    const Named inks[] = { { "textHigh", palette::textHigh }, { "textMid", palette::textMid },
                           { "textLow", palette::textLow },   { "danger", palette::danger },
                           { "amber", palette::amber },       { "red", palette::red },
                           { "green", palette::green },       { "ember", palette::ember },
                           { "ice", palette::ice },           { "iceMid", palette::iceMid } };

    for (const auto& ground : grounds)
    {
        for (const auto& ink : inks)
        {
            INFO (ink.name << " on " << ground.name);
            CHECK (contrast::between (ink.colour, ground.colour) >= contrast::ofText);
        }

        for (const auto type : drumTypeChooserOrder)
        {
            INFO (drumTypeKey (type) << " on " << ground.name);
            CHECK (contrast::between (drumColour (type), ground.colour) >= contrast::ofText);
        }
    }

    for (const auto& fill : { palette::ice, palette::iceHover, palette::amber, palette::ember })
        CHECK (contrast::between (palette::textOnFill, fill) >= contrast::ofText);

    for (const auto& ink : { palette::textHigh, palette::textMid, palette::danger })
        CHECK (contrast::between (ink, palette::highlight) >= contrast::ofText);
}

TEST_CASE ("A menu's entries can be read where the mouse is", "[ui][contrast]")
{
    test::PaintingFixture painting;
    const juce::Rectangle<int> row (0, 0, 300, 30);
    const auto keyArea = juce::Rectangle<int> (220, 4, 64, 22);

    for (const auto isUnderMouse : { false, true })
    {
        INFO ((isUnderMouse ? "under the mouse" : "at rest"));
        juce::Image image (juce::Image::RGB, 600, 60, true);
        juce::Graphics g (image);
        g.addTransform (juce::AffineTransform::scale (2.0f));
        g.fillAll (palette::popup);
        painting.look.drawPopupMenuItem (
            g, row, false, true, isUnderMouse, false, false, "Save", "ctrl + S", nullptr, nullptr);
        CHECK (strongestIn (image, keyArea * 2) >= contrast::ofText);
    }
}
