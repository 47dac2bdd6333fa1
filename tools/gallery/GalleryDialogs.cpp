#include "tools/gallery/GalleryPages.h"

#include "terms/DrumType.h"
#include "ui/Buttons.h"
#include "ui/DrumDrawing.h"
#include "ui/Palette.h"
#include "ui/dialogs/ChecklistDialog.h"
#include "ui/dialogs/ExportReportDialog.h"
#include "ui/dialogs/MessageDialog.h"
#include "ui/dialogs/ProgressDialog.h"

namespace tessivar::test
{
namespace
{

juce::String utf8 (const char* text)
{
    return juce::String::fromUTF8 (text);
}

ExportReportContent sampleReport()
{
    using Outcome = ExportReportLine::Outcome;
    ExportReportContent report;
    report.facts =
        utf8 ("/Mixes/Take 3/Processed \xc2\xb7 WAV \xc2\xb7 24-bit \xc2\xb7 48 kHz \xc2\xb7 mono");
    report.lines = {
        { "Kick In_Processed.wav", {}, Outcome::written },
        { "Snare Top_Processed.wav", "File already exists - Overwritting.", Outcome::remarked },
        { "HiHat_Processed.wav",
          "Failed to write file.",
          Outcome::failed,
          "/Mixes/Take 3/Processed/HiHat_Processed.wav can't be written: No space left on device "
          "(31752044 bytes needed, 1048576 bytes free)" },
        { "Rack Tom 1_Processed.wav", {}, Outcome::written },
        { "Ride.wav", "Written as is, not processed.", Outcome::written },
        { "Room Mono.wav", "Written as is, not processed.", Outcome::written },
        { "Spot 1.wav", "Written as is, not processed.", Outcome::written },
        { "Spot 2.wav", {}, Outcome::written },
        { "Spot 3.wav", {}, Outcome::written }
    };
    return report;
}

std::vector<std::unique_ptr<DialogContent>> sampleDialogs (const ResourceImages& images)
{
    std::vector<std::unique_ptr<DialogContent>> dialogs;
    dialogs.push_back (makeWarningDialog (images,
                                          "Warning",
                                          "The following files have a samplerate which is different from the "
                                          "first track you added in the group.",
                                          { "Overhead L.wav", "Overhead R.wav", "Talkback.wav" },
                                          { "44100 Hz in a group of 48000 Hz",
                                            "44100 Hz in a group of 48000 Hz",
                                            "22050 Hz in a group of 48000 Hz" },
                                          false,
                                          nullptr));
    dialogs.push_back (
        makeWarningDialog (images,
                           "Warning",
                           "The group contains tracks of small duration. In order to get the best possible "
                           "results, please consider merging groups of smaller tracks.",
                           { "Kick In.wav (22.41secs)", "Snare Top.wav (22.41secs)" },
                           {},
                           true,
                           nullptr));
    dialogs.push_back (makeQuestionDialog (images,
                                           "Quick Tips",
                                           "To ensure the best possible analysis results:\n 1) Please make "
                                           "sure to choose the correct drum type for each "
                                           "track.\n 2) Please avoid including tracks consisting exclusively "
                                           "of leakage or silence.\n 3) Keep in mind that "
                                           "different track combinations produce different results.\n\n "
                                           "Would you like to proceed with analysis, or change "
                                           "track settings?",
                                           "PROCEED",
                                           "RETURN",
                                           ButtonLook::primary,
                                           nullptr));
    dialogs.push_back (
        makeWarningDialog (images,
                           "Warning",
                           "In order to analyze the HiHat track a Kick or Snare track has to be present in "
                           "the Group. Add a Kick/Snare track or select Other as the track type.",
                           {},
                           {},
                           false,
                           nullptr));
    dialogs.push_back (
        makeQuitDialog (images,
                        { { utf8 ("Take 3 \xc2\xb7 Full Kit"), "Focus and drum types changed", true },
                          { "Rehearsal", "Never saved", false } },
                        nullptr));
    dialogs.push_back (makeRecoveryDialog (images, { { "Take 3", "Changed today, 14:02", true } }, nullptr));
    dialogs.push_back (makeQuestionDialog (images,
                                           "Warning",
                                           "Do you want to overwrite previously exported files?",
                                           "Overwrite",
                                           "Cancel",
                                           ButtonLook::caution,
                                           nullptr));
    auto analysing = std::make_unique<ProgressDialog> (utf8 ("Analyzing Take 3 \xc2\xb7 Full Kit"));
    analysing->setState ({ analysisStages (75), 0.41, "Separating, pass 46 of 75", 40.0 });
    dialogs.push_back (std::move (analysing));
    auto exporting = std::make_unique<ProgressDialog> ("Exporting Group to folder /Mixes/Take 3/Processed");
    exporting->setState ({ {}, 0.58, utf8 ("Rack Tom 2_Processed.wav \xc2\xb7 5 of 8"), {} });
    dialogs.push_back (std::move (exporting));
    dialogs.push_back (std::make_unique<ExportReportDialog> (images, sampleReport()));
    return dialogs;
}

/** Menus and tooltips cannot be snapped without a window, so the look paints them here by itself. */
void paintMenus (juce::Graphics& g)
{
    auto& look = juce::LookAndFeel::getDefaultLookAndFeel();
    const auto menuAt = [&] (int x, int y, int width, int height)
    {
        g.setOrigin (x, y);
        look.drawPopupMenuBackground (g, width, height);
        g.setOrigin (-x, -y);
    };
    menuAt (20, 20, 200, 222);
    for (int i = 0; const auto type : drumTypeChooserOrder)
    {
        const auto icon = iconDrawable (drumIcon (type), 16.0f, drumColour (type));
        look.drawPopupMenuItem (g,
                                { 20, 26 + 30 * i, 200, 30 },
                                false,
                                true,
                                i == 3,
                                false,
                                false,
                                drumName (type),
                                juce::String (i + 1),
                                icon.get(),
                                nullptr);
        ++i;
    }
    menuAt (240, 20, 250, 143);
    const auto item = [&] (int y,
                           const char* text,
                           const char* key,
                           bool ticked,
                           bool sub,
                           bool active,
                           const juce::Colour* colour)
    {
        look.drawPopupMenuItem (
            g, { 240, y, 250, 30 }, false, active, false, ticked, sub, text, key, nullptr, colour);
    };
    item (26, "Include in analysis", "E", true, false, true, nullptr);
    item (56, "Drum type", "", false, true, true, nullptr);
    look.drawPopupMenuItem (
        g, { 240, 86, 250, 11 }, true, true, false, false, false, {}, {}, nullptr, nullptr);
    item (97, "Copy A to B", "", false, false, false, nullptr);
    item (127, "Remove from group", "Delete", false, false, true, &palette::danger);

    for (const auto& [tip, y] : { std::pair<const char*, int>{
                                      "Turn down what is not this drum [Alt+\xe2\x86\x91 \xe2\x86\x93]", 20 },
                                  { "Hear only what is removed [R]", 64 } })
    {
        const auto size = look.getTooltipBounds (utf8 (tip), {}, { 0, 0, 2000, 2000 }).withZeroOrigin();
        g.setOrigin (520, y);
        look.drawTooltip (g, utf8 (tip), size.getWidth(), size.getHeight());
        g.setOrigin (-520, -y);
    }
}

} // namespace

std::unique_ptr<juce::Component> dialogsPage (const ResourceImages& images)
{
    auto sheet = std::make_unique<GallerySheet> (1160, 1400, palette::window);
    int y[] = { 20, 20 };
    int index = 0;
    for (auto& dialog : sampleDialogs (images))
    {
        const auto column = index++ % 2;
        const auto width = dialog->idealWidth();
        const auto height = dialog->idealHeight (width);
        sheet->add (std::move (dialog)).setBounds (20 + column * 570, y[column], width, height);
        y[column] += height + 16;
    }
    return sheet;
}

std::unique_ptr<juce::Component> menusPage (const ResourceImages&)
{
    auto sheet = std::make_unique<GallerySheet> (860, 260, palette::window);
    sheet->over = paintMenus;
    auto& status = sheet->add (std::make_unique<DeviceStatusButton>());
    status.setStatus (utf8 ("Studio Interface \xc2\xb7 48 kHz \xc2\xb7 256 samples"), false);
    status.setBounds (520, 120, status.idealWidth(), 28);
    auto& warning = sheet->add (std::make_unique<DeviceStatusButton>());
    warning.setStatus ("Device 44.1 kHz, group 48 kHz", true);
    warning.setBounds (520, 150, warning.idealWidth(), 28);
    return sheet;
}

} // namespace tessivar::test
