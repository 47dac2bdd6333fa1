#include "docs/manual/tools/ManualFacts.h"

#include <juce_events/juce_events.h>

#include <fstream>
#include <iostream>

/** Writes into the file named what the manual may say about keys, menus, defaults and messages, as JSON.
    Needs no display.
*/
int main (int argc, char* argv[])
{
    if (argc != 2)
    {
        std::cerr << "Usage: tessivar_manual_facts FILE\n";
        return 2;
    }

    try
    {
        const juce::ScopedJuceInitialiser_GUI toolkit;
        nlohmann::ordered_json facts;
        facts.update (tessivar::commandFacts());
        facts.update (tessivar::valueFacts());
        facts["commandLine"] = tessivar::commandLineFacts();

        std::ofstream file (argv[1], std::ios::binary);
        file << facts.dump (1) << '\n';
        file.close();

        if (file.fail())
        {
            std::cerr << "tessivar_manual_facts: " << argv[1] << " can't be written\n";
            return 1;
        }
    }
    catch (const std::exception& error)
    {
        std::cerr << "tessivar_manual_facts: " << error.what() << '\n';
        return 1;
    }

    return 0;
}
