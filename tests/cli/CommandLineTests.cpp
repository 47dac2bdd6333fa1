#include "cli/CommandLine.h"
#include "cli/CommandTexts.h"

#include <juce_core/juce_core.h>

#include <catch2/catch.hpp>

#include <cstdlib>

using namespace tessivar;

using Kind = CommandLineResult::Kind;

TEST_CASE ("Command line", "[cli]")
{
    SECTION ("options take one value each and may stand between operands")
    {
        const auto result = parseCommandLine ({ "process",
                                                "a.wav",
                                                "--type",
                                                "SD=snare",
                                                "b.wav",
                                                "--focus=2",
                                                "--focus",
                                                "HH=4",
                                                "--out",
                                                "o",
                                                "c d" });
        REQUIRE (result.kind == Kind::run);
        CHECK (result.invocation.operands == std::vector<std::string>{ "a.wav", "b.wav", "c d" });
        CHECK (result.invocation.all ("--focus") == std::vector<std::string>{ "2", "HH=4" });
        CHECK (result.invocation.all ("--type") == std::vector<std::string>{ "SD=snare" });
        CHECK (*result.invocation.one ("--out") == "o");
        CHECK_FALSE (result.invocation.has ("--json"));
    }

    SECTION ("names that look like syntax stay names")
    {
        const auto result = parseCommandLine (
            { "process", "[a,b]", "--exclude", "[x,y]", "--out", "-o", "--", "-c.wav", "--json" });
        REQUIRE (result.kind == Kind::run);
        CHECK (result.invocation.operands == std::vector<std::string>{ "[a,b]", "-c.wav", "--json" });
        CHECK (result.invocation.all ("--exclude") == std::vector<std::string>{ "[x,y]" });
        CHECK_FALSE (result.invocation.has ("--json"));
    }

    SECTION ("mistakes are named, with what was likely meant")
    {
        const auto errorOf = [] (const std::vector<std::string>& arguments)
        {
            const auto result = parseCommandLine (arguments);
            CHECK (result.kind == Kind::error);
            return result.error;
        };
        CHECK_THAT (errorOf ({ "proces" }), Catch::Contains ("did you mean process?"));
        CHECK_THAT (errorOf ({ "process", "a", "--out", "o", "--fokus", "3" }),
                    Catch::Contains ("did you mean --focus?"));
        CHECK_THAT (errorOf ({ "process", "a" }), Catch::Contains ("--out DIR is missing"));
        CHECK_THAT (errorOf ({ "process", "--out", "o" }), Catch::Contains ("INPUT... is missing"));
        CHECK_THAT (errorOf ({ "process", "a", "--out", "o", "--seed", "1", "--seed", "2" }),
                    Catch::Contains ("--seed is given more than once"));
        CHECK_THAT (errorOf ({ "process", "a", "--out" }), Catch::Contains ("--out"));
        CHECK_THAT (errorOf ({ "demo", "a", "b" }), Catch::Contains ("\"b\""));
        CHECK_THAT (errorOf ({ "selftest", "x" }), Catch::Contains ("\"x\""));
        CHECK_FALSE (errorOf ({}).empty());
    }

    SECTION ("help and version win over what is missing")
    {
        CHECK (parseCommandLine ({ "--version" }).kind == Kind::version);
        CHECK (parseCommandLine ({ "--help" }).invocation.command == nullptr);
        const auto help = parseCommandLine ({ "process", "--help" });
        CHECK (help.kind == Kind::help);
        CHECK (help.invocation.command == findCommand ("process"));
    }
}

TEST_CASE ("Texts made from the command table", "[cli]")
{
    SECTION ("help fits 80 columns")
    {
        auto texts = helpText (nullptr);
        for (const auto& command : commandTable())
            texts += helpText (&command);
        for (const auto& line : juce::StringArray::fromLines (texts))
            CHECK (line.length() <= 80);
    }

    SECTION ("manual page and completion are what the shell and the pager take without complaint")
    {
        const auto base = std::string (TESSIVAR_TEXT_DIR) + "/tessivar-cli";
        const auto page = juce::File (base + ".1").loadFileAsString();
        const auto completion = juce::File (base + ".bash").loadFileAsString();
        for (const auto& command : commandTable())
            for (const auto& option : command.options)
            {
                const auto name = juce::String (std::string (option.name));
                INFO (name);
                CHECK (page.contains (name.replace ("-", "\\-")));
                CHECK (completion.contains (name));
            }

#if ! JUCE_WINDOWS
        CHECK (std::system (("bash -n '" + base + ".bash'").c_str()) == 0);
        // After NAME=, which the shell hands over as three words, the types are offered.
        const auto script =
            "source '" + base
            + ".bash'; COMP_WORDS=(tessivar-cli process a --type SD = tom); COMP_CWORD=6; _tessivar_cli; "
              "[[ \"${COMPREPLY[*]}\" == 'tomHigh tomLow tomFloor' ]]; ";
        CHECK (std::system (("bash -c \""
                             + juce::String (script).replace ("\"", "\\\"").replace ("$", "\\$").toStdString()
                             + "\"")
                                .c_str())
               == 0);
#endif
    }
}
