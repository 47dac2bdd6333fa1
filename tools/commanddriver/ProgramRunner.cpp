#include "tools/commanddriver/ProgramRunner.h"

#include "tools/commanddriver/ChildProgram.h"

#include <algorithm>
#include <functional>
#include <sstream>

namespace tessivar::test
{

namespace
{
constexpr int longestRun = 600000; // ms

std::string readAll (const juce::File& file)
{
    return file.loadFileAsString().toStdString();
}
} // namespace

TemporaryFolder::TemporaryFolder()
    : folder (juce::File::getSpecialLocation (juce::File::tempDirectory)
                  .getChildFile ("tessivar-cli-test-" + juce::Uuid().toString()))
{
    folder.createDirectory();
}

TemporaryFolder::~TemporaryFolder()
{
    folder.deleteRecursively();
}

std::vector<std::string> words (const std::string& line, const std::vector<std::string>& texts)
{
    std::vector<std::string> result;
    std::istringstream stream (line);
    auto text = texts.begin();

    for (std::string word; stream >> word;)
        result.push_back (word == "$" ? *text++ : word);

    return result;
}

void keepDocument (const std::string& document)
{
    const auto folder = juce::SystemStats::getEnvironmentVariable ("TESSIVAR_KEEP_DOCUMENTS", {});

    // Equal documents are kept once.
    if (folder.isNotEmpty() && ! document.empty())
        juce::File (folder)
            .getChildFile (juce::String::toHexString (std::hash<std::string>{}(document)) + ".json")
            .replaceWithData (document.data(), document.size());
}

ProgramResult runTessivar (const std::vector<std::string>& arguments,
                           const juce::File& cacheFolder,
                           const std::string& interruptAt)
{
    // Not in the cache: what Windows keeps of a console holds them open for a moment longer.
    const TemporaryFolder streams;
    const auto out = streams.child ("out"), errors = streams.child ("errors");
    const auto path = [] (const juce::File& file) { return file.getFullPathName().toStdString(); };
    ChildProgram program (
        { .program = TESSIVAR_BIN_DIR "/tessivar-cli",
          .arguments = arguments,
          .environment = { { "XDG_CACHE_HOME", path (cacheFolder) },
                           { "XDG_STATE_HOME", path (cacheFolder) },
                           { "XDG_CONFIG_HOME", path (cacheFolder.getChildFile ("config")) },
                           { "LOCALAPPDATA", path (cacheFolder) },
                           { "APPDATA", path (cacheFolder.getChildFile ("config")) },
                           { "DISPLAY", {} } },
          .outputFile = path (out),
          .errorFile = path (errors) });

    if (! interruptAt.empty()
        && waitUntil ([&] { return readAll (errors).find (interruptAt) != std::string::npos; }, longestRun))
        program.interrupt();

    const auto end = program.waitForEnd (longestRun);
    ProgramResult result{ end && *end < 256 ? *end : -1, readAll (out), readAll (errors) };

    if (std::find (arguments.begin(), arguments.end(), "--json") != arguments.end())
        keepDocument (result.out);

    return result;
}

} // namespace tessivar::test
