#include "app/WindowDialogs.h"

#include "app/FileChooser.h"
#include "app/KeySheet.h"
#include "app/about/AboutDialog.h"
#include "app/about/Diagnostics.h"
#include "app/system/ScreenFit.h"
#include "platform/Desktop.h"
#include "ui/dialogs/BlindTestDialog.h"

#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace tessivar
{

namespace
{
constexpr auto contactPage = "https://tessivar.org/contact";
constexpr int diagnosticsLogLines = 60;
} // namespace

void WindowDialogs::openSettings (SettingsPageId page)
{
    auto& tracks = context.tracks;
    SettingsDialogContext settings{
        .workspace = context.workspace,
        .device = context.player.device,
        .prompts = context.prompts,
        .groupRate = [&] { return tracks.group() != nullptr ? tracks.group()->sampleRate() : 0.0; },
        .runJob =
            [this] (const juce::String& title, std::vector<ProgressStage> stages, const JobRunner::Work& job)
        { return context.runner.run (title, std::move (stages), job); },
        .chooseFiles = [this] (const FileChooserRequest& request)
        { return context.prompts.chooseFiles (request); },
        .onInterfaceSizeChanged = [this] (int) { applyInterfaceSize (context.workspace.settings()); },
        .firstPage = page
    };
    context.prompts.showModally ([&] (std::function<void()>) { return makeSettingsDialog (settings); });
    context.player.device.matchGroupRate();
}

void WindowDialogs::openDocument (const char* name)
{
    const auto file = context.resources.getChildFile (name);

    if (! file.existsAsFile() || ! openExternally (file.getFullPathName()))
        context.prompts.warn ("The document can't be opened.", file.getFullPathName());
}

void WindowDialogs::openContactPage()
{
    if (! openExternally (contactPage))
        context.prompts.warn ("No suitable browser found.");
}

void WindowDialogs::showAbout()
{
    showAboutDialog (context.prompts,
                     context.images,
                     context.resources,
                     [this] (bool withPaths) { return makeDiagnostics (withPaths); });
}

void WindowDialogs::showKeySheet()
{
    context.prompts.showModally ([] (std::function<void()>)
                                 { return std::make_unique<KeySheetDialog> (keySheetSections()); });
}

void WindowDialogs::showBlindTest()
{
    const auto track = context.tracks.track();

    if (track == nullptr)
        return;

    if (track->knobs (KnobSetting::a) == track->knobs (KnobSetting::b))
    {
        context.prompts.tell ("Blind test of A and B",
                              "A and B of " + track->name()
                                  + " are set alike: there is nothing to tell apart.");
        return;
    }

    auto& player = context.player;
    const auto matched = player.matchesLoudness();
    const auto listening = player.listeningTo();
    const auto wasPlaying = player.isPlaying();
    const auto position = player.position();
    player.setListening (Listening::processed);
    player.setMatchesLoudness (true);
    context.prompts.showModally (
        [&] (std::function<void()>)
        {
            auto dialog = std::make_unique<BlindTestDialog> (std::random_device{}());
            dialog->isReady = [&player] { return player.isLoudnessKnown(); };
            dialog->onPlayOrStop = [&player] { player.playOrStop(); };
            dialog->onListen = [&player] (KnobSetting setting)
            {
                player.setAudition (setting);

                if (! player.isPlaying())
                    player.play();
            };
            return dialog;
        });
    player.setAudition ({});
    player.setListening (listening);
    player.setMatchesLoudness (matched);

    if (! wasPlaying)
    {
        player.stop();
        player.seek (position);
    }
}

juce::String WindowDialogs::makeDiagnostics (bool withPaths)
{
    const auto& desktop = juce::Desktop::getInstance();
    const auto& device = context.player.device;
    juce::String screen;

    if (const auto* display = desktop.getDisplays().getPrimaryDisplay())
        screen << display->totalArea.getWidth() << " x " << display->totalArea.getHeight() << ", interface "
               << juce::roundToInt (desktop.getGlobalScaleFactor() * 100.0f) << " %, window "
               << context.window.getWidth() << " x " << context.window.getHeight();

    DiagnosticsRequest request{ context.workspace, context.resources, device.statusText(), {}, screen, {},
                                withPaths };

    for (const auto* type : context.player.device.manager().getAvailableDeviceTypes())
        request.soundTypes.add (type->getTypeName());

    request.logLines = context.log.lastLines (diagnosticsLogLines);
    return diagnosticsText (request);
}

} // namespace tessivar
