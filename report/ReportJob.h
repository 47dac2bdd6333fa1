#pragma once

#include "model/OutputRules.h"
#include "platform/FileSystemCalls.h"
#include "report/ReportFacts.h"
#include "terms/Outcome.h"
#include "terms/WorkControl.h"

#include <juce_core/juce_core.h>

namespace tessivar
{

struct ReportOptions
{
    juce::File file;        // to write: one page that needs nothing else; its folder is made when missing
    bool overwrite = false; // when it exists
    bool withAudio = false; // short passages to listen to, about 3 MB for each track
    int numThreads = 1;
    OutputRules* rules = nullptr;     // that the file is claimed from; null: only the Group's own files count
    FileSystemCalls* calls = nullptr; // null: those of the operating system
};

/** Reads the tracks of a Group, measures them and writes the page about them. What is there under the page's
    name stays untouched until the new page is complete. A track that can't be read is told of in the page.

    Memory: 3 MB for each thread, and 0.5 MB for each track. On any thread.
*/
[[nodiscard]] Outcome
writeReport (const ReportContent& content, const ReportOptions& options, const WorkControl& control = {});

} // namespace tessivar
