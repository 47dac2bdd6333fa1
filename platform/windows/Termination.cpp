#include "platform/Termination.h"

#include "platform/windows/SystemCall.h"

#include <atomic>
#include <thread>
#include <utility>

namespace tessivar
{

namespace
{
std::atomic<bool> isRequested{ false };

/** When the function that is told of these returns, the system ends the process. */
bool endsAfterwards (DWORD kind)
{
    return kind == CTRL_CLOSE_EVENT || kind == CTRL_LOGOFF_EVENT || kind == CTRL_SHUTDOWN_EVENT;
}

BOOL WINAPI note (DWORD kind)
{
    isRequested.store (true, std::memory_order_relaxed);

    // The main thread cleans up meanwhile and ends the process; the system allows it seconds.
    if (endsAfterwards (kind))
        ::Sleep (INFINITE);

    return TRUE;
}
} // namespace

void noteTerminationRequests()
{
    ::SetConsoleCtrlHandler (note, TRUE);
}

bool terminationRequested()
{
    return isRequested.load (std::memory_order_relaxed);
}

struct TerminationListener::Waiting
{
    explicit Waiting (std::function<void (int)> onRequest)
        : callback (std::move (onRequest)), requested (::CreateEventW (nullptr, FALSE, FALSE, nullptr)),
          ended (::CreateEventW (nullptr, TRUE, FALSE, nullptr))
    {
        current = this;
        thread = std::thread ([this] { run(); });
        ::SetConsoleCtrlHandler (onConsole, TRUE);
    }

    ~Waiting()
    {
        ::SetConsoleCtrlHandler (onConsole, FALSE);
        ::SetEvent (ended.get());
        thread.join();
        current = nullptr;
    }

    Waiting (const Waiting&) = delete;
    Waiting& operator= (const Waiting&) = delete;

private:
    static BOOL WINAPI onConsole (DWORD kind)
    {
        auto* const waiting = current.load();

        if (waiting == nullptr || waiting->wasTold.exchange (true))
            return FALSE;

        waiting->kindOfRequest = kind;
        ::SetEvent (waiting->requested.get());

        if (endsAfterwards (kind))
            ::Sleep (INFINITE);

        return TRUE;
    }

    static LRESULT CALLBACK onMessage (HWND window, UINT message, WPARAM first, LPARAM second)
    {
        auto* const waiting = current.load();

        // A window that doesn't show is closed by no user, but by whoever closes all of a program's.
        if (message == WM_CLOSE)
            return 0;

        if (message != WM_ENDSESSION || first == 0 || waiting == nullptr)
            return ::DefWindowProcW (window, message, first, second);

        if (! waiting->wasTold.exchange (true))
            waiting->callback ((second & ENDSESSION_LOGOFF) != 0 ? CTRL_LOGOFF_EVENT : CTRL_SHUTDOWN_EVENT);

        ::WaitForSingleObject (waiting->ended.get(), INFINITE);
        return 0;
    }

    void run()
    {
        constexpr auto name = L"Tessivar session";
        WNDCLASSEXW kind = {};
        kind.cbSize = sizeof (kind);
        kind.lpfnWndProc = onMessage;
        kind.hInstance = ::GetModuleHandleW (nullptr);
        kind.lpszClassName = name;
        ::RegisterClassExW (&kind);

        // Not one for messages alone, which hears of no logout.
        auto* const window = ::CreateWindowExW (
            0, name, name, WS_POPUP, 0, 0, 0, 0, nullptr, nullptr, kind.hInstance, nullptr);
        const HANDLE events[] = { ended.get(), requested.get() };

        for (auto isEnded = false; ! isEnded;)
        {
            const auto what =
                ::MsgWaitForMultipleObjectsEx (2, events, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
            isEnded = what == WAIT_OBJECT_0 || what == WAIT_FAILED;

            if (what == WAIT_OBJECT_0 + 1)
                callback (static_cast<int> (kindOfRequest));

            for (MSG message = {}; ::PeekMessageW (&message, nullptr, 0, 0, PM_REMOVE);)
                ::DispatchMessageW (&message);
        }

        if (window != nullptr)
            ::DestroyWindow (window);

        ::UnregisterClassW (name, kind.hInstance);
    }

    static inline std::atomic<Waiting*> current{ nullptr };

    const std::function<void (int)> callback;
    const windows::OwnedHandle requested, ended; // events
    std::atomic<DWORD> kindOfRequest{ 0 };
    std::atomic<bool> wasTold{ false };
    std::thread thread;
};

TerminationListener::TerminationListener (std::function<void (int)> onRequest)
    : waiting (std::make_unique<Waiting> (std::move (onRequest)))
{
}

TerminationListener::~TerminationListener() = default;

} // namespace tessivar
