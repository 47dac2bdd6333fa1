#pragma once

#if TESSIVAR_REPEATED_RUNS
    #include "tests/support/RepeatedRun.h"
#endif

#include <filesystem>
#include <random>
#include <string>
#include <system_error>

namespace tessivar::test
{

/** A folder that disappears with the object. */
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::random_device device;
        std::error_code error;

        // Of a name that is taken, nothing is made.
        for (auto isMade = false; ! isMade && ! error;)
        {
            path = std::filesystem::temp_directory_path() / ("tessivar-test-" + std::to_string (device()));
#if TESSIVAR_REPEATED_RUNS
            path = RepeatedRun::current().folder (path.string(), isOwn);
#endif
            isMade = std::filesystem::create_directory (path, error) || ! isOwn;
        }
    }

    ~TemporaryFolder()
    {
        std::error_code ignored;

        if (isOwn)
            std::filesystem::remove_all (path, ignored);
    }

    TemporaryFolder (const TemporaryFolder&) = delete;
    TemporaryFolder& operator= (const TemporaryFolder&) = delete;

    [[nodiscard]] std::string name() const
    {
        return path.string();
    }

private:
    std::filesystem::path path;
    bool isOwn = true; // and not that of a process that was started here
};

} // namespace tessivar::test
