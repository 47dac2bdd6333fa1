#include "report/TrackFigures.h"
#include "terms/DrumType.h"
#include "ui/DrumDrawing.h"

#include <catch2/catch.hpp>

using namespace tessivar;

TEST_CASE ("A drum has one color in the window and in a report", "[app][report]")
{
    const auto inReport = drumColourVariables (true);

    for (const auto& row : drumTypeRows)
    {
        const auto inWindow = drumColour (row.type).toDisplayString (false).toLowerCase();
        INFO (row.key << ": " << inWindow << " in " << inReport);
        CHECK (inReport.contains (juce::String ("--") + row.key + ":#" + inWindow + ";"));
    }
}
