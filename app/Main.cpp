#include "app/TessivarApplication.h"
#include "model/Version.h"
#include "platform/Desktop.h"
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
    tessivar::prepareOutput(); // whoever read the standard output may be gone
    const auto given = tessivar::programArguments (argc, argv);

    for (const auto& argument : given)
    {
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

    if (const auto reason = tessivar::whyNoWindow(); reason.isNotEmpty())
    {
        std::cerr << "tessivar: " << reason << "; tessivar-cli works without one\n";
        return 1;
    }

    // As text, since arguments are any bytes.
    std::vector<std::string> texts{ "tessivar" };
    for (const auto& argument : given)
        texts.push_back (tessivar::pathOfBytes (argument).toStdString());

    std::vector<const char*> arguments;
    for (const auto& text : texts)
        arguments.push_back (text.c_str());

    juce::JUCEApplicationBase::createInstance = &createApplication;
    const auto code = juce::JUCEApplicationBase::main (static_cast<int> (arguments.size()), arguments.data());
    tessivar::roomRelease::handOver();
    return code;
}
