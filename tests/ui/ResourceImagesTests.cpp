#include "ui/ResourceImages.h"

#include <catch2/catch.hpp>

using namespace tessivar;

TEST_CASE ("ResourceImages", "[ui][images]")
{
    const juce::File resources (juce::String (TESSIVAR_SOURCE_DIR) + "/Resources");

    SECTION ("finds its images whatever the working directory is")
    {
        const auto before = juce::File::getCurrentWorkingDirectory();
        REQUIRE (juce::File::getSpecialLocation (juce::File::tempDirectory).setAsCurrentWorkingDirectory());
        const ResourceImages images (resources);
        CHECK (images.get ("slider/slider knob.png").getWidth() == 32);
        CHECK (images.get ("suppressionMeter/suppressionMeterLedOn.png").getBounds()
               == juce::Rectangle<int> (109, 10));
        before.setAsCurrentWorkingDirectory();
    }

    SECTION ("gives an empty image for a file or a folder that is missing")
    {
        CHECK_FALSE (ResourceImages (resources).get ("slider/no such.png").isValid());
        CHECK_FALSE (
            ResourceImages (resources.getChildFile ("none")).get ("slider/slider knob.png").isValid());
    }
}
