#include "app/linux/DesktopChooser.h"

#include <catch2/catch.hpp>

using namespace tessivar;

TEST_CASE ("File choosers", "[app][chooser]")
{
    FileChooserRequest request;
    request.title = "Select files to import...";
    request.wildcard = "*.wav;*.aiff";
    request.kind = FileChooserRequest::Kind::openFiles;
    request.startFolder = juce::File ("/takes/one");

    SECTION ("are asked for both cases of an extension, several files, and the folder with its end")
    {
        const auto arguments = zenityArguments (request);
        CHECK (arguments[0] == "zenity");
        CHECK (arguments.contains ("--title=Select files to import..."));
        CHECK (arguments.contains ("--file-filter=*.wav;*.aiff | *.wav *.WAV *.aiff *.AIFF"));
        CHECK (arguments.contains ("--filename=/takes/one/"));
        CHECK (arguments.contains ("--separator=\x1f"));
        CHECK (kdialogArguments (request).contains ("--separate-output"));
    }

    SECTION ("of folders filter nothing, and of a file to save name it")
    {
        request.kind = FileChooserRequest::Kind::chooseFolders;
        CHECK (zenityArguments (request).contains ("--directory"));
        CHECK (zenityArguments (request).joinIntoString (" ").contains ("--file-filter") == false);
        request.kind = FileChooserRequest::Kind::saveFile;
        request.suggestedName = "Take 3.dls";
        CHECK (zenityArguments (request).contains ("--filename=/takes/one/Take 3.dls"));
        CHECK (zenityArguments (request).contains ("--save"));
    }
}
