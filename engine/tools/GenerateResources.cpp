// Writes the analysis data files; run by the build.

#include "engine/DataFileGenerator.h"

#include <cstdio>

int main (int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf (stderr, "usage: generate-resources FOLDER\n");
        return 2;
    }

    const auto error = tessivar::writeAllDataFiles (argv[1]);

    if (! error.empty())
        std::fprintf (stderr, "%s\n", error.c_str());

    return error.empty() ? 0 : 1;
}
