#include "tests/ui/Snapshots.h"
#include "tools/gallery/SampleStates.h"

#include "ui/Palette.h"
#include "ui/browser/BrowserView.h"
#include "ui/dialogs/MessageDialog.h"
#include "ui/dialogs/ProgressDialog.h"
#include "ui/dock/SettingDock.h"

#include <catch2/catch.hpp>

#include <cstdlib>
#include <functional>

// What needs a real window: keyboard focus, text fields, names for screen readers. The program hides the
// display from all other tests; TESSIVAR_TEST_DISPLAY names the one for these ("[window]"). Without it they
// say so and pass.

using namespace tessivar;
using namespace tessivar::test;

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

/** The toolkit catches errors of the X server only in an application; without a window manager the server
    refuses some hints. To be made before the toolkit first asks for the display.
*/
struct AsApplication
{
    AsApplication()
    {
        juce::JUCEApplicationBase::createInstance = []() -> juce::JUCEApplicationBase* { return nullptr; };
    }
};

/** A window of the toolkit with the program's look, on the screen for as long as a test runs. */
struct WindowFixture : OnDisplay, AsApplication, PaintingFixture
{
    WindowFixture()
    {
        window.setSize (1024, 640);
        window.addToDesktop (0);
        window.setVisible (true);
        window.toFront (true);
        // A window manager takes its time to hand over the keyboard, and may ask to be asked again.
        for (int tries = 0; tries < 20 && ! waitUntil ([this] { return hasKeyboard(); }, 1000); ++tries)
            window.toFront (true);
        settle();
    }

    bool hasKeyboard() const { return window.getPeer()->isFocused(); }

    void settle (int milliseconds = 60) const
    {
        juce::MessageManager::getInstance()->runDispatchLoopUntil (milliseconds);
    }

    /** Delivers messages until something holds; false after this time. Long, as a busy window manager answers
        late.
    */
    bool waitUntil (const std::function<bool()>& holds, int milliseconds = 20000) const
    {
        const auto start = juce::Time::getMillisecondCounter();
        while (! holds())
        {
            if (juce::Time::getMillisecondCounter() - start > static_cast<juce::uint32> (milliseconds))
                return false;
            settle (10);
        }
        return true;
    }

    bool waitForFocus (const juce::Component& component) const
    {
        return waitUntil ([&] { return component.hasKeyboardFocus (true); });
    }

    /** A text field of a knob or a row takes what is typed. */
    bool waitForEditor() const
    {
        return waitUntil (
            []
            {
                auto* focused = juce::Component::getCurrentlyFocusedComponent();
                return dynamic_cast<juce::TextEditor*> (focused) != nullptr;
            });
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
        REQUIRE (fixture.waitForFocus (before));

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
        const auto& cancel = scrim.getTop()->getButton (1);
        CHECK (fixture.waitForFocus (cancel));
        // The ring lies 2 to 4 px outside the button.
        const auto ring = fixture.window.getLocalArea (&cancel, cancel.getLocalBounds().expanded (3));
        const auto isRinged = [&]
        {
            const auto pixel = snapshot (fixture.window).getPixelAt (ring.getX(), ring.getCentreY());
            return isNear (pixel, palette::ice);
        };
        CHECK (fixture.waitUntil (isRinged)); // the toolkit draws it when it has delivered its messages
        fixture.press (juce::KeyPress (juce::KeyPress::tabKey));
        CHECK (scrim.getTop()->getButton (0).hasKeyboardFocus (true));
        fixture.press (juce::KeyPress (juce::KeyPress::tabKey));
        CHECK_FALSE (before.hasKeyboardFocus (true));
        fixture.press (escape);
        CHECK (fixture.waitForFocus (before));
        CHECK (answers == std::vector<bool>{ false });
    }

    SECTION ("Enter stops no running job, Escape does")
    {
        DialogScrim scrim;
        fixture.window.addChildComponent (scrim);
        scrim.setBounds (fixture.window.getLocalBounds());
        auto dialog = std::make_unique<ProgressDialog> ("Importing data");
        auto cancels = 0;
        dialog->onCancel = [&] { ++cancels; };
        auto& shown = *dialog;
        scrim.show (std::move (dialog));
        REQUIRE (fixture.waitForFocus (shown));

        for (const auto key :
             { juce::KeyPress::returnKey, juce::KeyPress::tabKey, juce::KeyPress::returnKey })
            fixture.press (juce::KeyPress (key));

        CHECK (cancels == 0);
        fixture.press (escape);
        CHECK (cancels == 1);
    }

    SECTION ("a dialog that grows while it fades in keeps its new size")
    {
        DialogScrim scrim;
        fixture.window.addChildComponent (scrim);
        scrim.setBounds (fixture.window.getLocalBounds());
        motion::setReduced (false);
        auto content = std::make_unique<ProgressDialog> ("Analyzing");
        auto& dialog = *content;
        scrim.show (std::move (content));
        dialog.setState ({ analysisStages (75), 0.1, {}, {} });
        CHECK (fixture.waitUntil ([&] { return dialog.getAlpha() >= 1.0f; }));
        fixture.settle();
        CHECK (dialog.getHeight() == dialog.idealHeight (dialog.getWidth()));
        motion::setReduced (true);
    }

    SECTION ("a percentage is typed over a knob's label: Enter keeps it, Escape drops it")
    {
        SettingDock dock (fixture.images);
        fixture.window.addAndMakeVisible (dock);
        dock.setBounds (0, 0, 935, 202);
        dock.setState (dockSample());
        std::vector<float> heard;
        dock.onFocusChange = [&] (float value) { heard.push_back (value); };

        dock.getFocus().typeValue();
        REQUIRE (fixture.waitForEditor());
        fixture.type ("4x0");
        // While the editor is open nothing fades.
        for (int tick = 0; tick < 100; ++tick)
            dock.fadeTick();
        CHECK (dock.getFocus().getLabel().isVisible());
        fixture.press (enter);
        REQUIRE (fixture.waitUntil ([&] { return ! heard.empty(); }));
        REQUIRE (heard.size() == 1);
        CHECK (heard[0] == Approx (2.0f));

        dock.getFocus().typeValue();
        REQUIRE (fixture.waitForEditor());
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
        browser.setState (browserSample (true));
        juce::StringArray names;
        browser.getList().onRename = [&] (RowId, const juce::String& name) { names.add (name); };

        browser.getList().beginRename (1);
        REQUIRE (fixture.waitForEditor());
        fixture.type ("Take 4");
        fixture.press (enter);
        CHECK (fixture.waitUntil ([&] { return ! names.isEmpty(); }));
        browser.getList().beginRename (1);
        REQUIRE (fixture.waitForEditor());
        fixture.type ("Lost");
        fixture.press (escape);
        fixture.settle();
        CHECK (names == juce::StringArray{ "Take 4" });
    }
}
