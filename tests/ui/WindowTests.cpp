#include "tests/ui/GallerySamples.h"
#include "tests/ui/Snapshots.h"

#include "ui/Palette.h"
#include "ui/browser/BrowserView.h"
#include "ui/dialogs/MessageDialog.h"
#include "ui/dock/SettingDock.h"

#include <catch2/catch.hpp>

#include <cstdlib>

// What needs a real window: keyboard focus, text fields, and names for screen readers. The program hides the display from
// all other tests; the one for these, which are best run alone ("[window]"), is named in TESSIVAR_TEST_DISPLAY. Without it
// these cases say so and pass.

namespace tessivar
{
namespace
{

constexpr auto displayVariable = "TESSIVAR_TEST_DISPLAY";

bool hasDisplay()
{
    if (juce::SystemStats::getEnvironmentVariable (displayVariable, {}).isNotEmpty())
        return true;
    WARN ("no display: the cases that need a window are left out");
    return false;
}

/** Shows the toolkit the display for these tests, and takes it away again. */
struct OnDisplay
{
    OnDisplay() : hidden (juce::SystemStats::getEnvironmentVariable ("DISPLAY", {}))
    {
        const auto display = juce::SystemStats::getEnvironmentVariable (displayVariable, {});
        ::setenv ("DISPLAY", display.toRawUTF8(), 1);
    }
    ~OnDisplay() { ::setenv ("DISPLAY", hidden.toRawUTF8(), 1); }

    const juce::String hidden;
};

/** Only for what it takes to be an application does the toolkit catch errors of the X server, which may have no window
    manager and then refuses some hints. Has to stand before the toolkit first asks for the display.
*/
struct AsApplication
{
    AsApplication()
    {
        juce::JUCEApplicationBase::createInstance = []() -> juce::JUCEApplicationBase* { return nullptr; };
    }
};

/** A window of the toolkit with the program's look, on the screen for as long as a test runs. */
struct WindowFixture : OnDisplay, AsApplication, test::PaintingFixture
{
    WindowFixture()
    {
        window.setSize (1024, 640);
        window.addToDesktop (0);
        window.setVisible (true);
        window.toFront (true);
        // A window manager takes its time to hand over the keyboard.
        for (int tries = 0; tries < 40 && ! window.getPeer()->isFocused(); ++tries)
        {
            settle();
            window.toFront (true);
        }
        settle();
    }

    void settle (int milliseconds = 60) const
    {
        juce::MessageManager::getInstance()->runDispatchLoopUntil (milliseconds);
    }

    void type (const juce::String& text) const
    {
        for (auto character : text)
            press (juce::KeyPress (static_cast<int> (character), {}, character));
    }

    void press (const juce::KeyPress& key) const { window.getPeer()->handleKeyPress (key); }

    juce::Component window;
};

const juce::KeyPress enter (juce::KeyPress::returnKey);
const juce::KeyPress escape (juce::KeyPress::escapeKey);

} // namespace

TEST_CASE ("Keyboard in a window", "[ui][window]")
{
    if (! hasDisplay())
        return;
    WindowFixture fixture;

    SECTION ("a dialog has the focus on its safe side, keeps Tab inside and gives the focus back")
    {
        juce::TextEditor before;
        fixture.window.addAndMakeVisible (before);
        before.setBounds (0, 0, 100, 30);
        before.grabKeyboardFocus();
        fixture.settle();
        REQUIRE (before.hasKeyboardFocus (true));

        DialogScrim scrim;
        fixture.window.addChildComponent (scrim);
        scrim.setBounds (fixture.window.getLocalBounds());
        std::vector<bool> answers;
        scrim.show (makeQuestionDialog (fixture.images,
                                        "Warning",
                                        "Do you want to overwrite previously exported files?",
                                        "Overwrite",
                                        "Cancel",
                                        ButtonLook::caution,
                                        [&] (bool answer) { answers.push_back (answer); }));
        fixture.settle (200);
        const auto& cancel = scrim.getTop()->getButton (1);
        CHECK (cancel.hasKeyboardFocus (true));
        // The ring lies 2 to 4 px outside the button.
        const auto ring = fixture.window.getLocalArea (&cancel, cancel.getLocalBounds().expanded (3));
        CHECK (test::isNear (test::snapshot (fixture.window).getPixelAt (ring.getX(), ring.getCentreY()),
                             palette::ice));
        fixture.press (juce::KeyPress (juce::KeyPress::tabKey));
        CHECK (scrim.getTop()->getButton (0).hasKeyboardFocus (true));
        fixture.press (juce::KeyPress (juce::KeyPress::tabKey));
        CHECK_FALSE (before.hasKeyboardFocus (true));
        fixture.press (escape);
        fixture.settle();
        CHECK (answers == std::vector<bool>{ false });
        CHECK (before.hasKeyboardFocus (true));
    }

    SECTION ("a percentage is typed over a knob's label: Enter keeps it, Escape drops it")
    {
        SettingDock dock (fixture.images);
        fixture.window.addAndMakeVisible (dock);
        dock.setBounds (0, 0, 935, 202);
        dock.setState (test::dockSample());
        std::vector<float> heard;
        dock.onFocusChange = [&] (float value) { heard.push_back (value); };

        dock.getFocus().typeValue();
        fixture.settle();
        fixture.type ("4x0");
        // While the editor is open nothing fades.
        for (int tick = 0; tick < 100; ++tick)
            dock.fadeTick();
        CHECK (dock.getFocus().getLabel().isVisible());
        fixture.press (enter);
        fixture.settle();
        REQUIRE (heard.size() == 1);
        CHECK (heard[0] == Approx (2.0f));

        dock.getFocus().typeValue();
        fixture.settle();
        fixture.type ("90");
        fixture.press (escape);
        fixture.settle();
        CHECK (heard.size() == 1);
        CHECK (dock.getFocus().getLabel().getText() == "40%");
        CHECK (dock.getFocus()
                   .getKnob()
                   .getAccessibilityHandler()
                   ->getValueInterface()
                   ->getCurrentValueAsString()
               == "40 percent");
    }

    SECTION ("a group is renamed in its row")
    {
        BrowserView browser (fixture.images);
        fixture.window.addAndMakeVisible (browser);
        browser.setBounds (0, 0, 344, 600);
        browser.setState (test::browserSample (true));
        juce::StringArray names;
        browser.getList().onRename = [&] (RowId, const juce::String& name) { names.add (name); };

        browser.getList().beginRename (1);
        fixture.settle();
        fixture.type ("Take 4");
        fixture.press (enter);
        fixture.settle();
        browser.getList().beginRename (1);
        fixture.settle();
        fixture.type ("Lost");
        fixture.press (escape);
        fixture.settle();
        CHECK (names == juce::StringArray{ "Take 4" });
    }
}

} // namespace tessivar
