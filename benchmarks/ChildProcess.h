#pragma once

#include "benchmarks/Measurement.h"

#include <string>
#include <vector>

namespace tessivar::benchmarks
{

/** What a program printed and took. */
struct ChildRun
{
    std::string output; // on standard output
    Duration duration;
    double peakMemory = 0.0;   // bytes resident
    double peakDisk = 0.0;     // bytes of the blocks of its files in the watched folder
    double bytesRead = 0.0;    // by calls of the system, whether disk or page cache answered
    double bytesWritten = 0.0; // by calls of the system
    double bytesDirtied = 0.0; // of pages that it has made differ from the disk; 0 in memory file systems
};

/** Runs a program to its end. Memory and files are looked at a hundred times a second, also files that the
    program has deleted and still holds open; the other figures are the system's own and exact. Throws
    std::runtime_error when the program can't be started or doesn't return 0. */
[[nodiscard]] ChildRun runChild (const std::string& program,
                                 const std::vector<std::string>& arguments,
                                 const std::string& watchedFolder);

/** A folder that is deleted with this object. */
class TemporaryFolder
{
public:
    explicit TemporaryFolder (const std::string& parent);
    ~TemporaryFolder();

    TemporaryFolder (const TemporaryFolder&) = delete;
    TemporaryFolder& operator= (const TemporaryFolder&) = delete;

    std::string path;
};

} // namespace tessivar::benchmarks
