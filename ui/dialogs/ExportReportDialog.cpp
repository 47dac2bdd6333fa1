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
    DialogButton show, again, done;
    show.text = "Show in folder";
    show.atLeft = true;
    show.closes = false;
    again.text = "Try failed again";
    done.text = "Done";
    done.look = ButtonLook::primary;
    done.hasFirstFocus = true;
    done.isSafe = true;
    if (report.numWritten() == static_cast<int> (report.lines.size()))
        return { show, done };
    return { show, again, done };
}

DialogListRow rowFor (const ExportReportLine& line)
{
    DialogListRow row;
    row.text = line.fileName;
    row.remark = line.remark;
    row.detail = line.detail;
    switch (line.outcome)
    {
        case Outcome::written:
            row.icon = Icon::tick;
            row.iconColour = palette::green;
            break;
        case Outcome::remarked:
            row.icon = Icon::warning;
            row.iconColour = palette::amber;
            break;
        case Outcome::failed:
            row.icon = Icon::cross;
            row.iconColour = palette::red;
            row.remarkColour = palette::red;
            break;
    }
    return row;
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
