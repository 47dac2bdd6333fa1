#include "tools/gallery/GalleryPages.h"
#include "tools/gallery/Pictures.h"

#include <iostream>

namespace
{
using namespace tessivar::test;

/** Returns the number of pictures. */
int writePages (const juce::File& folder, const juce::String& only)
{
    PaintingFixture fixture;
    auto number = 0;

    for (const auto& page : galleryPages())
    {
        if (only.isNotEmpty() && only != page.name)
            continue;

        const auto component = page.make (fixture.images);

        for (const int scale : { 1, 2 })
            writePicture (*component,
                          folder.getChildFile (page.name + "@" + juce::String (scale) + "x.png"),
                          static_cast<float> (scale));

        ++number;
        std::cout << page.name << "\n";
    }

    if (only.isEmpty() || only == "wave")
    {
        writeWavePictures (fixture.images, folder);
        ++number;
        std::cout << "wave\n";
    }

    return number;
}
} // namespace

/** Writes a picture of every widget in its states into a folder: tessivar_ui_gallery FOLDER [PAGE] */
int main (int argc, char* argv[])
{
    if (argc < 2)
    {
        std::cerr << "usage: tessivar_ui_gallery FOLDER [PAGE]\n";
        return 1;
    }

    try
    {
        const auto only = argc > 2 ? juce::String::fromUTF8 (argv[2]) : juce::String();

        if (writePages (pictureFolder (argv[1]), only) > 0)
            return 0;

        std::cerr << "there is no page " << only << "\n";
    }
    catch (const std::runtime_error& error)
    {
        std::cerr << error.what() << "\n";
    }

    return 1;
}
