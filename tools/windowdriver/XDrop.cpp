#include "tools/windowdriver/XConnection.h"

#include <X11/Xatom.h>

#include <poll.h>

namespace tessivar::test
{

namespace
{
constexpr long xdndVersion = 3; // what the program's toolkit speaks
constexpr int resendMs = 1500;
constexpr auto fileType = "text/uri-list";
constexpr auto unknownType = "application/x-tessivar-heartbeat";

double now()
{
    return juce::Time::getMillisecondCounterHiRes();
}

std::string uriOf (const juce::String& path)
{
    std::string uri = "file://";

    for (const auto* byte = path.toRawUTF8(); *byte != 0; ++byte)
    {
        const auto character = static_cast<unsigned char> (*byte);
        const auto isPlain = std::isalnum (character) != 0 || character == '/' || character == '.'
                             || character == '-' || character == '_';

        if (isPlain)
            uri.push_back (*byte);
        else
            uri.append (("%" + juce::String::toHexString (character).paddedLeft ('0', 2)).toRawUTF8());
    }

    return uri;
}

long packed (juce::Point<int> position)
{
    return (static_cast<long> (position.x) << 16) | position.y;
}
} // namespace

void XClient::Connection::serveSelection (const ::XSelectionRequestEvent& request) const
{
    ::XEvent answer{};
    answer.xselection.type = SelectionNotify;
    answer.xselection.requestor = request.requestor;
    answer.xselection.selection = request.selection;
    answer.xselection.target = request.target;
    answer.xselection.time = request.time;

    if (request.target == atom (fileType))
    {
        answer.xselection.property = request.property;
        ::XChangeProperty (display,
                           request.requestor,
                           request.property,
                           request.target,
                           8,
                           PropModeReplace,
                           reinterpret_cast<const unsigned char*> (uriList.data()),
                           static_cast<int> (uriList.size()));
    }

    ::XSendEvent (display, request.requestor, False, 0, &answer);
    ::XFlush (display);
}

template <typename Wanted>
bool XClient::Connection::waitFor (Wanted&& isWanted, int timeoutMs)
{
    const auto end = now() + timeoutMs;

    for (;;)
    {
        while (::XPending (display) > 0)
        {
            ::XEvent event{};
            ::XNextEvent (display, &event);

            if (event.type == SelectionRequest)
                serveSelection (event.xselectionrequest);
            else if (isWanted (event))
                return true;
        }

        const auto left = end - now();
        pollfd entry{ ConnectionNumber (display), POLLIN, 0 };

        if (left <= 0.0 || ::poll (&entry, 1, std::max (1, static_cast<int> (left))) < 0)
            return false;
    }
}

bool XClient::drop (Window window, juce::Point<int> position, const juce::StringArray& paths, int timeoutMs)
{
    x->uriList.clear();

    for (const auto& path : paths)
        x->uriList += uriOf (path) + "\r\n";

    const auto source = static_cast<long> (x->dragSource);
    const auto selection = x->atom ("XdndSelection");
    const auto status = x->atom ("XdndStatus"), finished = x->atom ("XdndFinished");
    const auto copy = static_cast<long> (x->atom ("XdndActionCopy"));
    ::XSetSelectionOwner (x->display, selection, x->dragSource, CurrentTime);
    moveTo (position);

    const auto sendPosition = [&] (juce::Point<int> place) {
        x->send (window, window, x->atom ("XdndPosition"), { source, 0, packed (place), CurrentTime, copy });
    };
    const auto isStatus = [&] (const ::XEvent& event)
    { return event.type == ClientMessage && event.xclient.message_type == status; };

    x->send (window,
             window,
             x->atom ("XdndEnter"),
             { source, xdndVersion << 24, static_cast<long> (x->atom (fileType)), 0, 0 });

    // A pointer that comes in and goes on, as it does under a hand. An entry is answered as a place is.
    for (const auto place : { position.translated (-6, -6), position.translated (-2, -2), position })
    {
        auto answered = false;

        // An answer is lost now and then on its way.
        for (int waited = 0; ! answered && waited < timeoutMs; waited += resendMs)
        {
            sendPosition (place);
            answered = x->waitFor (isStatus, resendMs);
        }

        if (! answered)
            return false;
    }

    x->send (window, window, x->atom ("XdndDrop"), { source, 0, CurrentTime, 0, 0 });
    return x->waitFor ([&] (const ::XEvent& event)
                       { return event.type == ClientMessage && event.xclient.message_type == finished; },
                       timeoutMs);
}

std::optional<double> XClient::heartbeat (Window window, int timeoutMs)
{
    // Answers to earlier messages that came too late.
    while (::XPending (x->display) > 0)
    {
        ::XEvent event{};
        ::XNextEvent (x->display, &event);

        if (event.type == SelectionRequest)
            x->serveSelection (event.xselectionrequest);
    }

    const auto source = static_cast<long> (x->dragSource);
    const auto status = x->atom ("XdndStatus");
    const auto isStatus = [&] (const ::XEvent& event)
    { return event.type == ClientMessage && event.xclient.message_type == status; };
    const auto first = now();
    auto last = first;
    auto answered = false;
    auto sent = 0;

    while (! answered && now() - first < timeoutMs)
    {
        last = now();
        ++sent;
        x->send (window,
                 window,
                 x->atom ("XdndEnter"),
                 { source, xdndVersion << 24, static_cast<long> (x->atom (unknownType)), 0, 0 });
        answered = x->waitFor (isStatus, std::min (resendMs, timeoutMs));
    }

    const auto answeredAt = now();

    // An answer is lost now and then on its way. A program that was away gives all of them when it is back.
    const auto wasAway = sent > 1 && x->waitFor (isStatus, 100);
    const auto duration = answeredAt - (wasAway ? first : last);
    x->send (window, window, x->atom ("XdndLeave"), { source, 0, 0, 0, 0 });
    return answered ? std::optional<double> (duration) : std::nullopt;
}

} // namespace tessivar::test
