#pragma once

#include "ui/dialogs/DialogContent.h"
#include "ui/dialogs/DialogList.h"

namespace tessivar
{

/** What happened to one exported file. */
struct ExportReportLine
{
    enum class Outcome
    {
        written,
        remarked, // written, with a remark that needs a look
        failed
    };

    juce::String fileName, remark;
    Outcome outcome = Outcome::written;
    juce::String detail{}; // below the name
};

struct ExportReportContent
{
    juce::String facts; // "/Mixes/Take 3/Processed · WAV · 24-bit · 48 kHz · mono"
    std::vector<ExportReportLine> lines;

    int numWritten() const;
    /** "7 of 8 files exported", or "8 files exported". */
    juce::String title() const;
};

/** The report of an export, shown when a line needs reading. "Try failed again" appears only when one failed.
*/
class ExportReportDialog : public DialogContent
{
public:
    ExportReportDialog (const ResourceImages& images, const ExportReportContent& report);

    std::function<void()> onShowInFolder, onTryAgain;

    int idealWidth() const override { return 560; }
    juce::String getMessage() const override { return report.facts; }
    void paint (juce::Graphics& g) override;

protected:
    int bodyHeight (int width) const override;
    void layOutBody (juce::Rectangle<int> body) override;

private:
    static constexpr int factsHeight = 34;

    const ExportReportContent report;
    DialogList list;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ExportReportDialog)
};

} // namespace tessivar
