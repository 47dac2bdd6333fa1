#include "tests/app/SettingsRig.h"

#include "app/AppSettings.h"
#include "app/settings/AudioPageState.h"
#include "app/settings/ChoiceGroup.h"
#include "app/settings/PerformanceState.h"
#include "app/settings/SettingsPage.h"
#include "model/Abbreviations.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "ui/Palette.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
/** Chooses as the user does, and lets the choice arrive. */
void choose (juce::ComboBox& combo, const juce::String& text)
{
    for (int i = 0; i < combo.getNumItems(); ++i)
        if (combo.getItemText (i) == text)
            return combo.setSelectedItemIndex (i, juce::sendNotificationSync);

    FAIL ("no choice " << text.toStdString());
}

int countPixels (const juce::Image& image, juce::Rectangle<int> area, juce::Colour colour)
{
    int count = 0;

    for (int y = area.getY(); y < area.getBottom(); ++y)
        for (int x = area.getX(); x < area.getRight(); ++x)
            count += isNear (image.getPixelAt (x, y), colour) ? 1 : 0;

    return count;
}
} // namespace

TEST_CASE ("Settings dialog", "[app][settings]")
{
    SettingsRig rig;

    SECTION ("shows one page at a time, each with its place in the list marked")
    {
        DialogScrim scrim;
        scrim.setSize (1024, 640);
        scrim.show (rig.dialog (SettingsPageId::folders));
        auto& dialog = *scrim.getTop();
        CHECK (dialog.getBounds().getWidth() == 720);
        CHECK (dialog.getBounds().getHeight() == 480);
        auto* list = find<ChoiceGroup> (dialog, "Pages");
        REQUIRE (list != nullptr);
        int y = 60;

        for (const auto* page : { "Audio device", "Abbreviations", "Folders", "Performance" })
        {
            findButton (*list, page)->onClick();
            int numVisible = 0;

            for (auto* child : dialog.getChildren())
                numVisible += dynamic_cast<SettingsPage*> (child) != nullptr && child->isVisible() ? 1 : 0;

            CHECK (numVisible == 1);
            CHECK (find<SettingsPage> (dialog, page) != nullptr);
            const auto image = snapshot (dialog);
            CHECK (countPixels (image, { 9, y + 8, 3, 20 }, palette::iceMid) == 60);
            CHECK (countPixels (image, { 9, 60, 3, 150 }, palette::iceMid) < 120);
            y += 38;
        }

        dialog.keyPressed (juce::KeyPress (juce::KeyPress::escapeKey));
        CHECK_FALSE (scrim.isShowingDialog());
    }

    SECTION ("the arrows walk the list, and only its chosen entry takes part in Tab")
    {
        const auto dialog = rig.dialog (SettingsPageId::audioDevice);
        auto* list = find<ChoiceGroup> (*dialog, "Pages");
        REQUIRE (list->keyPressed (juce::KeyPress (juce::KeyPress::downKey)));
        CHECK (list->getSelected() == 1);
        REQUIRE (list->keyPressed (juce::KeyPress (juce::KeyPress::endKey)));
        REQUIRE (list->keyPressed (juce::KeyPress (juce::KeyPress::downKey)));
        CHECK (list->getSelected() == 3);
        CHECK_FALSE (list->keyPressed (juce::KeyPress ('x')));
        CHECK (findButton (*list, "Performance")->getWantsKeyboardFocus());
        CHECK_FALSE (findButton (*list, "Folders")->getWantsKeyboardFocus());
    }

    SECTION ("everything that can be changed takes the keyboard and has a name for screen readers")
    {
        for (const auto page : { SettingsPageId::audioDevice,
                                 SettingsPageId::abbreviations,
                                 SettingsPageId::folders,
                                 SettingsPageId::performance })
        {
            const auto dialog = rig.dialog (page);

            for (auto* child : dialog->getChildren())
                if (child->isVisible() && dynamic_cast<SettingsPage*> (child) != nullptr)
                    for (auto* control : child->getChildren())
                    {
                        const auto isChoice = dynamic_cast<juce::ComboBox*> (control) != nullptr
                                              || dynamic_cast<juce::TextEditor*> (control) != nullptr;
                        const auto* button = dynamic_cast<juce::Button*> (control);

                        if (control->isEnabled() && (isChoice || button != nullptr))
                            CHECK (control->getWantsKeyboardFocus());

                        if (isChoice)
                            CHECK (control->getTitle().isNotEmpty());
                    }
        }
    }

    SECTION ("Tab goes from the list through the page, top to bottom, to Close")
    {
        const auto dialog = rig.dialog (SettingsPageId::performance);
        juce::StringArray titles;

        for (auto* component : dialog->createKeyboardFocusTraverser()->getAllComponents (dialog.get()))
            titles.add (component->getTitle().isNotEmpty() ? component->getTitle() : component->getName());

        CHECK (titles
               == juce::StringArray{ "Performance",
                                     "Analysis threads",
                                     "Playback read-ahead",
                                     "Method of new groups",
                                     "Piece size",
                                     "Run",
                                     "Automatic",
                                     "Reduced",
                                     "Close",
                                     "Close settings" });
    }

    SECTION ("off the screen it lets go of the device and of the lists")
    {
        DialogScrim scrim;
        scrim.setSize (1024, 640);
        scrim.show (rig.dialog (SettingsPageId::abbreviations));
        auto* list = find<juce::TextEditor> (*scrim.getTop(), "A file is a Kick when its name contains");
        REQUIRE (list != nullptr);
        type (*list, "thump");
        scrim.getTop()->escape();
        CHECK (processAbbreviations().list (DrumType::kick) == rig.workspace.settings().getValue ("kick"));
    }
}

TEST_CASE ("Audio device page", "[app][settings]")
{
    SettingsRig rig;
    const auto saved = rig.folder.getChildFile ("AudioDeviceSetup.config");

    SECTION ("says plainly that there is no device")
    {
        const auto dialog = rig.dialog (SettingsPageId::audioDevice);
        CHECK (find<NoteBox> (*dialog, "No audio device. Everything but sound works.") != nullptr);
        CHECK_FALSE (find<juce::ComboBox> (*dialog, "Sample rate")->isEnabled());
        CHECK (findButton (*dialog, "Play test tone") == nullptr);
    }

    SECTION ("opens what is chosen, saves it, and tells how it suits the Group")
    {
        REQUIRE (changeOutput (rig.device, "Fake", rig.card->name).wasOk());
        rig.groupRate = 48000.0;
        const auto dialog = rig.dialog (SettingsPageId::audioDevice);
        auto* page = find<SettingsPage> (*dialog, "Audio device");
        choose (*find<juce::ComboBox> (*page, "Output device"), "Headphones");
        CHECK (rig.otherCard->isOpen);
        CHECK_FALSE (rig.card->isOpen);
        CHECK (saved.loadFileAsString().contains ("Headphones"));
        choose (*find<juce::ComboBox> (*page, "Sample rate"), "96 kHz");
        CHECK (rig.otherCard->rate == 96000.0);
        CHECK (find<NoteBox> (*page, "Device 96 kHz, group 48 kHz. Playback is resampled.") != nullptr);
        choose (*find<juce::ComboBox> (*page, "Sample rate"), "48 kHz");
        CHECK (find<NoteBox> (*page, "Matches the selected group. Playback is not resampled.") != nullptr);
        choose (*find<juce::ComboBox> (*page, "Output device"), "No output");
        CHECK (rig.device.status() == DeviceStatus::none);
        CHECK_FALSE (saved.loadFileAsString().contains ("Headphones"));
        findButton (*page, "Open default device")->onClick();
        CHECK (rig.card->isOpen);
    }

    SECTION ("a device that fails shows its reason, and the old one plays on as it was")
    {
        REQUIRE (changeOutput (rig.device, "Fake", rig.card->name).wasOk());
        auto setup = rig.device.manager().getAudioDeviceSetup();
        setup.sampleRate = 96000.0;
        REQUIRE (changeSetup (rig.device, setup).wasOk());
        const auto before = saved.loadFileAsString();
        rig.otherCard->refusesToOpen = true;
        const auto dialog = rig.dialog (SettingsPageId::audioDevice);
        auto* page = find<SettingsPage> (*dialog, "Audio device");
        auto* output = find<juce::ComboBox> (*page, "Output device");
        choose (*output, "Headphones");
        CHECK (find<NoteBox> (*page, "the card is busy") != nullptr);
        CHECK (output->getText() == rig.card->name);
        CHECK (rig.card->isOpen);
        CHECK (rig.card->rate == 96000.0);
        CHECK (saved.loadFileAsString() == before);
        REQUIRE (rig.device.save().wasOk());
        CHECK (saved.loadFileAsString().contains (rig.card->name));
    }

    SECTION ("the test tone sounds and is no louder than half of full scale")
    {
        REQUIRE (changeOutput (rig.device, "Fake", rig.card->name).wasOk());
        const auto dialog = rig.dialog (SettingsPageId::audioDevice);
        findButton (*dialog, "Play test tone")->onClick();

        for (int i = 0; i < 200; ++i)
            rig.card->pump (512);

        const auto peak = juce::FloatVectorOperations::findMaximum (rig.card->left.data(),
                                                                    static_cast<int> (rig.card->left.size()));
        CHECK (peak > 0.05f);
        CHECK (peak <= 0.51f);
        CHECK (rig.card->left.back() == 0.0f);
    }
}

TEST_CASE ("Abbreviations page", "[app][settings]")
{
    SettingsRig rig;
    const auto dialog = rig.dialog (SettingsPageId::abbreviations);
    auto* page = find<SettingsPage> (*dialog, "Abbreviations");
    REQUIRE (page != nullptr);
    findButton (*page, "HiHat")->onClick();
    auto* list = find<juce::TextEditor> (*page, "A file is a HiHat when its name contains");
    REQUIRE (list != nullptr);
    const auto isEnabled = [&] { return findButton (*page, "Save")->isEnabled(); };

    SECTION ("offers to save what differs, and stores it")
    {
        CHECK_FALSE (isEnabled());
        type (*list, "hh; hat; settingsPageHat");
        type (*find<juce::TextEditor> (*page, "Try a file name"), "settingsPageHat");
        CHECK (find<juce::Component> (*page, "HiHat") != nullptr);
        REQUIRE (isEnabled());
        findButton (*page, "Save")->onClick();
        CHECK_FALSE (isEnabled());
        CHECK (rig.workspace.settings().getValue ("hiHat") == "hh; hat; settingsPageHat");
        CHECK (page->footnote().contains ("next start"));
        findButton (*page, "Reset to defaults")->onClick();
        CHECK (list->getText() == AbbreviationTable::defaultList (DrumType::hiHat));
        CHECK (isEnabled());
    }

    SECTION ("an empty entry is told in amber below the list, and a list has one line")
    {
        list->insertTextAtCaret ("x;\r\ny;;");
        list->onTextChange();
        const auto hint = "An empty entry matches every file name. Remove the separator at the end.";
        auto* block = find<TextBlock> (*page, hint);
        REQUIRE (block != nullptr);
        const auto image = snapshot (*dialog);
        CHECK (countPixels (image, dialog->getLocalArea (block, block->getLocalBounds()), palette::amber)
               > 50);
        CHECK_FALSE (list->getText().containsAnyOf ("\r\n"));
        CHECK (list->getText().contains ("x;"));
    }
}

TEST_CASE ("Folders page", "[app][settings]")
{
    SettingsRig rig;
    const auto dialog = rig.dialog (SettingsPageId::folders);
    auto* page = find<SettingsPage> (*dialog, "Folders");
    REQUIRE (page != nullptr);
    const auto press = [&] (const char* title) { find<juce::Button> (*page, title)->onClick(); };
    const auto& settings = rig.workspace.settings();
    const auto target = rig.folder.getChildFile ("new folder");

    SECTION ("chosen folders are stored, a cancelled chooser changes nothing")
    {
        press ("Browse for the folder of temporary files");
        CHECK (rig.lastRequest.wantsFolders());
        CHECK_FALSE (settings.containsKey (settingsKeys::tempFileLocation));
        rig.chosen = { target };
        press ("Browse for the folder of temporary files");
        CHECK (settings.getValue (settingsKeys::tempFileLocation) == target.getFullPathName());
        CHECK (rig.workspace.temporaryFolder().folder == target);
        press ("Browse for the export folder");
        CHECK (settings.getValue (settingsKeys::exportPath) == target.getFullPathName());
        CHECK (find<juce::TextEditor> (*page, "Export folder")->getText() == target.getFullPathName());
        press ("Clear the export folder");
        CHECK_FALSE (settings.containsKey (settingsKeys::exportPath));
        CHECK (settings.containsKey (settingsKeys::tempFileLocation));
    }

    SECTION ("the default for temporary files becomes a choice")
    {
        findButton (*page, "Use default")->onClick();
        CHECK (settings.containsKey (settingsKeys::tempFileLocation));
        CHECK (rig.workspace.temporaryFolder().reason == TemporaryFolderChoice::Reason::chosenByUser);
    }

    SECTION ("what is chosen after the dialog was closed counts no more")
    {
        DialogScrim scrim;
        scrim.setSize (1024, 640);
        scrim.show (rig.dialog (SettingsPageId::folders));
        rig.chosen = { target };
        rig.whileChoosing = [&]
        {
            if (scrim.isShowingDialog())
                scrim.getTop()->escape();
        };
        find<juce::Button> (*scrim.getTop(), "Browse for the folder of temporary files")->onClick();
        CHECK_FALSE (scrim.isShowingDialog());
        CHECK_FALSE (settings.containsKey (settingsKeys::tempFileLocation));
        CHECK_FALSE (target.exists());
    }

    SECTION ("a folder that can't be used is refused with the reason")
    {
        REQUIRE (rig.folder.createDirectory());
        REQUIRE (target.replaceWithText ("a file"));
        rig.chosen = { target };
        press ("Browse for the folder of temporary files");
        CHECK (rig.prompts.heard.size() == 1);
        CHECK_FALSE (settings.containsKey (settingsKeys::tempFileLocation));
    }
}

TEST_CASE ("Performance page", "[app][settings]")
{
    SettingsRig rig;
    auto& settings = rig.workspace.settings();

    SECTION ("choices are stored under the keys that the program reads")
    {
        std::vector<int> sizes;
        rig.onInterfaceSizeChanged = [&] (int percent) { sizes.push_back (percent); };
        const auto dialog = rig.dialog (SettingsPageId::performance);
        choose (*find<juce::ComboBox> (*dialog, "Analysis threads"), "1 thread");
        choose (*find<juce::ComboBox> (*dialog, "Method of new groups"), "Refined");
        choose (*find<juce::ComboBox> (*dialog, "Playback read-ahead"), "10 s");
        choose (*find<juce::ComboBox> (*dialog, "Piece size"), "8192 frames (0.2 MB)");
        CHECK (analysisThreads (settings) == 1);
        CHECK (defaultMethod (settings) == AnalysisMethod::refined);
        CHECK (readAheadSettings (settings).seconds == 10.0);
        CHECK (readAheadSettings (settings).framesPerRead == 8192);
        findButton (*dialog, "150%")->onClick();
        CHECK (interfaceScale (settings, 1920, 1080) == 1.5);
        CHECK (sizes == std::vector<int>{ 150 });
    }

    SECTION ("a benchmark shows its figures, and its proposal can be taken over")
    {
        settings.setValue (settingsKeys::tempFileLocation, rig.folder.getFullPathName());
        auto chosen = rig.workspace.folderSettings();
        chosen.temporaryFiles = rig.folder;
        rig.workspace.setFolderSettings (chosen);
        BenchmarkSummary known;
        known.folder = "/Scratch";
        known.readBytesPerSecond = 500e6;
        known.proposal.seconds = 4.5;
        known.proposal.framesPerRead = 16384;
        settings.setValue (appSettingsKeys::diskBenchmark, known.toText());
        const auto dialog = rig.dialog (SettingsPageId::performance);
        REQUIRE (findButton (*dialog, "Use these") != nullptr);
        findButton (*dialog, "Use these")->onClick();
        CHECK (readAheadSettings (settings).seconds == 4.5);
        CHECK (readAheadSettings (settings).framesPerRead == 16384);
        CHECK (find<juce::ComboBox> (*dialog, "Playback read-ahead")->getText() == "4.5 s");
        CHECK (findButton (*dialog, "Use these") == nullptr);

        // What can't be measured is told, what was stopped is not; either way the last figures stay.
        const auto inTheWay = rig.folder.getChildFile ("in the way");
        REQUIRE (inTheWay.replaceWithText ("a file"));
        chosen.temporaryFiles = inTheWay;
        rig.workspace.setFolderSettings (chosen);
        findButton (*dialog, "Run again")->onClick();
        CHECK (rig.prompts.heard.size() == 1);
        CHECK (rig.prompts.heard[0].contains ("temporary files"));
        rig.prompts.heard.clear();
        chosen.temporaryFiles = rig.folder;
        rig.workspace.setFolderSettings (chosen);
        rig.stopsJobs = true;
        findButton (*dialog, "Run again")->onClick();
        CHECK (settings.getValue (appSettingsKeys::diskBenchmark) == known.toText());
        CHECK (rig.prompts.heard.isEmpty());
        CHECK (rig.folder.findChildFiles (juce::File::findFiles, false, "tessivar-benchmark*").isEmpty());
    }
}
