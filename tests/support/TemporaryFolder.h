#pragma once

#include <cstdlib>
#include <filesystem>
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
        auto pattern = (std::filesystem::temp_directory_path() / "tessivar-test-XXXXXX").string();

        if (::mkdtemp (pattern.data()) != nullptr)
            path = pattern;
    }

    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all (path, ignored);
    }

    TemporaryFolder (const TemporaryFolder&) = delete;
    TemporaryFolder& operator= (const TemporaryFolder&) = delete;

    [[nodiscard]] std::string name() const { return path.string(); }

private:
    std::filesystem::path path;
};

} // namespace tessivar::test
