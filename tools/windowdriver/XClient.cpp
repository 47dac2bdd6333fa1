#include "tools/windowdriver/XConnection.h"

#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <sstream>

namespace tessivar::test
{

namespace
{
/** A window that went meanwhile is no reason to end the test program. */
int ignoreError (::Display*, ::XErrorEvent*)
{
    return 0;
}

/** The pointer trembles, as under a hand. The toolkit handles events that it read along with a reply only
    when new ones come in, which on a still screen is never.
*/
void tremble (::Display* display)
{
    juce::Thread::sleep (20);

    for (const auto step : { 1, -1 })
    {
        ::XTestFakeRelativeMotionEvent (display, step, 0, CurrentTime);
        ::XFlush (display);
        juce::Thread::sleep (20);
    }
}

::KeySym modifierNamed (const std::string& name)
{
    if (name == "ctrl")
        return XK_Control_L;

    if (name == "shift")
        return XK_Shift_L;

    return name == "alt" ? XK_Alt_L : NoSymbol;
}
} // namespace

XClient::Connection::Connection (const std::string& displayName)
    : display (::XOpenDisplay (displayName.c_str()))
{
    ::XSetErrorHandler (&ignoreError);

    if (display == nullptr)
        return;

    root = DefaultRootWindow (display);
    dragSource = ::XCreateSimpleWindow (display, root, 0, 0, 1, 1, 0, 0, 0);
    ::XFlush (display);
}

XClient::Connection::~Connection()
{
    if (display != nullptr)
        ::XCloseDisplay (display);
}

std::vector<unsigned long> XClient::Connection::longsOf (::Window window, const char* property) const
{
    ::Atom type = 0;
    int format = 0;
    unsigned long count = 0, left = 0;
    unsigned char* data = nullptr;
    std::vector<unsigned long> values;

    if (::XGetWindowProperty (display,
                              window,
                              atom (property),
                              0,
                              4096,
                              False,
                              AnyPropertyType,
                              &type,
                              &format,
                              &count,
                              &left,
                              &data)
            == 0
        && data != nullptr)
    {
        const auto* longs = reinterpret_cast<const unsigned long*> (data);

        if (format == 32)
            values.assign (longs, longs + count);

        ::XFree (data);
    }

    return values;
}

void XClient::Connection::send (
    ::Window to, ::Window about, ::Atom type, const std::vector<long>& values, long mask) const
{
    ::XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = about;
    event.xclient.message_type = type;
    event.xclient.format = 32;

    for (std::size_t i = 0; i < values.size() && i < 5; ++i)
        event.xclient.data.l[i] = values[i];

    ::XSendEvent (display, to, False, mask, &event);
    ::XFlush (display);
}

//==============================================================================

XClient::XClient (const std::string& displayName) : x (std::make_unique<Connection> (displayName)) {}
XClient::~XClient() = default;

bool XClient::isConnected() const
{
    return x->display != nullptr;
}

bool XClient::hasWindowManager() const
{
    return ! x->longsOf (x->root, "_NET_SUPPORTING_WM_CHECK").empty();
}

std::vector<XClient::Window> XClient::windows() const
{
    return x->longsOf (x->root, "_NET_CLIENT_LIST");
}

std::string XClient::titleOf (Window window) const
{
    ::XTextProperty name{};
    std::string title;

    // As UTF-8, whichever type the program gave it.
    if (::XGetTextProperty (x->display, window, &name, XA_WM_NAME) != 0 && name.value != nullptr)
    {
        title.assign (reinterpret_cast<const char*> (name.value), name.nitems);
        ::XFree (name.value);
    }

    return title;
}

juce::Rectangle<int> XClient::boundsOf (Window window) const
{
    ::XWindowAttributes attributes{};
    ::Window child = 0;
    int left = 0, top = 0;

    if (::XGetWindowAttributes (x->display, window, &attributes) == 0
        || ::XTranslateCoordinates (x->display, window, x->root, 0, 0, &left, &top, &child) == 0)
        return {};

    return { left, top, attributes.width, attributes.height };
}

void XClient::bringToFront (Window window) const
{
    x->send (x->root,
             window,
             x->atom ("_NET_ACTIVE_WINDOW"),
             { 2, 0, 0 },
             SubstructureRedirectMask | SubstructureNotifyMask);
}

void XClient::askToClose (Window window) const
{
    x->send (x->root,
             window,
             x->atom ("_NET_CLOSE_WINDOW"),
             { 0, 2 },
             SubstructureRedirectMask | SubstructureNotifyMask);
}

//==============================================================================

void XClient::key (const std::string& combination) const
{
    std::vector<::KeyCode> codes;
    std::istringstream parts (combination);
    std::string part;

    while (std::getline (parts, part, '+'))
    {
        const auto modifier = modifierNamed (part);
        const auto symbol = modifier != NoSymbol ? modifier : ::XStringToKeysym (part.c_str());

        if (const auto code = ::XKeysymToKeycode (x->display, symbol); code != 0)
            codes.push_back (code);
    }

    for (const auto code : codes)
        ::XTestFakeKeyEvent (x->display, code, True, CurrentTime);

    // Held for as long as a quick hand holds it.
    ::XFlush (x->display);
    juce::Thread::sleep (15);

    for (auto code = codes.rbegin(); code != codes.rend(); ++code)
        ::XTestFakeKeyEvent (x->display, *code, False, CurrentTime);

    ::XFlush (x->display);
    tremble (x->display);
}

void XClient::type (const std::string& text) const
{
    const auto shift = ::XKeysymToKeycode (x->display, XK_Shift_L);

    for (const auto character : text)
    {
        // The symbols of printable ASCII are its codes.
        const auto symbol = static_cast<::KeySym> (static_cast<unsigned char> (character));
        const auto code = ::XKeysymToKeycode (x->display, symbol);
        const auto isShifted = ::XkbKeycodeToKeysym (x->display, code, 0, 0) != symbol;

        if (isShifted)
            ::XTestFakeKeyEvent (x->display, shift, True, CurrentTime);

        ::XTestFakeKeyEvent (x->display, code, True, CurrentTime);
        ::XTestFakeKeyEvent (x->display, code, False, CurrentTime);

        if (isShifted)
            ::XTestFakeKeyEvent (x->display, shift, False, CurrentTime);
    }

    ::XFlush (x->display);
}

void XClient::moveTo (juce::Point<int> position) const
{
    ::XTestFakeMotionEvent (x->display, -1, position.x, position.y, CurrentTime);
    ::XFlush (x->display);
}

void XClient::press (int button) const
{
    ::XTestFakeButtonEvent (x->display, static_cast<unsigned> (button), True, CurrentTime);
    ::XFlush (x->display);
}

void XClient::release (int button) const
{
    ::XTestFakeButtonEvent (x->display, static_cast<unsigned> (button), False, CurrentTime);
    ::XFlush (x->display);
}

void XClient::click (juce::Point<int> position, int button) const
{
    moveTo (position);
    press (button);
    release (button);
    tremble (x->display);
}

void XClient::drag (juce::Point<int> from, juce::Point<int> to, int steps) const
{
    moveTo (from);
    press();

    for (int i = 1; i <= steps; ++i)
    {
        moveTo (from + (to - from) * i / steps);
        juce::Thread::sleep (10);
    }

    release();
}

juce::Image XClient::picture (Window window) const
{
    const auto bounds = boundsOf (window);

    if (bounds.isEmpty())
        return {};

    // From the root window: what a user sees, with all that lies above; black beyond the screen.
    const juce::Rectangle<int> screen (DisplayWidth (x->display, DefaultScreen (x->display)),
                                       DisplayHeight (x->display, DefaultScreen (x->display)));
    const auto visible = bounds.getIntersection (screen);
    auto* seen = visible.isEmpty() ? nullptr
                                   : ::XGetImage (x->display,
                                                  x->root,
                                                  visible.getX(),
                                                  visible.getY(),
                                                  static_cast<unsigned> (visible.getWidth()),
                                                  static_cast<unsigned> (visible.getHeight()),
                                                  AllPlanes,
                                                  ZPixmap);

    if (seen == nullptr)
        return {};

    juce::Image image (juce::Image::RGB, bounds.getWidth(), bounds.getHeight(), true);
    juce::Image::BitmapData pixels (image, juce::Image::BitmapData::writeOnly);
    const auto offset = visible.getPosition() - bounds.getPosition();

    for (int y = 0; y < visible.getHeight(); ++y)
        for (int column = 0; column < visible.getWidth(); ++column)
            pixels.setPixelColour (
                offset.x + column,
                offset.y + y,
                juce::Colour (0xff000000U | static_cast<juce::uint32> (XGetPixel (seen, column, y))));

    XDestroyImage (seen);
    return image;
}

} // namespace tessivar::test
