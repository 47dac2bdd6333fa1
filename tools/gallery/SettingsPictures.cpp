#include "tests/app/SettingsRig.h"
#include "tools/gallery/Pictures.h"

#include "app/AppSettings.h"
#include "app/settings/AudioPageState.h"
#include "app/settings/PerformanceState.h"

#include <iostream>

namespace
{
using namespace tessivar;

void writePages (const juce::File& folder)
{
    test::SettingsRig rig;
    rig.groupRate = 44100.0;
    BenchmarkSummary benchmark;
    benchmark.folder = rig.workspace.temporaryFolder().folder.getFullPathName();
    benchmark.when = juce::Time::getCurrentTime();
    benchmark.readBytesPerSecond = 1840e6;
    benchmark.writeBytesPerSecond = 1210e6;
    benchmark.keepsUp = true;
    benchmark.proposal.seconds = 2.0;
    benchmark.proposal.framesPerRead = 8192;
    rig.workspace.settings().setValue (appSettingsKeys::diskBenchmark, benchmark.toText());

    const auto save = [&] (juce::Component& page, const char* name)
    { test::writePicture (page, folder.getChildFile (name), 2.0f); };

    save (*rig.dialog (SettingsPageId::audioDevice), "audio-none.png");

    if (const auto changed = changeOutput (rig.device, "Fake", rig.card->name); changed.failed())
        throw std::runtime_error (changed.getErrorMessage().toStdString());

    save (*rig.dialog (SettingsPageId::audioDevice), "audio.png");
    save (*rig.dialog (SettingsPageId::folders), "folders.png");
    save (*rig.dialog (SettingsPageId::performance), "performance.png");

    auto lists = rig.dialog (SettingsPageId::abbreviations);
    test::findButton (*lists, "Snare")->onClick();
    auto* editor = test::find<juce::TextEditor> (*lists, "A file is a Snare when its name contains");
    test::type (*editor, "snare; snr; rim");
    test::type (*test::find<juce::TextEditor> (*lists, "Try a file name"), "Rim click 02.wav");
    save (*lists, "abbreviations.png");
    test::type (*editor, "snare; snr; kick;");
    save (*lists, "abbreviations-hints.png");
}
} // namespace

/** Writes a picture of every page of the settings into a folder: tessivar_settings_pictures FOLDER */
int main (int argc, char* argv[])
{
    if (argc != 2)
    {
        std::cerr << "usage: tessivar_settings_pictures FOLDER\n";
        return 1;
    }

    try
    {
        writePages (test::pictureFolder (argv[1]));
        return 0;
    }
    catch (const std::runtime_error& error)
    {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
