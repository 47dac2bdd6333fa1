#include "ui/dialogs/ExportReportDialog.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"

#include <algorithm>

namespace tessivar
{
namespace
{

using Outcome = ExportReportLine::Outcome;

std::vector<DialogButton> buttonsFor (const ExportReportContent& report)
{
    std::vector<DialogButton> buttons{ { .text = "Show in folder", .atLeft = true, .closes = false } };
    if (report.numWritten() < static_cast<int> (report.lines.size()))
        buttons.push_back ({ .text = "Try failed again" });
    buttons.push_back (
        { .text = "Done", .look = ButtonLook::primary, .hasFirstFocus = true, .isSafe = true });
    return buttons;
}

DialogListRow rowFor (const ExportReportLine& line)
{
    const auto isFailed = line.outcome == Outcome::failed;
    const auto isWritten = line.outcome == Outcome::written;
    return { .text = line.fileName,
             .remark = line.remark,
             .detail = line.detail,
             .icon = isFailed    ? Icon::cross
                     : isWritten ? Icon::tick
                                 : Icon::warning,
             .iconColour = isFailed    ? palette::red
                           : isWritten ? palette::green
                                       : palette::amber,
             .remarkColour = isFailed ? palette::red : juce::Colour() };
}

} // namespace

int ExportReportContent::numWritten() const
{
    return static_cast<int> (std::count_if (
        lines.begin(), lines.end(), [] (auto& line) { return line.outcome != Outcome::failed; }));
}

juce::String ExportReportContent::title() const
{
    const auto total = static_cast<int> (lines.size());
    const auto files = juce::String (total) + (total == 1 ? " file exported" : " files exported");
    return numWritten() == total ? files : juce::String (numWritten()) + " of " + files;
}

ExportReportDialog::ExportReportDialog (const ResourceImages& images, const ExportReportContent& reportToShow)
    : DialogContent (reportToShow.title(), buttonsFor (reportToShow)), report (reportToShow), list (images)
{
    std::vector<DialogListRow> rows;
    for (const auto& line : report.lines)
        rows.push_back (rowFor (line));
    list.setRows (std::move (rows), 30);
    list.setTitle ("Exported files");
    addAndMakeVisible (list);

    const auto hasAgain = getNumButtons() == 3;
    onChoice = [this, hasAgain] (int index)
    {
        const auto callback = index == 0 ? onShowInFolder : onTryAgain;
        if (callback != nullptr && (index == 0 || (index == 1 && hasAgain)))
            callback();
    };
}

int ExportReportDialog::bodyHeight (int width) const
{
    return factsHeight + list.idealHeight (width);
}

void ExportReportDialog::layOutBody (juce::Rectangle<int> body)
{
    list.setBounds (body.withTrimmedTop (factsHeight));
}

void ExportReportDialog::paint (juce::Graphics& g)
{
    DialogContent::paint (g);
    g.setColour (palette::textLow);
    g.setFont (fonts::inter (12.0f));
    g.drawText (report.facts, bodyArea().withHeight (18), juce::Justification::topLeft, true);
}

} // namespace tessivar
