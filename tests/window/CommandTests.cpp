#include "tests/ui/MouseEvents.h"
#include "tools/windowdriver/FakePrograms.h"

#include "app/MainWindow.h"
#include "app/system/ProgramLog.h"
#include "ui/Buttons.h"
#include "ui/TessivarLookAndFeel.h"
#include "ui/browser/BrowserRows.h"
#include "ui/browser/TrackStrip.h"
#include "ui/dock/KnobSection.h"

#include <catch2/catch.hpp>

#include <cstdlib>
#include <set>
#include <typeinfo>

using namespace tessivar;

namespace
{
int number (Verb verb)
{
    return entryOf (verb).number;
}

/** The program's real window with a user who answers its dialogs as told, on the screen of the test. */
class WindowRig : private juce::Timer
{
public:
    WindowRig()
    {
        home.createDirectory();
        test::writeFakePrograms (home);
        const auto path = home.getChildFile ("bin").getFullPathName() + ":" + oldPath;
        ::setenv ("PATH", path.toRawUTF8(), 1);
        juce::LookAndFeel::setDefaultLookAndFeel (&look);
        window = std::make_unique<MainWindow> (resources, folders, log);
        workspace().suppressWarning (ImportWarnings::shortDuration);
        window->content().onQuit = [this] { ++quits; };
        window->content().onToggleFullScreen = [this] { ++fullScreens; };
        scrim = findScrim();
        startTimer (5);
    }

    ~WindowRig() override
    {
        stopTimer();
        window.reset();
        juce::LookAndFeel::setDefaultLookAndFeel (nullptr);
        ::setenv ("PATH", oldPath.toRawUTF8(), 1);
        home.deleteRecursively();
    }

    /** Invokes a command as a menu does, and returns when all that follows from it is over. */
    void perform (int command)
    {
        told.clear();
        REQUIRE (window->content().getCommands().manager().invokeDirectly (command, false));
        settle();
    }

    void settle()
    {
        do
        {
            // Behind what the command has posted, and what that posts; dialogs and jobs are loops in it.
            auto reached = false;
            juce::MessageManager::callAsync ([&]
                                             { juce::MessageManager::callAsync ([&] { reached = true; }); });

            while (! reached)
                REQUIRE (juce::MessageManager::getInstance()->runDispatchLoopUntil (10));
        } while (window->content().isReadingFiles());
    }

    void chooserAnswers (const juce::StringArray& paths) const
    {
        test::writeChooserAnswers (home, { paths });
    }

    [[nodiscard]] juce::String lastChooser() const { return lastLineOf ("chooser.log"); }
    [[nodiscard]] juce::String lastOpened() const { return lastLineOf ("opened.log"); }

    /** Below the content, at any depth; null when there is none that the test accepts. */
    template <typename Kind>
    Kind* find (const std::function<bool (Kind&)>& accepts)
    {
        std::vector<juce::Component*> waiting{ &window->content() };

        while (! waiting.empty())
        {
            auto* component = waiting.back();
            waiting.pop_back();

            if (auto* found = dynamic_cast<Kind*> (component); found != nullptr && accepts (*found))
                return found;

            for (auto* child : component->getChildren())
                waiting.push_back (child);
        }

        return nullptr;
    }

    bool press (const juce::KeyPress& key) { return window->content().keyPressed (key); }

    juce::Component& content() { return window->content(); }
    Commands& commands() { return window->content().getCommands(); }
    TessivarWorkspace& workspace() { return window->content().getWorkspace(); }
    Group::Ptr group() { return workspace().selectedGroup(); }

    juce::StringArray told; // titles of the dialogs since the last command
    juce::String answer;    // the button to press; else the safe one
    int quits = 0, fullScreens = 0;
    const juce::File home = juce::File::createTempFile ("");
    const juce::File resources{ TESSIVAR_BIN_DIR "/Resources" };

private:
    [[nodiscard]] juce::String lastLineOf (const char* name) const
    {
        const auto text = home.getChildFile (name).loadFileAsString().trimEnd();
        return text.fromLastOccurrenceOf ("\n", false, false);
    }

    DialogScrim* findScrim()
    {
        for (auto* child : window->content().getChildren())
            if (auto* found = dynamic_cast<DialogScrim*> (child))
                return found;

        return nullptr;
    }

    void timerCallback() override
    {
        auto* top = scrim->getTop();

        if (top == nullptr || dynamic_cast<ProgressDialog*> (top) != nullptr)
            return;

        if (top->getTitle().startsWith ("Export ")) // of which type: as proposed
        {
            top->choose (top->getNumButtons() - 1);
            return;
        }

        told.add (top->getTitle());

        for (int i = 0; i < top->getNumButtons(); ++i)
            if (top->getButton (i).getButtonText() == answer)
            {
                top->choose (i);
                return;
            }

        top->escape();
    }

    const juce::String oldPath = juce::SystemStats::getEnvironmentVariable ("PATH", {});
    const juce::ScopedJuceInitialiser_GUI toolkit;
    const UserFolders folders = UserFolders::below (home);
    ProgramLog log{ folders.logs() };
    TessivarLookAndFeel look{ resources };
    std::unique_ptr<MainWindow> window;
    DialogScrim* scrim = nullptr;
};

juce::File demoFile (const char* name)
{
    return juce::File (TESSIVAR_SOURCE_DIR "/demo").getChildFile (name);
}

/** A Group with a kick and a hi-hat, analyzed. */
void analyzeDemo (WindowRig& rig)
{
    rig.chooserAnswers (
        { demoFile ("Kick In.flac").getFullPathName(), demoFile ("HH.flac").getFullPathName() });
    rig.perform (number (Verb::importTracks));
    rig.workspace().settings().setValue (settingsKeys::analysisTips, settingsFalse);
    rig.perform (number (Verb::analyzeGroup));
    REQUIRE (rig.group()->isAnalysed());
}
} // namespace

TEST_CASE ("All commands are performed", "[window][commands]")
{
    WindowRig rig;
    const auto file = rig.home.getChildFile ("A.dls"), out = rig.home.getChildFile ("out");
    out.createDirectory();
    const auto numExported = [&] { return out.getNumberOfChildFiles (juce::File::findFiles, "*.wav"); };
    std::set<int> performed;
    const auto perform = [&] (int command)
    {
        INFO ("command " << command);
        performed.insert (command);
        rig.perform (command);
    };
    const auto choosing = [&] (int command, const juce::StringArray& paths)
    {
        rig.chooserAnswers (paths);
        perform (command);
    };

    // With nothing open there is nothing to export. Of a pair the second number is the one with the key.
    for (const auto command : { number (Verb::exportTrack),
                                number (Verb::exportGroup),
                                number (Verb::exportAllGroups),
                                68,
                                69,
                                70 })
    {
        perform (command);
        CHECK (rig.told == juce::StringArray{ "Warning" });
    }

    perform (number (Verb::newGroup));
    REQUIRE (rig.workspace().numGroups() == 1);
    choosing (number (Verb::importTracks),
              { demoFile ("Kick In.flac").getFullPathName(), demoFile ("HH.flac").getFullPathName() });
    CHECK (rig.lastChooser().contains ("Select files to import..."));
    CHECK (rig.group()->numTracks() == 2);
    choosing (36, { demoFile ("Floor.flac").getFullPathName() });
    REQUIRE (rig.group()->numTracks() == 3);
    rig.workspace().settings().setValue (settingsKeys::analysisTips, settingsFalse);
    perform (number (Verb::analyzeGroup));
    REQUIRE (rig.group()->isAnalysed());
    perform (number (Verb::analyzeGroups)); // nothing has changed, which the summary says
    CHECK (rig.told == juce::StringArray{ "Analyze Group(s)" });

    const auto track = rig.group()->track (0);
    const auto before = track->selectedSetting();
    perform (number (Verb::toggleSetting));
    CHECK (rig.group()->track (0)->selectedSetting() != before);
    perform (number (Verb::playOrStop)); // without a device it is quiet

    choosing (number (Verb::exportTrack), { out.getChildFile ("one.wav").getFullPathName() });
    CHECK (numExported() == 1);
    choosing (68, { out.getChildFile ("two.wav").getFullPathName() });
    CHECK (numExported() == 2);
    choosing (number (Verb::exportGroup), { out.getFullPathName() });
    CHECK (numExported() == 5);
    rig.answer = "Overwrite";

    for (const auto command : { 69, number (Verb::exportAllGroups), 70 })
    {
        choosing (command, { out.getFullPathName() });
        CHECK (rig.told.contains ("Warning"));
        CHECK (numExported() == 5);
    }

    rig.answer = {};
    choosing (number (Verb::saveGroup), { file.getFullPathName() });
    REQUIRE (file.existsAsFile());
    choosing (number (Verb::saveGroupAs), { file.getSiblingFile ("B.dls").getFullPathName() });
    CHECK (file.getSiblingFile ("B.dls").existsAsFile());
    rig.group()->rename ("Other");
    perform (number (Verb::saveAllGroups));
    CHECK_FALSE (rig.group()->hasUnsavedChanges());
    choosing (number (Verb::openGroups), { file.getFullPathName() });
    CHECK (rig.workspace().numGroups() == 2);

    // The track picker takes what it shows.
    rig.answer = "Import";

    for (const auto command : { number (Verb::importFromGroup), 38 })
    {
        const auto count = rig.group()->numTracks();
        choosing (command, { file.getFullPathName() });
        CHECK (rig.told.contains ("Import From Group (" + juce::String ("Group 1") + ")"));
        CHECK (rig.group()->numTracks() == count + 3);
    }

    rig.answer = {};
    const auto folder = rig.home.getChildFile ("Take 2");
    folder.createDirectory();
    REQUIRE (out.getChildFile ("one.wav").copyFileTo (folder.getChildFile ("Kick.wav")));
    choosing (number (Verb::importFolders), { folder.getFullPathName() });
    CHECK (rig.workspace().numGroups() == 3);
    choosing (37, { folder.getFullPathName() });
    CHECK (rig.workspace().numGroups() == 4);

    perform (number (Verb::settings));
    CHECK (rig.told == juce::StringArray{ "Settings" });
    perform (number (Verb::about));
    CHECK (rig.told == juce::StringArray{ "About tessivar" });
    perform (number (Verb::onlineHelp));
    CHECK (rig.lastOpened().startsWith ("https://"));

    for (const auto& [command, name] :
         { std::pair{ number (Verb::quickStartGuide), "tessivarQuickStartGuide.pdf" },
           std::pair{ number (Verb::documentation), "tessivarManual.pdf" } })
    {
        perform (command);

        if (rig.resources.getChildFile (name).existsAsFile())
            CHECK (rig.lastOpened() == rig.resources.getChildFile (name).getFullPathName());
        else
            CHECK (rig.told == juce::StringArray{ "Warning" });
    }

    perform (number (Verb::warnings));
    CHECK (rig.told.isEmpty());
    perform (number (Verb::filesDropped));
    CHECK (rig.told.isEmpty());
    perform (number (Verb::fullScreen));
    CHECK (rig.fullScreens == 1);

    // The group with unsaved tracks is asked about and kept, then let go.
    const auto numGroups = rig.workspace().numGroups();
    perform (number (Verb::closeSelectedGroup));
    CHECK (rig.workspace().numGroups() == numGroups);
    rig.answer = "Close Without Saving";
    perform (number (Verb::closeSelectedGroup));
    CHECK (rig.workspace().numGroups() == numGroups - 1);
    perform (number (Verb::quit));
    CHECK (rig.quits == 1);

    juce::Array<juce::CommandID> served;
    rig.commands().getAllCommands (served);
    CHECK (performed == std::set<int> (served.begin(), served.end()));
}

TEST_CASE ("Shift-click takes the tracks from the last plain choice on", "[window][browser]")
{
    WindowRig rig;
    rig.perform (number (Verb::newGroup));
    rig.chooserAnswers ({ demoFile ("Floor.flac").getFullPathName(),
                          demoFile ("HH.flac").getFullPathName(),
                          demoFile ("Kick In.flac").getFullPathName(),
                          demoFile ("SD Bot.flac").getFullPathName(),
                          demoFile ("SD Top.flac").getFullPathName() });
    rig.perform (number (Verb::importTracks));
    REQUIRE (rig.group()->numTracks() == 5);
    const auto click = [&] (int index, int modifiers = 0)
    {
        const auto id = static_cast<RowId> (rig.group()->track (index)->id());
        auto* row = rig.find<TrackRow> ([&] (TrackRow& each) { return each.getTrack() == id; });
        REQUIRE (row != nullptr);
        const auto event =
            test::mouseAt (*row, { 200.0f, 20.0f }, juce::ModifierKeys::leftButtonModifier | modifiers);
        row->mouseDown (event);
        row->mouseUp (event);
        rig.settle();
    };
    // The key leaves out or takes back whatever is chosen.
    const auto excluded = [&]
    {
        REQUIRE (rig.press (juce::KeyPress ('e')));
        rig.settle();
        juce::String pattern;

        for (int i = 0; i < 5; ++i)
            pattern << (rig.group()->track (i)->state().excluded ? "x" : "-");

        REQUIRE (rig.press (juce::KeyPress ('e')));
        rig.settle();
        return pattern;
    };

    click (0);
    click (2);
    click (4, juce::ModifierKeys::shiftModifier);
    CHECK (excluded() == "--xxx");
    click (1, juce::ModifierKeys::shiftModifier); // about the same anchor
    CHECK (excluded() == "-xx--");

    // A choice by key is one as well.
    click (0);
    REQUIRE (rig.press (juce::KeyPress (juce::KeyPress::downKey)));
    rig.settle();
    click (3, juce::ModifierKeys::shiftModifier);
    CHECK (excluded() == "-xxx-");
}

TEST_CASE ("The kit is worked by keys, and undo by a button", "[window][kit]")
{
    WindowRig rig;
    rig.chooserAnswers (
        { demoFile ("Kick In.flac").getFullPathName(), demoFile ("HH.flac").getFullPathName() });
    rig.perform (number (Verb::importTracks));
    const auto first = rig.group()->track (0), second = rig.group()->track (1);
    auto* fader = rig.find<StripFader> ([&] (StripFader& each)
                                        { return each.getTitle() == "Level of " + second->name(); });
    const auto press = [&] (int code, int modifiers = 0)
    {
        REQUIRE (rig.press (juce::KeyPress (code, juce::ModifierKeys (modifiers), 0)));
        rig.settle();
    };
    const auto isShown = [&] { return fader != nullptr && fader->getParentComponent()->isVisible(); };
    CHECK_FALSE (isShown());
    press ('S', juce::ModifierKeys::shiftModifier); // the track alone knows no solo
    CHECK (first->state().strip == MixStrip{});

    press ('T');
    fader = rig.find<StripFader> ([&] (StripFader& each)
                                  { return each.getTitle() == "Level of " + second->name(); });
    REQUIRE (isShown());
    press ('A', juce::ModifierKeys::commandModifier);
    press ('S', juce::ModifierKeys::shiftModifier);
    CHECK ((first->state().strip.solo && second->state().strip.solo));
    CHECK (fader->keyPressed (juce::KeyPress (juce::KeyPress::leftKey)));
    rig.settle();
    CHECK (second->state().strip.faderDb == Approx (-0.5f));
    CHECK (first->state().strip.faderDb == 0.0f);

    // The last edit is what is undone, not the fader.
    press ('E');
    auto* undo = rig.find<juce::Button> ([] (juce::Button& each)
                                         { return each.getTitle() == "Undo Exclude from Analysis"; });
    REQUIRE (undo != nullptr);
    undo->onClick();
    rig.settle();
    CHECK_FALSE (second->isExcluded());
    CHECK (second->state().strip.faderDb == Approx (-0.5f));
    press ('T');
    CHECK_FALSE (isShown());
}

TEST_CASE ("Settings go from track to track by the clipboard", "[window][knobs]")
{
    WindowRig rig;
    rig.chooserAnswers ({ demoFile ("Floor.flac").getFullPathName(),
                          demoFile ("HH.flac").getFullPathName(),
                          demoFile ("Kick In.flac").getFullPathName() });
    rig.perform (number (Verb::importTracks));
    const auto knobs = [&] (int index) { return rig.group()->track (index)->knobs (KnobSetting::a); };
    const auto ctrl = juce::ModifierKeys::commandModifier;
    const auto press = [&] (int code, int modifiers = 0)
    {
        REQUIRE (rig.press (juce::KeyPress (code, juce::ModifierKeys (modifiers), 0)));
        rig.settle();
    };
    rig.group()->setKnobs ({ rig.group()->track (0)->id() }, KnobSetting::a, { 3.3f, 0.2f });
    press ('c', ctrl);
    press ('a', ctrl);
    press ('v', ctrl);
    CHECK (knobs (1) == KnobValues{ 3.3f, 0.2f });
    CHECK (knobs (2) == KnobValues{ 3.3f, 0.2f });
    CHECK (rig.group()->undo().undoName() == "Paste Settings");

    // Anything else on the clipboard is nobody's setting.
    juce::SystemClipboard::copyTextToClipboard ("Tessivar settings: A Focus 9 Fine 0");
    rig.group()->undo().undo();
    const auto before = knobs (1);
    press ('v', ctrl);
    CHECK (knobs (1) == before);
}

TEST_CASE ("All of the window is in it", "[window][layout]")
{
    struct Size
    {
        int width, height; // of the content, logical pixels
    };

    WindowRig rig;
    std::function<void (juce::Component&)> check = [&] (juce::Component& parent)
    {
        for (auto* child : parent.getChildren())
        {
            if (! child->isVisible() || child->getBounds().isEmpty())
                continue;

            const auto name = child->getTitle().isNotEmpty() ? child->getTitle() : child->getName();
            const auto bounds = child->getBoundsInParent();
            INFO (name << ", " << bounds.toString() << " in " << parent.getTitle() << " "
                       << parent.getLocalBounds().toString());
            CHECK (parent.getLocalBounds().expanded (1).contains (bounds)); // half a line, as the playhead's

            if (const auto* button = dynamic_cast<ActionButton*> (child))
                CHECK (button->getWidth() >= button->idealWidth() - 8); // the words, if not all of their air

            // What scrolls is larger than what shows it.
            if (dynamic_cast<juce::Viewport*> (child) == nullptr)
                check (*child);
        }
    };

    // The smallest, 1366 x 768 as it is and at 150 % (of which 115 % fit), 2560 x 1440 at 200 %.
    for (const auto hasGroup : { false, true })
    {
        if (hasGroup)
            analyzeDemo (rig);

        for (const auto& [width, height] :
             { Size{ 1024, 640 }, Size{ 1366, 740 }, Size{ 1187, 640 }, Size{ 1280, 692 } })
        {
            INFO (width << " x " << height << (hasGroup ? ", with a Group" : ", empty"));
            rig.content().setSize (width, height);
            rig.settle();
            check (rig.content());
        }
    }
}

TEST_CASE ("All that the window shows is told to who can't see it", "[window][accessibility]")
{
    using Role = juce::AccessibilityRole;
    WindowRig rig;
    std::function<void (juce::Component&)> check = [&] (juce::Component& parent)
    {
        for (auto* child : parent.getChildren())
        {
            if (! child->isVisible() || child->getBounds().isEmpty())
                continue;

            const auto* told = child->getAccessibilityHandler();
            INFO (child->getName() << ", " << child->getBounds().toString() << " in " << parent.getTitle()
                                   << ", " << typeid (*child).name());

            if (child->getWantsKeyboardFocus())
                CHECK (told != nullptr);

            if (told != nullptr && ! told->isIgnored())
            {
                const auto role = told->getRole();
                const auto isControl = role == Role::button || role == Role::toggleButton
                                       || role == Role::comboBox || role == Role::slider
                                       || role == Role::editableText || role == Role::listItem;
                CHECK ((role != Role::unspecified || ! child->getWantsKeyboardFocus()));

                if (isControl || child->getWantsKeyboardFocus())
                    CHECK (told->getTitle().isNotEmpty());

                if (role == Role::slider || role == Role::comboBox)
                {
                    REQUIRE (told->getValueInterface() != nullptr);
                    CHECK (told->getValueInterface()->getCurrentValueAsString().isNotEmpty());
                }
            }

            check (*child);
        }
    };

    check (rig.content());
    analyzeDemo (rig);
    check (rig.content());
    rig.perform (number (Verb::toggleSetting));

    for (const auto* key : { "T", "G", "M" }) // the kit's strips, spectrum, bleed map
    {
        INFO ("after " << key);
        REQUIRE (rig.press (juce::KeyPress::createFromDescription (key)));
        rig.settle();
        check (rig.content());
    }
}

TEST_CASE ("A knob's value label goes away and tells the value in between", "[window][dock]")
{
    WindowRig rig;
    analyzeDemo (rig);
    auto* focus = rig.find<KnobSection> ([] (KnobSection& each) { return each.getTitle() == "Focus"; });
    REQUIRE (focus != nullptr);
    auto& label = focus->getLabel();
    const auto goes = [&]
    {
        for (int i = 0; i < 100 && label.isVisible(); ++i)
            juce::MessageManager::getInstance()->runDispatchLoopUntil (100);

        return ! label.isVisible();
    };

    focus->getKnob().showValueLabel();
    REQUIRE (label.isVisible());
    rig.perform (number (Verb::toggleSetting)); // to B, which is at nothing
    CHECK (label.getText() == "0%");
    CHECK (goes());

    // Typing keeps it, Escape lets it go.
    focus->typeValue();
    CHECK (label.isBeingEdited());
    juce::MessageManager::getInstance()->runDispatchLoopUntil (1000);
    REQUIRE (label.isVisible());
    label.hideEditor (true);
    CHECK (goes());
}
