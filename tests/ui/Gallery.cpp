#include "tests/ui/GalleryPages.h"

#include <iostream>

// Writes a picture of every widget in its states into a folder: tessivar_ui_gallery <folder> [page]

int main (int argc, char* argv[])
{
    if (argc < 2)
    {
        std::cerr << "usage: tessivar_ui_gallery <folder> [page]\n";
        return 1;
    }
    const auto folder =
        juce::File::getCurrentWorkingDirectory().getChildFile (juce::String::fromUTF8 (argv[1]));
    const auto only = argc > 2 ? juce::String::fromUTF8 (argv[2]) : juce::String();
    if (! folder.createDirectory())
    {
        std::cerr << "cannot write to " << folder.getFullPathName() << "\n";
        return 1;
    }

    tessivar::test::PaintingFixture fixture;
    for (const auto& page : tessivar::test::galleryPages())
    {
        if (only.isNotEmpty() && only != page.name)
            continue;
        const auto component = page.make (fixture.images);
        for (const int scale : { 1, 2 })
        {
            const auto image = tessivar::test::snapshot (*component, static_cast<float> (scale));
            const auto file = folder.getChildFile (page.name + "@" + juce::String (scale) + "x.png");
            file.deleteFile();
            juce::FileOutputStream stream (file);
            if (! stream.openedOk() || ! juce::PNGImageFormat().writeImageToStream (image, stream))
            {
                std::cerr << "cannot write " << file.getFullPathName() << "\n";
                return 1;
            }
        }
        std::cout << page.name << "\n";
    }
    return 0;
}
