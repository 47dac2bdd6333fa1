#include "tests/support/RepeatedRun.h"

#define CATCH_CONFIG_EXTERNAL_INTERFACES
#include <catch2/catch.hpp>

#include <cstdlib>
#include <sstream>

#ifndef NOMINMAX
    #define NOMINMAX
#endif
#include <windows.h>

namespace tessivar::test
{

namespace
{
constexpr auto numberVariable = "TESSIVAR_TEST_PROCESS", foldersVariable = "TESSIVAR_TEST_FOLDERS";

const char* variable (const char* name)
{
    const auto* const value = std::getenv (name);
    return value != nullptr ? value : "";
}

/** The number of the process that this one was started to be; 0: none. */
int wantedNumber()
{
    static const auto number = std::atoi (variable (numberVariable));
    return number;
}

std::string quoted (const std::string& text)
{
    std::string result = "\"";

    for (const auto character : text)
        result += character == '"' ? std::string ("\\\"") : std::string (1, character);

    return result + "\"";
}

/** A name as the runner's pattern for it alone. */
std::string pattern (const std::string& name)
{
    std::string result;

    for (const auto character : name)
        result +=
            std::string (character == ',' || character == '[' || character == '\\' ? "\\" : "") + character;

    return result;
}

class Listener : public Catch::TestEventListenerBase
{
public:
    using TestEventListenerBase::TestEventListenerBase;

    void sectionStarting (const Catch::SectionInfo& info) override
    {
        TestEventListenerBase::sectionStarting (info);

        if (depth++ == 0)
            RepeatedRun::current().beginTest (info.name);
        else
            RepeatedRun::current().beginSection (info.name);
    }

    void sectionEnded (const Catch::SectionStats& stats) override
    {
        TestEventListenerBase::sectionEnded (stats);
        --depth;
    }

private:
    int depth = 0;
};

CATCH_REGISTER_LISTENER (Listener)
} // namespace

RepeatedRun& RepeatedRun::current()
{
    static RepeatedRun run;
    return run;
}

void RepeatedRun::beginTest (const std::string& name)
{
    test = name;
    sections.clear();
    folders.clear();
    numStarted = 0;
}

std::string RepeatedRun::folder (const std::string& suggested, bool& isOwn)
{
    std::istringstream known (variable (foldersVariable));
    std::string path;

    for (std::size_t i = 0; i <= folders.size(); ++i)
        path.clear(), std::getline (known, path, '|');

    isOwn = path.empty();
    folders.push_back (isOwn ? suggested : path);
    return folders.back();
}

std::unique_ptr<RepeatedRun::Process> RepeatedRun::start (const std::function<int()>& work)
{
    const auto number = ++numStarted;

    if (number == wantedNumber())
        ::TerminateProcess (::GetCurrentProcess(), static_cast<UINT> (work()));

    if (wantedNumber() > 0)
        return std::make_unique<Process> (nullptr);

    char program[MAX_PATH] = {};
    ::GetModuleFileNameA (nullptr, program, MAX_PATH);
    auto line = quoted (program) + " " + quoted (pattern (test));

    for (const auto& section : sections)
        line += " -c " + quoted (section);

    std::string list;

    for (const auto& path : folders)
        list += path + "|";

    ::SetEnvironmentVariableA (numberVariable, std::to_string (number).c_str());
    ::SetEnvironmentVariableA (foldersVariable, list.c_str());
    STARTUPINFOA info = {};
    info.cb = sizeof (info);
    info.dwFlags = STARTF_USESTDHANDLES; // none
    PROCESS_INFORMATION process = {};
    const auto isStarted = ::CreateProcessA (
        nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &info, &process);
    ::SetEnvironmentVariableA (numberVariable, nullptr);
    ::SetEnvironmentVariableA (foldersVariable, nullptr);
    REQUIRE (isStarted);
    ::CloseHandle (process.hThread);
    return std::make_unique<Process> (process.hProcess);
}

RepeatedRun::Process::~Process()
{
    if (handle != nullptr)
        ::CloseHandle (handle);
}

int RepeatedRun::Process::pid() const
{
    return static_cast<int> (::GetProcessId (handle));
}

int RepeatedRun::Process::wait()
{
    DWORD code = 0;

    if (handle != nullptr)
    {
        ::WaitForSingleObject (handle, INFINITE);
        ::GetExitCodeProcess (handle, &code);
    }

    return static_cast<int> (code);
}

bool RepeatedRun::Process::kill()
{
    constexpr UINT killed = 256 + 9;

    if (handle != nullptr)
        ::TerminateProcess (handle, killed);

    return handle == nullptr || wait() == static_cast<int> (killed);
}

} // namespace tessivar::test
