#pragma once

#include "tests/playback/FakeDevice.h"
#include "tests/support/ScriptedPrompts.h"
#include "tests/ui/Snapshots.h"

#include "app/settings/SettingsDialog.h"
#include "playback/PlaybackEngine.h"

#include <optional>
#include <utility>

namespace tessivar::test
{

/** A workspace below a folder of its own, two sound cards, and what the settings dialog asks for. */
class SettingsRig
{
public:
    SettingsRig()
    {
        card->name = "Studio Interface";
        otherCard->name = "Headphones";
        device.manager().addAudioDeviceType (
            std::make_unique<FakeDeviceType> (std::vector<std::shared_ptr<FakeCard>>{ card, otherCard }));
    }

    ~SettingsRig() { folder.deleteRecursively(); }

    [[nodiscard]] SettingsDialogContext context (SettingsPageId page = SettingsPageId::audioDevice)
    {
        return { .workspace = workspace,
                 .device = device,
                 .prompts = prompts,
                 .groupRate = [this] { return groupRate; },
                 .runJob =
                     [this] (
                         const juce::String&, const std::vector<ProgressStage>&, const JobRunner::Work& work)
                 {
                     work ({ [this] { return stopsJobs; }, [] (double) {} });
                     return stopsJobs ? Outcome::stopped() : Outcome::ok();
                 },
                 .chooseFiles =
                     [this] (const FileChooserRequest& request)
                 {
                     lastRequest = request;

                     if (whileChoosing)
                         whileChoosing();

                     return chosen;
                 },
                 .onInterfaceSizeChanged = onInterfaceSizeChanged,
                 .firstPage = page };
    }

    [[nodiscard]] std::unique_ptr<DialogContent> dialog (SettingsPageId page)
    {
        return makeSettingsDialog (context (page));
    }

    PaintingFixture painting;
    const juce::File folder = juce::File::createTempFile ("");
    TessivarWorkspace workspace{ UserFolders::below (folder) };
    std::shared_ptr<FakeCard> card = std::make_shared<FakeCard>(), otherCard = std::make_shared<FakeCard>();
    PlaybackEngine engine{ workspace.readAheadThread() };
    PlaybackDevice device{ engine, folder.getChildFile ("AudioDeviceSetup.config") };
    ScriptedPrompts prompts;
    double groupRate = 0.0;
    bool stopsJobs = false;
    std::vector<juce::File> chosen;
    FileChooserRequest lastRequest;
    std::function<void()> whileChoosing; // what else the user does meanwhile
    std::function<void (int)> onInterfaceSizeChanged;
};

/** The visible component of a type that a test accepts, somewhere below another; null where there is none. */
template <typename Type, typename Test>
Type* findWhere (juce::Component& parent, const Test& accepts)
{
    for (auto* child : parent.getChildren())
    {
        if (! child->isVisible())
            continue;

        if (auto* found = dynamic_cast<Type*> (child); found != nullptr && accepts (*found))
            return found;

        if (auto* found = findWhere<Type> (*child, accepts))
            return found;
    }

    return nullptr;
}

template <typename Type = juce::Component>
Type* find (juce::Component& parent, const juce::String& title)
{
    return findWhere<Type> (parent, [&] (auto& child) { return child.getTitle() == title; });
}

inline juce::Button* findButton (juce::Component& parent, const juce::String& words)
{
    return findWhere<juce::Button> (parent, [&] (auto& button) { return button.getButtonText() == words; });
}

/** Types over a field's text; without a message loop the field tells nobody by itself. */
inline void type (juce::TextEditor& editor, const juce::String& text)
{
    editor.setText (text, false);
    editor.onTextChange();
}

} // namespace tessivar::test
