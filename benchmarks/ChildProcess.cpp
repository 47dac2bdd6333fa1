#include "benchmarks/ChildProcess.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tessivar::benchmarks
{

namespace
{
namespace fs = std::filesystem;

/** The number behind a label such as "VmHWM:" in a file of /proc; 0 when there is none. */
double numberIn (const std::string& path, const std::string& label)
{
    std::ifstream file (path);
    std::string word;
    double value = 0;

    while (file >> word)
        if (word == label && file >> value)
            return value;

    return 0.0;
}

/** Bytes of blocks of the files below folder, and of those that process has open there but has deleted. */
double diskBytes (const std::string& folder, const std::string& process)
{
    auto numBlocks = 0.0; // of 512 bytes
    struct stat status
    {
    }, top{};

    if (stat (folder.c_str(), &top) != 0)
        return 0.0;

    std::error_code gone; // files disappear while we look
    const auto options = fs::directory_options::skip_permission_denied;

    for (fs::recursive_directory_iterator entry (folder, options, gone), end; ! gone && entry != end;
         entry.increment (gone))
        if (lstat (entry->path().c_str(), &status) == 0 && S_ISREG (status.st_mode))
            numBlocks += static_cast<double> (status.st_blocks);

    std::vector<ino_t> counted;

    for (fs::directory_iterator entry (process + "/fd", options, gone), end; ! gone && entry != end;
         entry.increment (gone))
        if (stat (entry->path().c_str(), &status) == 0 && S_ISREG (status.st_mode) && status.st_nlink == 0
            && status.st_dev == top.st_dev
            && std::find (counted.begin(), counted.end(), status.st_ino) == counted.end())
        {
            counted.push_back (status.st_ino);
            numBlocks += static_cast<double> (status.st_blocks);
        }

    return 512.0 * numBlocks;
}

pid_t start (const std::string& program, std::vector<std::string> words, const int (&ends)[2])
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init (&actions);
    posix_spawn_file_actions_adddup2 (&actions, ends[1], STDOUT_FILENO);
    words.insert (words.begin(), program);
    std::vector<char*> pointers (words.size() + 1, nullptr); // ends with a null pointer
    std::transform (
        words.begin(), words.end(), pointers.begin(), [] (std::string& word) { return word.data(); });
    pid_t child = 0;
    const auto error = posix_spawn (&child, program.c_str(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy (&actions);
    close (ends[1]);

    if (error != 0)
    {
        close (ends[0]);
        throw std::runtime_error (program + ": " + std::strerror (error));
    }

    return child;
}
} // namespace

ChildRun runChild (const std::string& program,
                   const std::vector<std::string>& arguments,
                   const std::string& watchedFolder)
{
    int ends[2];

    if (pipe2 (ends, O_CLOEXEC) != 0)
        throw std::runtime_error (std::string ("no pipe: ") + std::strerror (errno));

    ChildRun run;
    const auto started = currentTime().wall;
    const auto child = start (program, arguments, ends);
    const auto process = "/proc/" + std::to_string (child);

    // Standard output ends with the program.
    for (pollfd waiting{ ends[0], POLLIN, 0 };;)
    {
        char buffer[4096];
        constexpr int lookMilliseconds = 10;

        if (poll (&waiting, 1, lookMilliseconds) > 0)
        {
            const auto n = ::read (ends[0], buffer, sizeof (buffer));

            if (n <= 0)
                break;

            run.output.append (buffer, static_cast<std::size_t> (n));
        }

        run.peakMemory = std::max (run.peakMemory, 1024.0 * numberIn (process + "/status", "VmHWM:"));
        run.peakDisk = std::max (run.peakDisk, diskBytes (watchedFolder, process));
    }

    close (ends[0]);
    siginfo_t info{};
    waitid (P_PID, static_cast<id_t> (child), &info, WEXITED | WNOWAIT); // its counters are there until wait4
    run.duration.wall = currentTime().wall - started;
    run.bytesRead = numberIn (process + "/io", "rchar:");
    run.bytesWritten = numberIn (process + "/io", "wchar:");
    run.bytesDirtied = numberIn (process + "/io", "write_bytes:");
    int status = 0;
    rusage usage{};

    if (wait4 (child, &status, 0, &usage) < 0 || status != 0)
        throw std::runtime_error (program + (arguments.empty() ? "" : " " + arguments.front())
                                  + " failed, status " + std::to_string (status));

    run.duration.user = secondsOf (usage.ru_utime);
    run.duration.system = secondsOf (usage.ru_stime);
    return run;
}

TemporaryFolder::TemporaryFolder (const std::string& parent) : path (parent + "/tessivar-benchmark-XXXXXX")
{
    if (mkdtemp (path.data()) == nullptr)
        throw std::runtime_error (parent + ": no folder can be made in it: " + std::strerror (errno));
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all (path, ignored);
}

} // namespace tessivar::benchmarks
