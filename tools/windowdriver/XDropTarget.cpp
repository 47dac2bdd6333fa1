#include "tools/windowdriver/XDropTarget.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

namespace tessivar::test
{

namespace
{
constexpr long xdndVersion = 5;
constexpr long mostLongs = 65536; // of a list of files
constexpr int pollMs = 2;
} // namespace

struct XDropTarget::Connection
{
    Connection (const std::string& displayName, juce::Rectangle<int> bounds)
        : display (::XOpenDisplay (displayName.c_str()))
    {
        if (display == nullptr)
            return;

        // Without a frame, above everything else.
        ::XSetWindowAttributes attributes{};
        attributes.override_redirect = True;
        window = ::XCreateWindow (display,
                                  DefaultRootWindow (display),
                                  bounds.getX(),
                                  bounds.getY(),
                                  static_cast<unsigned> (bounds.getWidth()),
                                  static_cast<unsigned> (bounds.getHeight()),
                                  0,
                                  CopyFromParent,
                                  InputOutput,
                                  nullptr,
                                  CWOverrideRedirect,
                                  &attributes);
        const long version = xdndVersion;
        ::XChangeProperty (display,
                           window,
                           atom ("XdndAware"),
                           XA_ATOM,
                           32,
                           PropModeReplace,
                           reinterpret_cast<const unsigned char*> (&version),
                           1);
        ::XMapRaised (display, window);
        ::XFlush (display);
        thread = std::thread ([this] { run(); });
    }

    ~Connection()
    {
        shouldEnd = true;

        if (thread.joinable())
            thread.join();

        if (display != nullptr)
            ::XCloseDisplay (display);
    }

    [[nodiscard]] ::Atom atom (const char* name) const { return ::XInternAtom (display, name, False); }

    void run()
    {
        while (! shouldEnd)
        {
            while (::XPending (display) > 0)
            {
                ::XEvent event{};
                ::XNextEvent (display, &event);

                if (event.type == ClientMessage)
                    handle (event.xclient);
                else if (event.type == SelectionNotify)
                    takeSelection (event.xselection);
            }

            std::this_thread::sleep_for (std::chrono::milliseconds (pollMs));
        }
    }

    void answer (const char* type, long flags, ::Atom action) const
    {
        ::XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.window = source;
        event.xclient.message_type = atom (type);
        event.xclient.format = 32;
        event.xclient.data.l[0] = static_cast<long> (window);
        event.xclient.data.l[1] = flags;
        event.xclient.data.l[type == std::string ("XdndStatus") ? 4 : 2] = static_cast<long> (action);
        ::XSendEvent (display, source, False, 0, &event);
        ::XFlush (display);
    }

    void handle (const ::XClientMessageEvent& message)
    {
        if (message.message_type == atom ("XdndEnter"))
        {
            source = static_cast<::Window> (message.data.l[0]);
            ++entered;
        }
        else if (message.message_type == atom ("XdndLeave"))
        {
            source = 0;
            ++left;
        }
        // Who was not announced gets no answer.
        else if (static_cast<::Window> (message.data.l[0]) != source || source == 0)
            return;
        else if (message.message_type == atom ("XdndPosition"))
            answer ("XdndStatus", 3, atom ("XdndActionCopy"));
        else if (message.message_type == atom ("XdndDrop"))
        {
            ::XConvertSelection (display,
                                 atom ("XdndSelection"),
                                 atom ("text/uri-list"),
                                 atom ("DROPPED"),
                                 window,
                                 static_cast<::Time> (message.data.l[2]));
            ::XFlush (display);
        }
    }

    void takeSelection (const ::XSelectionEvent& event)
    {
        ::Atom type = 0;
        int format = 0;
        unsigned long count = 0, rest = 0;
        unsigned char* data = nullptr;
        std::string list;

        if (event.property != None
            && ::XGetWindowProperty (display,
                                     window,
                                     event.property,
                                     0,
                                     mostLongs,
                                     True,
                                     AnyPropertyType,
                                     &type,
                                     &format,
                                     &count,
                                     &rest,
                                     &data)
                   == Success
            && data != nullptr)
        {
            list.assign (reinterpret_cast<const char*> (data), count);
            ::XFree (data);
        }

        answer ("XdndFinished", 1, atom ("XdndActionCopy"));
        const std::lock_guard lock (listLock);
        dropped = list;
    }

    ::Display* display = nullptr;
    ::Window window = 0, source = 0;
    std::atomic<bool> shouldEnd{ false };
    std::atomic<int> entered{ 0 }, left{ 0 };
    std::mutex listLock; // guards dropped
    std::optional<std::string> dropped;
    std::thread thread;
};

XDropTarget::XDropTarget (const std::string& displayName, juce::Rectangle<int> bounds)
    : x (std::make_unique<Connection> (displayName, bounds))
{
}

XDropTarget::~XDropTarget() = default;

bool XDropTarget::isConnected() const
{
    return x->display != nullptr;
}

std::optional<std::string> XDropTarget::takeDropped() const
{
    const std::lock_guard lock (x->listLock);
    return std::exchange (x->dropped, std::nullopt);
}

int XDropTarget::numEntered() const
{
    return x->entered;
}

int XDropTarget::numLeft() const
{
    return x->left;
}

} // namespace tessivar::test
