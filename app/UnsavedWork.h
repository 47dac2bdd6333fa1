#pragma once

#include "app/DialogPrompts.h"
#include "app/GroupWork.h"
#include "model/recovery/GroupAutosave.h"

#include <functional>
#include <memory>

namespace tessivar
{

/** What is not saved yet: kept for recovery while the program runs, offered at the next start when it did not
    end well, asked about before it ends. Message thread.
*/
class UnsavedWork
{
public:
    UnsavedWork (TessivarWorkspace& workspace,
                 GroupWork& work,
                 DialogPrompts& prompts,
                 const ResourceImages& images);
    ~UnsavedWork();

    /** Once the window shows: removes what ended runs left behind, and offers their Groups. */
    void start();

    /** Called about once a second. */
    void tick();

    void writeNow (const Group::Ptr& group);
    void discard (const Group::Ptr& group);

    /** Asks about unsaved Groups. True when the program may end. */
    [[nodiscard]] bool mayEnd();

    /** Writes what is not saved to the recovery folder at once. False where that can't be done. */
    bool writeAllNow();

    /** For an end without questions. */
    void keepForRecovery();

    /** Told when changes can't be kept. */
    std::function<void (const juce::String& reason)> onFailure;

private:
    void sweepLeftovers();
    void offerRecovery();

    TessivarWorkspace& workspace;
    GroupWork& work;
    DialogPrompts& prompts;
    const ResourceImages& images;
    std::shared_ptr<RecoverySession> session;
    std::unique_ptr<GroupAutosave> autosave;
    juce::String reasonAgainst;    // why there is no autosave; empty when there is one
    juce::ThreadPool sweeper{ 1 }; // what killed runs left may be large

    JUCE_DECLARE_NON_COPYABLE (UnsavedWork)
};

} // namespace tessivar
