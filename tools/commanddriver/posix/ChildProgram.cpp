#include "tools/commanddriver/ChildProgram.h"

#include <csignal>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tessivar::test
{

namespace
{
std::vector<std::string> environmentOf (const std::map<std::string, std::string>& changes)
{
    std::vector<std::string> entries;

    for (char** entry = environ; *entry != nullptr; ++entry)
        if (const std::string text (*entry); changes.count (text.substr (0, text.find ('='))) == 0)
            entries.push_back (text);

    for (const auto& [name, value] : changes)
        if (! value.empty())
            entries.push_back (name + "=" + value);

    return entries;
}

std::vector<char*> pointersTo (std::vector<std::string>& texts)
{
    std::vector<char*> pointers;

    for (auto& text : texts)
        pointers.push_back (text.data());

    pointers.push_back (nullptr);
    return pointers;
}
} // namespace

ChildProgram::ChildProgram (const Start& start)
{
    // Everything that allocates comes before the fork: other threads may hold locks.
    auto arguments = start.arguments;
    arguments.insert (arguments.begin(), start.program);
    auto environment = environmentOf (start.environment);
    const auto argumentPointers = pointersTo (arguments), environmentPointers = pointersTo (environment);
    const auto* output = start.outputFile.empty() ? "/dev/null" : start.outputFile.c_str();
    const auto* errors = start.errorFile.empty() ? nullptr : start.errorFile.c_str();

    process = ::fork();

    if (process == 0)
    {
        ::prctl (PR_SET_PDEATHSIG, SIGKILL);
        const auto out = ::open (output, O_WRONLY | O_CREAT | O_APPEND, 0600);
        const auto in = ::open ("/dev/null", O_RDONLY);
        ::dup2 (in, STDIN_FILENO);
        ::dup2 (out, STDOUT_FILENO);
        ::dup2 (errors != nullptr ? ::open (errors, O_WRONLY | O_CREAT | O_APPEND, 0600) : out,
                STDERR_FILENO);

        if (start.inheritedDescriptor >= 0)
            ::fcntl (start.inheritedDescriptor, F_SETFD, 0);

        if (::chdir (start.workingFolder.c_str()) == 0)
            ::execve (start.program.c_str(), argumentPointers.data(), environmentPointers.data());

        ::_exit (127);
    }
}

ChildProgram::~ChildProgram()
{
    if (isRunning())
    {
        signal (SIGKILL);
        [[maybe_unused]] const auto ended = waitForEnd (5000);
    }
}

bool ChildProgram::isRunning()
{
    if (process <= 0 || end)
        return false;

    int status = 0;

    if (::waitpid (process, &status, WNOHANG) == process)
        end = WIFEXITED (status) ? WEXITSTATUS (status) : 256 + WTERMSIG (status);

    return ! end;
}

std::optional<int> ChildProgram::waitForEnd (int timeoutMs)
{
    [[maybe_unused]] const auto ended = waitUntil ([this] { return ! isRunning(); }, timeoutMs);
    return end;
}

void ChildProgram::interrupt() const
{
    signal (SIGINT);
}

void ChildProgram::signal (int signalNumber) const
{
    if (process > 0 && ! end)
        ::kill (process, signalNumber);
}

double ChildProgram::processorSeconds() const
{
    std::ifstream file ("/proc/" + std::to_string (process) + "/stat");
    std::string text;
    std::getline (file, text);
    std::istringstream fields (text.substr (std::min (text.size(), text.rfind (')') + 1)));
    std::string field;
    double ticks = 0.0;

    // utime and stime are the 12th and 13th field behind the name.
    for (int i = 1; i <= 13 && fields >> field; ++i)
        if (i >= 12)
            ticks += std::stod (field);

    return ticks / static_cast<double> (::sysconf (_SC_CLK_TCK));
}

} // namespace tessivar::test
