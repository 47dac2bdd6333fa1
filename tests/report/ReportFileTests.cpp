#include "report/ReportJob.h"
#include "tests/report/ReportFixtures.h"
#include "tests/support/WhicheverCallFails.h"
#include "tests/support/WorkFolder.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

using Catch::Contains;

TEST_CASE ("A report replaces a file only by a whole page, and only when asked to", "[report][page]")
{
    const WorkFolder work;
    const auto file = work.file ("report.html");
    const auto content = contentOf (groupOf ({ toneTrack ("Snare") }), {});
    REQUIRE (file.replaceWithText ("older"));
    CHECK_THAT (writeReport (content, { .file = file }).reason, Contains ("report.html: the file exists"));
    CHECK (
        writeReport (content, { .file = file, .overwrite = true }, { [] { return true; }, {} }).wasStopped());
    CHECK (file.loadFileAsString() == "older");

    auto own = content;
    own.group.tracks[0].sourceInfo.file = file;
    CHECK_THAT (writeReport (own, { .file = file, .overwrite = true }).reason, Contains ("source file"));

    whicheverCallFails (2,
                        [&] (FaultyCalls& calls)
                        {
                            REQUIRE (file.replaceWithText ("older"));
                            const auto outcome =
                                writeReport (content, { .file = file, .overwrite = true, .calls = &calls });
                            const auto now = file.loadFileAsString();
                            CHECK ((now == "older" || now.endsWith ("</html>\n")));
                            CHECK ((outcome.isOk() || ! outcome.reason.empty()));
                            CHECK ((! outcome.isOk() || now != "older"));
                            CHECK (work.numEntries() == 1);
                        });
}
