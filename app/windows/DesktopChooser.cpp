#include "app/FileChooser.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

std::optional<std::vector<juce::File>> chooseWithDesktop (const FileChooserRequest& request)
{
    using Flags = juce::FileBrowserComponent::FileChooserFlags;
    const auto saves = request.kind == FileChooserRequest::Kind::saveFile;
    const auto folder = nearestFolder (request.startFolder);
    const auto flags = (saves ? Flags::saveMode : Flags::openMode)
                       | (request.wantsFolders() ? Flags::canSelectDirectories : Flags::canSelectFiles)
                       | (request.wantsSeveral() ? Flags::canSelectMultipleItems : 0);

    // The dialog of the system tells upper case from lower no more than its disks do.
    juce::FileChooser chooser (
        request.title, saves ? folder.getChildFile (request.suggestedName) : folder, request.wildcard, true);

    if (! chooser.showDialog (flags, nullptr))
        return std::vector<juce::File>();

    const auto results = chooser.getResults();
    return std::vector<juce::File> (results.begin(), results.end());
}

} // namespace tessivar
