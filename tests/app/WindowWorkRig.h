#pragma once

#include "tests/app/ScriptedChooser.h"
#include "tests/ui/Snapshots.h"

#include "app/FileChooser.h"
#include "app/GroupWork.h"

#include <deque>

namespace tessivar::test
{

/** The window's work without the window: a user who answers dialogs, and a chooser that chooses, as told. */
class WindowWorkRig : private juce::Timer
{
public:
    WindowWorkRig()
    {
        juce::Logger::setCurrentLogger (&quiet);
        scrim.setBounds (0, 0, 1280, 800);
        auto folders = workspace.folderSettings();
        folders.temporaryFiles = folder.getChildFile ("temporary");
        workspace.setFolderSettings (folders);
        workspace.suppressWarning (ImportWarnings::shortDuration); // the demo is
        startTimer (2);
    }

    ~WindowWorkRig() override
    {
        stopTimer();
        juce::Logger::setCurrentLogger (nullptr);

        while (workspace.numGroups() > 0)
            workspace.removeGroup (0);

        folder.deleteRecursively();
    }

    /** Answers to the next dialogs, by the texts of their buttons. Without one, Escape; the question for a
        file type takes the proposal.
    */
    std::deque<juce::String> answers;
    std::function<void (DialogContent&)> onDialog; // sees each of them first
    juce::StringArray told;                        // messages of the dialogs that came
    bool cancelsJobs = false;

    void choose (const juce::StringArray& paths) { chooser.choose (paths); }
    [[nodiscard]] juce::StringArray chooserCalls() const { return chooser.calls(); }

    /** Imports, and returns when the files are in and all is told. */
    void import (const std::vector<juce::File>& files, const Group::Ptr& target = nullptr)
    {
        work.importInputs (files, target);
        awaitImports();
    }

    /** Nothing of an import arrives before this runs the messages. */
    void awaitImports()
    {
        while (work.imports().isReading() || work.canFinishImports())
        {
            juce::MessageManager::getInstance()->runDispatchLoopUntil (5);
            work.finishImports();
        }
    }

    PaintingFixture painting;
    const juce::File folder = juce::File::createTempFile ("");
    ScriptedChooser chooser{ newFolder ("chooser") };
    TessivarWorkspace workspace{ UserFolders::below (folder.getChildFile ("user")) };
    DialogScrim scrim;
    JobRunner runner{ scrim };
    DialogPrompts prompts{ scrim, painting.images };
    GroupWork work{ workspace, runner, prompts, juce::File (juce::String (TESSIVAR_BIN_DIR) + "/Resources") };

    /** The lines of a dialog's list. */
    [[nodiscard]] static std::vector<DialogListRow> rowsOf (const DialogContent& dialog)
    {
        for (auto* child : dialog.getChildren())
            if (const auto* list = dynamic_cast<DialogList*> (child))
                return list->getRows();

        return {};
    }

private:
    [[nodiscard]] juce::File newFolder (const char* name) const
    {
        const auto made = folder.getChildFile (name);
        made.createDirectory();
        return made;
    }

    static bool hasButton (const DialogContent& dialog, const juce::String& text)
    {
        for (int i = 0; i < dialog.getNumButtons(); ++i)
            if (dialog.getButton (i).getButtonText() == text)
                return true;

        return false;
    }

    struct Quiet final : juce::Logger
    {
        void logMessage (const juce::String&) override {}
    };

    Quiet quiet;

    void timerCallback() override
    {
        auto* top = scrim.getTop();

        if (auto* progress = dynamic_cast<ProgressDialog*> (top))
        {
            if (cancelsJobs && progress->onCancel)
                progress->onCancel();

            return;
        }

        if (top == nullptr)
            return;

        const auto asksForType = top->getTitle().startsWith ("Export ");

        if (asksForType && (answers.empty() || ! hasButton (*top, answers.front())))
        {
            top->choose (top->getNumButtons() - 1);
            return;
        }

        if (! asksForType)
            told.add (top->getMessage());

        if (onDialog)
            onDialog (*top);

        if (answers.empty())
        {
            top->escape();
            return;
        }

        const auto wanted = answers.front();
        answers.pop_front();

        for (int i = 0; i < top->getNumButtons(); ++i)
            if (top->getButton (i).getButtonText() == wanted)
            {
                top->choose (i);
                return;
            }

        told.add ("no button " + wanted);
        top->escape();
    }
};

} // namespace tessivar::test
