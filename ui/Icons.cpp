#include "ui/Icons.h"

#include <map>

namespace tessivar
{
namespace
{

/** An icon in a square of 16 units: what is stroked and what is filled. */
struct Shape
{
    juce::Path stroked, filled;

    Shape circle (float x, float y, float radius) &&
    {
        stroked.addEllipse (juce::Rectangle<float> (2.0f * radius, 2.0f * radius).withCentre ({ x, y }));
        return std::move (*this);
    }

    Shape dot (float x, float y, float radius) &&
    {
        filled.addEllipse (juce::Rectangle<float> (2.0f * radius, 2.0f * radius).withCentre ({ x, y }));
        return std::move (*this);
    }
};

/** A shape from the data of SVG paths, either of which may be empty. */
Shape shapeFrom (const juce::String& stroked, const juce::String& filled = {})
{
    // The parser warns about an empty string.
    const auto path = [] (const juce::String& data)
    { return data.isEmpty() ? juce::Path() : juce::Drawable::parseSVGPath (data); };
    return { path (stroked), path (filled) };
}

/** A drum seen from above its rim: an oval head and a shell from `top` to `bottom`. */
Shape drumShape (float left, float right, float top, float bottom, float ry, const char* more = "")
{
    const auto rx = 0.5f * (right - left);
    constexpr auto quarter = juce::MathConstants<float>::halfPi;
    auto drum = shapeFrom (more);
    drum.stroked.addEllipse (left, top - ry, 2.0f * rx, 2.0f * ry);
    drum.stroked.startNewSubPath (left, top);
    drum.stroked.lineTo (left, bottom);
    drum.stroked.addCentredArc (left + rx, bottom, rx, ry, 0.0f, 3.0f * quarter, quarter, false);
    drum.stroked.lineTo (right, top);
    return drum;
}

const Shape& shapeOf (Icon icon)
{
    static const std::map<Icon, Shape> shapes{
        { Icon::none, {} },
        { Icon::kick, shapeFrom ({}).circle (8.0f, 8.0f, 6.0f).dot (8.0f, 8.0f, 2.0f) },
        { Icon::snare,
          drumShape (2.2f, 13.8f, 5.6f, 10.4f, 2.1f, "M2.4 9 L5.4 11.2 L7 9.9 L9 11.4 L10.6 10 L13.6 9") },
        { Icon::hiHat,
          shapeFrom ("M8 1.6 L8 5 M8 11 L8 14.8 M1.4 7.1 C4.5 6 6 5 8 5 C10 5 11.5 6 14.6 7.1 M1.4 8.9 C4.5 "
                     "10 6 11 8 11 C10 11 11.5 10 14.6 8.9") },
        { Icon::tomHigh, drumShape (3.8f, 12.2f, 4.0f, 8.6f, 1.8f, "M8 10.6 L8 14") },
        { Icon::tomLow, drumShape (2.8f, 13.2f, 4.8f, 11.0f, 2.0f) },
        { Icon::tomFloor,
          drumShape (2.8f, 13.2f, 4.0f, 11.0f, 1.8f, "M2.8 11 L2.8 14.2 M13.2 11 L13.2 14.2") },
        { Icon::microphone,
          shapeFrom ("M8 1.8 A2.4 2.4 0 0 1 10.4 4.2 L10.4 7.6 A2.4 2.4 0 0 1 5.6 7.6 L5.6 4.2 A2.4 2.4 0 0 "
                     "1 8 1.8 Z M3.4 7.4 A4.6 4.6 0 0 0 12.6 7.4 M8 12 L8 14.4") },
        { Icon::play, shapeFrom ({}, "M4.6 2.8 L13.2 8 L4.6 13.2 Z") },
        { Icon::stop,
          shapeFrom ({},
                     "M4.6 3.2 L11.4 3.2 Q12.8 3.2 12.8 4.6 L12.8 11.4 Q12.8 12.8 11.4 12.8 L4.6 12.8 Q3.2 "
                     "12.8 3.2 11.4 L3.2 4.6 Q3.2 3.2 4.6 3.2 Z") },
        { Icon::toStart, shapeFrom ("M3.4 3.4 L3.4 12.6", "M12.6 3.2 L12.6 12.8 L5.4 8 Z") },
        { Icon::loop,
          shapeFrom ("M2 8.4 L2 7.2 Q2 4.6 4.6 4.6 L13.6 4.6 M11.4 2.2 L13.8 4.6 L11.4 7 M14 7.6 L14 8.8 Q14 "
                     "11.4 11.4 11.4 L2.4 11.4 M4.6 9 L2.2 11.4 L4.6 13.8") },
        { Icon::follow,
          shapeFrom ("M4 5 L4 14 M7.4 8.6 L14 8.6 M11.4 6 L14 8.6 L11.4 11.2",
                     "M1.6 1.8 L6.4 1.8 L6.4 4 L4 6.4 L1.6 4 Z") },
        { Icon::speaker,
          shapeFrom ("M2 6 L4.6 6 L8.4 2.8 L8.4 13.2 L4.6 10 L2 10 Z M10.4 6 A2.8 2.8 0 0 1 10.4 10 M12.2 4 "
                     "A5.4 5.4 0 0 1 12.2 12") },
        { Icon::plus, shapeFrom ("M8 3 L8 13 M3 8 L13 8") },
        { Icon::minus, shapeFrom ("M3 8 L13 8") },
        { Icon::import, shapeFrom ("M8 2.2 L8 10 M4.8 6.9 L8 10.1 L11.2 6.9 M2.4 13.2 L13.6 13.2") },
        { Icon::exporting, shapeFrom ("M8 10.4 L8 2.6 M4.8 5.7 L8 2.5 L11.2 5.7 M2.4 13.2 L13.6 13.2") },
        { Icon::close, shapeFrom ("M4 4 L12 12 M12 4 L4 12") },
        { Icon::cross, shapeFrom ("M4.2 4.2 L11.8 11.8 M11.8 4.2 L4.2 11.8") },
        { Icon::chevronDown, shapeFrom ("M4 6 L8 10 L12 6") },
        { Icon::chevronRight, shapeFrom ("M6 4 L10 8 L6 12") },
        { Icon::arrowRight, shapeFrom ("M2.6 8 L13 8 M9.4 4.6 L13 8 L9.4 11.4") },
        { Icon::tick, shapeFrom ("M2.8 8.6 L6.2 12 L13.2 4.4") },
        { Icon::ring, shapeFrom ({}).circle (8.0f, 8.0f, 4.2f) },
        { Icon::warning, shapeFrom ("M8 2.4 L14.4 13.4 L1.6 13.4 Z M8 6.6 L8 9.8").dot (8.0f, 11.5f, 0.85f) },
        { Icon::bypass,
          shapeFrom ("M0.9 8.4 L4 8.4 M12 8.4 L15.1 8.4 M5 7.2 A3 2.6 0 0 1 11 7.2")
              .dot (5.1f, 8.4f, 1.9f)
              .dot (10.9f, 8.4f, 1.9f) },
        { Icon::removed, shapeFrom ("M1 8 L3.2 8 L5 3 L7.4 13 L9.4 6 L10.6 9.4 M11.2 12.8 L15.4 12.8") },
        { Icon::zoomToSelection,
          shapeFrom ("M2 3 L2 13 M14 3 L14 13 M4.4 8 L11.6 8 M6.4 5.8 L4.2 8 L6.4 10.2 M9.6 5.8 L11.8 8 L9.6 "
                     "10.2") },
        { Icon::fit,
          shapeFrom ("M2 5.2 L2 2.4 L5 2.4 M11 2.4 L14 2.4 L14 5.2 M14 10.8 L14 13.6 L11 13.6 M5 13.6 L2 "
                     "13.6 L2 10.8 M5 8 L11 8") },
        { Icon::spectrum,
          shapeFrom (
              "M2.4 13.6 L2.4 9.4 M2.4 6.6 L2.4 5 M6.1 13.6 L6.1 6.6 M6.1 3.8 L6.1 2.4 M9.9 13.6 L9.9 11 "
              "M9.9 8.2 L9.9 5.6 M13.6 13.6 L13.6 12.2 M13.6 9.4 L13.6 7.8") },
        { Icon::file, shapeFrom ("M4 1.8 L9 1.8 L12.4 5.2 L12.4 14.2 L4 14.2 Z M8.8 2 L8.8 5.4 L12.2 5.4") },
        { Icon::folder, shapeFrom ("M1.8 3.2 L6 3.2 L7.6 5 L14.2 5 L14.2 13 L1.8 13 Z") },
        { Icon::device,
          shapeFrom ("M4 1.6 L12 1.6 L12 14.4 L4 14.4 Z").circle (8.0f, 10.0f, 2.2f).dot (8.0f, 4.6f, 1.1f) },
        { Icon::tag, shapeFrom ("M2 2 L7.4 2 L14.2 8.8 L8.8 14.2 L2 7.4 Z").dot (5.0f, 5.0f, 1.1f) },
        { Icon::undo,
          shapeFrom ("M6.2 2.8 L2.8 6.2 L6.2 9.6 M3 6.2 L9.6 6.2 A3.5 3.5 0 0 1 9.6 13.2 L5.4 13.2") },
        { Icon::redo,
          shapeFrom ("M9.8 2.8 L13.2 6.2 L9.8 9.6 M13 6.2 L6.4 6.2 A3.5 3.5 0 0 0 6.4 13.2 L10.6 13.2") },
        { Icon::equalLoudness, shapeFrom ("M1.6 3 L14.4 3 M4.6 6.2 L4.6 13.4 M11.4 6.2 L11.4 13.4") },
        { Icon::gauge, shapeFrom ("M2.2 12 A6.4 6.4 0 1 1 13.8 12 M8 9.6 L11 5.6") },
    };
    return shapes.at (icon);
}

constexpr float edgeUnits = 16.0f;
constexpr float strokeUnits = 1.5f;

/** The icon as one outline in a square of 16 units, its lines at least `leastStroke` units wide. */
juce::Path outlineOf (Icon icon, float leastStroke)
{
    const auto& shape = shapeOf (icon);
    juce::Path outline;
    if (! shape.stroked.isEmpty())
        juce::PathStrokeType (
            std::max (strokeUnits, leastStroke), juce::PathStrokeType::curved, juce::PathStrokeType::rounded)
            .createStrokedPath (outline, shape.stroked);
    outline.addPath (shape.filled);
    return outline;
}

} // namespace

void drawIcon (juce::Graphics& g, Icon icon, juce::Rectangle<float> area, juce::Colour colour)
{
    const auto edge = std::min (area.getWidth(), area.getHeight());
    const auto square = area.withSizeKeepingCentre (edge, edge);
    const auto scale = edge / edgeUnits;
    g.setColour (colour);
    g.fillPath (outlineOf (icon, 1.2f / scale),
                juce::AffineTransform::scale (scale).translated (square.getX(), square.getY()));
}

std::unique_ptr<juce::Drawable> iconDrawable (Icon icon, float edge, juce::Colour colour)
{
    const auto scale = edge / edgeUnits;
    auto path = outlineOf (icon, 1.2f / scale);
    path.applyTransform (juce::AffineTransform::scale (scale));
    auto drawable = std::make_unique<juce::DrawablePath>();
    drawable->setPath (path);
    drawable->setFill (colour);
    return drawable;
}

} // namespace tessivar
