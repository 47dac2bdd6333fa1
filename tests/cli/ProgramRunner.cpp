#include "tests/cli/ProgramRunner.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace tessivar::test
{

namespace
{
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

ProgramResult runTessivar (const std::vector<std::string>& arguments,
                           const juce::File& cacheFolder,
                           const std::string& interruptAt)
{
    // Standard output goes to a file, so that neither side waits for a full pipe; standard error is read
    // live.
    const auto outFile = cacheFolder.getChildFile ("stdout-" + juce::Uuid().toString());
    const auto program = std::string (TESSIVAR_BIN_DIR) + "/tessivar-cli";
    const auto outPath = outFile.getFullPathName().toStdString();
    const auto cachePath = cacheFolder.getFullPathName().toStdString();

    std::vector<char*> argumentPointers{ const_cast<char*> (program.c_str()) };
    for (const auto& argument : arguments)
        argumentPointers.push_back (const_cast<char*> (argument.c_str()));
    argumentPointers.push_back (nullptr);

    int errorPipe[2] = {};
    if (pipe (errorPipe) != 0)
        return {};

    const auto child = fork();
    if (child == 0)
    {
        const int out = open (outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2 (out, STDOUT_FILENO);
        dup2 (errorPipe[1], STDERR_FILENO);
        close (errorPipe[0]);
        close (errorPipe[1]);
        setenv ("XDG_CACHE_HOME", cachePath.c_str(), 1);
        setenv ("XDG_STATE_HOME", cachePath.c_str(), 1);
        setenv ("XDG_CONFIG_HOME", (cachePath + "/config").c_str(), 1);
        unsetenv ("DISPLAY");
        if (chdir ("/") == 0)
            execv (program.c_str(), argumentPointers.data());
        _exit (127);
    }

    close (errorPipe[1]);
    ProgramResult result;
    bool interrupted = interruptAt.empty();
    char buffer[4096];
    for (auto count = read (errorPipe[0], buffer, sizeof buffer); count > 0;
         count = read (errorPipe[0], buffer, sizeof buffer))
    {
        result.diagnostics.append (buffer, static_cast<std::size_t> (count));
        if (! interrupted && result.diagnostics.find (interruptAt) != std::string::npos)
        {
            kill (child, SIGINT);
            interrupted = true;
        }
    }
    close (errorPipe[0]);

    int status = 0;
    waitpid (child, &status, 0);
    result.exitCode = WIFEXITED (status) ? WEXITSTATUS (status) : -1;
    result.out = readAll (outFile);
    outFile.deleteFile();
    return result;
}

} // namespace tessivar::test
