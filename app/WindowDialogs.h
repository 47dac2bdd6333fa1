#pragma once

#include "app/DialogPrompts.h"
#include "app/JobRunner.h"
#include "app/Player.h"
#include "app/TrackActions.h"
#include "app/settings/SettingsDialog.h"
#include "app/system/ProgramLog.h"

namespace tessivar
{

/** Settings, help and what the program tells about itself. Each call returns when its dialog is closed. */
class WindowDialogs
{
public:
    struct Context
    {
        TessivarWorkspace& workspace;
        Player& player;
        TrackActions& tracks;
        JobRunner& runner;
        DialogPrompts& prompts;
        const ResourceImages& images;
        const juce::Component& window;
        const juce::File resources;
        const ProgramLog& log; // whose last lines go into diagnostics
    };

    explicit WindowDialogs (const Context& contextToUse) : context (contextToUse) {}

    void openSettings (SettingsPageId page);
    void openDocument (const char* name);
    void openContactPage();
    void showAbout();
    void showKeySheet();

    /** Of the selected track's settings, at equal loudness; afterwards everything sounds as before. */
    void showBlindTest();

private:
    [[nodiscard]] juce::String makeDiagnostics (bool withPaths);

    const Context context;
};

} // namespace tessivar
