#include "app/TessivarApplication.h"
#include "model/Version.h"
#include "platform/DiskNames.h"
#include "platform/Process.h"
#include "platform/RoomRelease.h"

#include <iostream>
#include <string>
#include <vector>

namespace
{
constexpr auto helpText =
    "Usage: tessivar [FILE...]\n"
    "\n"
    "Opens the window, and in it group files (.dls), audio files and folders. When Tessivar runs\n"
    "already, the files open there.\n"
    "\n"
    "Options:\n"
    "  --help     Print this help.\n"
    "  --version  Print version and revision.\n"
    "\n"
    "TESSIVAR_SCALE in the environment sets the size of the interface (1 to 2).\n"
    "Without a screen use tessivar-cli.\n";

juce::JUCEApplicationBase* createApplication()
{
    return new tessivar::TessivarApplication();
}
} // namespace

int main (int argc, char* argv[])
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string_view argument (argv[i]);

        if (argument == "--")
            break;

        if (argument == "--help" || argument == "-h")
        {
            std::cout << helpText;
            return 0;
        }

        if (argument == "--version")
        {
            std::cout << "tessivar " << tessivar::programVersion() << " (" << tessivar::programRevision()
                      << ")\n";
            return 0;
        }

        if (argument.size() > 1 && argument.front() == '-')
        {
            std::cerr << "tessivar: unknown option " << argument << "\nTry: tessivar --help\n";
            return 2;
        }
    }

    if (tessivar::environmentVariable ("DISPLAY").isEmpty())
    {
        std::cerr << "tessivar: there is no X server to show a window on (DISPLAY is not set); "
                     "tessivar-cli works without one\n";
        return 1;
    }

    // As text, since arguments are any bytes.
    std::vector<std::string> texts;
    for (int i = 0; i < argc; ++i)
        texts.push_back (tessivar::pathOfBytes (argv[i]).toStdString());

    std::vector<const char*> arguments;
    for (const auto& text : texts)
        arguments.push_back (text.c_str());

    tessivar::prepareOutput(); // whoever read the standard output may be gone
    juce::JUCEApplicationBase::createInstance = &createApplication;
    const auto code = juce::JUCEApplicationBase::main (argc, arguments.data());
    tessivar::roomRelease::handOver();
    return code;
}
