#pragma once

#include <juce_core/juce_core.h>

#include <string>
#include <vector>

namespace tessivar::test
{

/** A folder of its own, gone with the object. */
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();

    TemporaryFolder (const TemporaryFolder&) = delete;
    TemporaryFolder& operator= (const TemporaryFolder&) = delete;

    /** A file inside. Not by getChildFile, which takes a name that begins with "~" for a path of its own. */
    [[nodiscard]] juce::File child (const juce::String& name) const
    {
        return juce::File (folder.getFullPathName() + "/" + name);
    }

    [[nodiscard]] std::string path (const juce::String& name = {}) const
    {
        return child (name).getFullPathName().toStdString();
    }

    const juce::File folder;
};

/** The words of a command line, apart at spaces; each "$" is the next of these texts, spaces and all. */
[[nodiscard]] std::vector<std::string> words (const std::string& line,
                                              const std::vector<std::string>& texts = {});

struct ProgramResult
{
    int exitCode = -1; // -1: ended by a signal
    std::string out;
    std::string diagnostics;
};

/** Keeps a JSON document of the program for the test "documents", which checks all of them against the
    schema: in the folder that TESSIVAR_KEEP_DOCUMENTS in the environment names. Without it nothing is kept.
*/
void keepDocument (const std::string& document);

/** Runs tessivar-cli to its end, with its cache and its state below cacheFolder, the user's settings in its
    folder "config" and the working directory "/". Keeps the document that "--json" prints.

    @param interruptAt  when not empty: an interrupt is sent as soon as this text appears on standard error
*/
[[nodiscard]] ProgramResult runTessivar (const std::vector<std::string>& arguments,
                                         const juce::File& cacheFolder,
                                         const std::string& interruptAt = {});

} // namespace tessivar::test
