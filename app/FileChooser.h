#pragma once

#include <juce_core/juce_core.h>

#include <optional>
#include <vector>

namespace tessivar
{

/** What a file chooser is opened for. */
struct FileChooserRequest
{
    enum class Kind
    {
        openFile,
        openFiles,
        saveFile,
        chooseFolder,
        chooseFolders
    };

    juce::String title;
    juce::String wildcard; // "*.wav;*.aiff"
    Kind kind = Kind::openFile;
    juce::File startFolder;
    juce::String suggestedName; // of a file to save

    [[nodiscard]] bool wantsFolders() const
    {
        return kind == Kind::chooseFolder || kind == Kind::chooseFolders;
    }
    [[nodiscard]] bool wantsSeveral() const { return kind == Kind::openFiles || kind == Kind::chooseFolders; }
};

/** A request without a suggested name. */
[[nodiscard]] inline FileChooserRequest chooserRequest (const juce::String& title,
                                                        const char* wildcard,
                                                        FileChooserRequest::Kind kind,
                                                        const juce::String& startFolder)
{
    return { title, wildcard, kind, juce::File (startFolder), {} };
}

/** The folder, or the nearest one above it that exists; the home folder when there is none. */
[[nodiscard]] juce::File nearestFolder (juce::File folder);

/** Opens the desktop's own chooser and returns what the user chose: no file when it was cancelled, nothing at
    all where there is none. Messages are delivered meanwhile. The working directory
    stays what it is, and names keep colons, blanks and quotes. It begins in the nearest folder to startFolder
    that exists.
*/
[[nodiscard]] std::optional<std::vector<juce::File>> chooseWithDesktop (const FileChooserRequest& request);

/** A wildcard with its upper-case form beside it, parted by blanks: "*.wav *.WAV". */
[[nodiscard]] juce::String bothCases (const juce::String& wildcard);

} // namespace tessivar
