#include "tools/commanddriver/ChildProgram.h"

#include "platform/windows/SystemCall.h"

#include <algorithm>
#include <utility>

namespace tessivar::test
{

using windows::OwnedHandle;

namespace
{
/** Ends what is in it together with this process. */
HANDLE jobOfTest()
{
    static const auto job = []
    {
        auto* const made = ::CreateJobObjectW (nullptr, nullptr);
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        ::SetInformationJobObject (made, JobObjectExtendedLimitInformation, &limits, sizeof (limits));
        return made;
    }();
    return job;
}

/** Changes of this process's variables for as long as the object lives: what starts meanwhile has them. */
class ChangedEnvironment
{
public:
    explicit ChangedEnvironment (const std::map<std::string, std::string>& changes)
    {
        for (const auto& [name, value] : changes)
        {
            const auto wideName = windows::wideText (name);
            std::wstring old (::GetEnvironmentVariableW (wideName.c_str(), nullptr, 0), 0);
            const auto length =
                ::GetEnvironmentVariableW (wideName.c_str(), old.data(), static_cast<DWORD> (old.size()));
            old.resize (length);
            before.emplace_back (wideName, std::move (old));
            set (wideName, windows::wideText (value));
        }
    }

    ~ChangedEnvironment()
    {
        for (const auto& [name, value] : before)
            set (name, value);
    }

    JUCE_DECLARE_NON_COPYABLE (ChangedEnvironment)

private:
    static void set (const std::wstring& name, const std::wstring& value)
    {
        ::SetEnvironmentVariableW (name.c_str(), value.empty() ? nullptr : value.c_str());
    }

    std::vector<std::pair<std::wstring, std::wstring>> before;
};

OwnedHandle inheritable (const std::string& path, DWORD access, DWORD creation)
{
    SECURITY_ATTRIBUTES inherited = { sizeof (inherited), nullptr, TRUE };
    return OwnedHandle (::CreateFileW (windows::wideText (path).c_str(),
                                       access,
                                       windows::sharedWithAll,
                                       &inherited,
                                       creation,
                                       FILE_ATTRIBUTE_NORMAL,
                                       nullptr));
}

OwnedHandle fileToAppendTo (const std::string& path)
{
    return path.empty() ? inheritable ("NUL", GENERIC_WRITE, OPEN_EXISTING)
                        : inheritable (path, FILE_APPEND_DATA | SYNCHRONIZE, OPEN_ALWAYS);
}
} // namespace

ChildProgram::ChildProgram (const Start& start)
{
    juce::StringArray arguments (juce::File (start.program).getFullPathName());

    for (const auto& argument : start.arguments)
        arguments.add (pathOfBytes (argument));

    const auto input = inheritable ("NUL", GENERIC_READ, OPEN_EXISTING),
               output = fileToAppendTo (start.outputFile),
               errors = start.errorFile.empty() ? OwnedHandle() : fileToAppendTo (start.errorFile);
    STARTUPINFOW info = {};
    info.cb = sizeof (info);
    info.dwFlags = STARTF_USESTDHANDLES;
    info.hStdInput = input.get();
    info.hStdOutput = output.get();
    info.hStdError = errors ? errors.get() : output.get();
    PROCESS_INFORMATION started = {};
    auto line = windows::commandLine (arguments);
    const ChangedEnvironment environment (start.environment);

    if (::CreateProcessW (nullptr,
                          line.data(),
                          nullptr,
                          nullptr,
                          TRUE,
                          CREATE_NO_WINDOW,
                          nullptr,
                          windows::wideText (start.workingFolder).c_str(),
                          &info,
                          &started))
    {
        process = started.hProcess;
        ::AssignProcessToJobObject (jobOfTest(), process);
        ::CloseHandle (started.hThread);
    }
}

ChildProgram::~ChildProgram()
{
    const OwnedHandle owned (process);

    if (isRunning())
        ::TerminateProcess (process, 1);
}

bool ChildProgram::isRunning()
{
    return process != nullptr && ! waitForEnd (0);
}

std::optional<int> ChildProgram::waitForEnd (int timeoutMs)
{
    constexpr DWORD crashed = 256;
    DWORD code = 0;

    if (! end && ::WaitForSingleObject (process, static_cast<DWORD> (timeoutMs)) == WAIT_OBJECT_0
        && ::GetExitCodeProcess (process, &code))
        end = static_cast<int> (std::min (code, crashed));

    return end;
}

void ChildProgram::interrupt() const
{
    // Through the console of its own that the program has, and to nobody else.
    ::FreeConsole();

    if (::AttachConsole (::GetProcessId (process)))
    {
        ::SetConsoleCtrlHandler ([] (DWORD) -> BOOL { return TRUE; }, TRUE); // this process goes on
        ::GenerateConsoleCtrlEvent (CTRL_C_EVENT, 0);
        ::FreeConsole();
    }
}

} // namespace tessivar::test
