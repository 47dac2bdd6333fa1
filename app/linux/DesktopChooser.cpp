#include "app/linux/DesktopChooser.h"

#include "platform/DiskNames.h"
#include "platform/Process.h"

#include <juce_events/juce_events.h>

namespace tessivar
{

namespace
{
using Kind = FileChooserRequest::Kind;

// Between the names of several files: no name holds it.
const juce::String separator = juce::String::charToString (0x1f);

juce::File programInPath (const char* name)
{
    for (const auto& folder : juce::StringArray::fromTokens (environmentVariable ("PATH"), ":", {}))
        if (juce::File::isAbsolutePath (folder))
            if (const auto file = juce::File (folder).getChildFile (name); file.existsAsFile())
                return file;

    return {};
}

juce::String startPathOf (const FileChooserRequest& request)
{
    // With a separator behind it, or the chooser takes the folder for a file inside its parent.
    const auto folder = juce::File::addTrailingSeparator (request.startFolder.getFullPathName());
    return request.kind == Kind::saveFile ? folder + request.suggestedName : folder;
}

std::vector<juce::File> filesFrom (const juce::String& output, const juce::String& between)
{
    std::vector<juce::File> files;

    for (const auto& path : juce::StringArray::fromTokens (output, between, {}))
        if (juce::File::isAbsolutePath (path))
            files.emplace_back (path);

    return files;
}

/** Runs a chooser to its end while messages are delivered, and returns what it printed. */
juce::String outputOf (const juce::StringArray& arguments)
{
    const auto deliverMessages = []
    { return juce::MessageManager::getInstance()->runDispatchLoopUntil (20); };
    return pathOfBytes (outputOfProgram (arguments, deliverMessages).value_or (std::string()))
        .trimCharactersAtEnd ("\n");
}

} // namespace

juce::StringArray zenityArguments (const FileChooserRequest& request)
{
    juce::StringArray arguments{ "zenity", "--file-selection", "--title=" + request.title };

    if (request.kind == Kind::saveFile)
        arguments.add ("--save");

    if (request.wantsFolders())
        arguments.add ("--directory");
    else
        arguments.add ("--file-filter=" + request.wildcard + " | " + bothCases (request.wildcard));

    if (request.wantsSeveral())
    {
        arguments.add ("--multiple");
        arguments.add ("--separator=" + separator);
    }

    arguments.add ("--filename=" + startPathOf (request));
    return arguments;
}

juce::StringArray kdialogArguments (const FileChooserRequest& request)
{
    juce::StringArray arguments{ "kdialog", "--title", request.title };

    if (request.wantsSeveral())
        arguments.addArray ({ "--multiple", "--separate-output" });

    arguments.add (request.wantsFolders()           ? "--getexistingdirectory"
                   : request.kind == Kind::saveFile ? "--getsavefilename"
                                                    : "--getopenfilename");
    arguments.add (startPathOf (request));

    if (! request.wantsFolders())
        arguments.add (bothCases (request.wildcard));

    return arguments;
}

std::optional<std::vector<juce::File>> chooseWithDesktop (const FileChooserRequest& wanted)
{
    auto request = wanted;
    request.startFolder = nearestFolder (wanted.startFolder);

    // What a program is told is text, which the name of a folder need not be.
    while (bytesOfPath (request.startFolder) != request.startFolder.getFullPathName().toStdString())
        request.startFolder = request.startFolder.getParentDirectory();

    const auto zenity = programInPath ("zenity"), kdialog = programInPath ("kdialog");

    // kdialog can't choose several folders.
    const auto useKdialog = kdialog != juce::File() && request.kind != Kind::chooseFolders;
    const auto prefersKdialog = environmentVariable ("XDG_CURRENT_DESKTOP").contains ("KDE");

    if (useKdialog && (prefersKdialog || zenity == juce::File()))
        return filesFrom (outputOf (kdialogArguments (request)), "\n");

    if (zenity != juce::File())
        return filesFrom (outputOf (zenityArguments (request)),
                          request.wantsSeveral() ? separator : juce::String());

    return {};
}

} // namespace tessivar
