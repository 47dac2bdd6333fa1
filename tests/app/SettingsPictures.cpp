#include "tests/app/SettingsRig.h"

#include "app/AppSettings.h"
#include "app/settings/AudioPageState.h"
#include "app/settings/PerformanceState.h"

#include <iostream>

// Writes a picture of every page of the settings into a folder: tessivar_settings_pictures <folder>

namespace
{
bool write (juce::Component& component, const juce::File& file)
{
    file.deleteFile();
    juce::FileOutputStream stream (file);
    return stream.openedOk()
           && juce::PNGImageFormat().writeImageToStream (tessivar::test::snapshot (component, 2.0f), stream);
}
} // namespace

int main (int argc, char* argv[])
{
    using namespace tessivar;

    if (argc < 2)
    {
        std::cerr << "usage: tessivar_settings_pictures <folder>\n";
        return 1;
    }

    const auto folder =
        juce::File::getCurrentWorkingDirectory().getChildFile (juce::String::fromUTF8 (argv[1]));

    if (! folder.createDirectory())
        return 1;

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

    auto ok = write (*rig.dialog (SettingsPageId::audioDevice), folder.getChildFile ("audio-none.png"));
    ok = changeOutput (rig.device, "Fake", rig.card->name).wasOk() && ok;
    ok = write (*rig.dialog (SettingsPageId::audioDevice), folder.getChildFile ("audio.png")) && ok;
    ok = write (*rig.dialog (SettingsPageId::folders), folder.getChildFile ("folders.png")) && ok;
    ok = write (*rig.dialog (SettingsPageId::performance), folder.getChildFile ("performance.png")) && ok;

    auto lists = rig.dialog (SettingsPageId::abbreviations);
    test::findButton (*lists, "Snare")->onClick();
    auto* editor = test::find<juce::TextEditor> (*lists, "A file is a Snare when its name contains");
    test::type (*editor, "snare; snr; rim");
    test::type (*test::find<juce::TextEditor> (*lists, "Try a file name"), "Rim click 02.wav");
    ok = write (*lists, folder.getChildFile ("abbreviations.png")) && ok;
    test::type (*editor, "snare; snr; kick;");
    ok = write (*lists, folder.getChildFile ("abbreviations-hints.png")) && ok;
    return ok ? 0 : 1;
}
