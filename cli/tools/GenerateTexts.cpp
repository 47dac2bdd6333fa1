#include "cli/CommandTexts.h"

#include <fstream>
#include <iostream>

namespace
{
bool writeText (const std::string& path, const std::string& text)
{
    std::ofstream file (path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (! file)
        std::cerr << path << ": the file can't be written\n";
    return static_cast<bool> (file);
}
} // namespace

/** Writes the manual page and the bash completion of the command-line program into a folder that exists. */
int main (int numArguments, char** arguments)
{
    if (numArguments != 3)
    {
        std::cerr << "usage: " << arguments[0] << " FOLDER VERSION\n";
        return 2;
    }

    const auto base = std::string (arguments[1]) + "/" + std::string (tessivar::programName);
    const bool ok = writeText (base + ".1", tessivar::manPage (arguments[2]))
                    && writeText (base + ".bash", tessivar::bashCompletion());
    return ok ? 0 : 1;
}
