#pragma once

#include "tools/windowdriver/XClient.h"

#include <X11/Xlib.h>

namespace tessivar::test
{

/** What the parts of XClient share. Only these include the X headers, whose macros get in everybody's way. */
struct XClient::Connection
{
    explicit Connection (const std::string& displayName);
    ~Connection();

    [[nodiscard]] ::Atom atom (const char* name) const { return ::XInternAtom (display, name, False); }
    [[nodiscard]] std::vector<unsigned long> longsOf (::Window window, const char* property) const;

    /** A message of five longs to a window; mask 0 sends it to the window's own program. */
    void
    send (::Window to, ::Window about, ::Atom type, const std::vector<long>& values, long mask = 0) const;

    /** Waits for an event while the selection is served to whoever asks. */
    template <typename Wanted>
    bool waitFor (Wanted&& isWanted, int timeoutMs);

    void serveSelection (const ::XSelectionRequestEvent& request) const;

    ::Display* display = nullptr;
    ::Window root = 0;
    ::Window dragSource = 0; // never shown
    std::string uriList;
};

} // namespace tessivar::test
