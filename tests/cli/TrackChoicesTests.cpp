#include "cli/ProcessRequest.h"
#include "cli/TrackChoices.h"

#include <catch2/catch.hpp>

using namespace tessivar;

namespace
{
/** The request for "process in --out out" and these options; nothing when it is refused. */
std::optional<ProcessRequest> requestFor (std::vector<std::string> options, juce::String* reason = nullptr)
{
    options.insert (options.begin(), { "process", "in", "--out", "/out" });
    const auto parsed = parseCommandLine (options);
    REQUIRE (parsed.kind == CommandLineResult::Kind::run);
    std::vector<ProcessRequest> requests;
    const auto outcome = parseProcessRequests (parsed.invocation, requests);
    if (reason != nullptr)
        *reason = outcome.getErrorMessage();
    return outcome.wasOk() ? std::optional (requests.front()) : std::nullopt;
}
} // namespace

TEST_CASE ("Patterns", "[cli]")
{
    SECTION ("fit as a whole, in any case, with * and ?")
    {
        for (const auto* pattern :
             { "SD Top", "sd top", "SD*", "*top", "*", "S? T?p", "*D*o*", "SD Top*", "**" })
            CHECK (matchesPattern ("SD Top", pattern));
        for (const auto* pattern : { "SD", "Top", "SD Top?", "?", "", "SD*x", "*To" })
            CHECK_FALSE (matchesPattern ("SD Top", pattern));
        CHECK (matchesPattern ("", "*"));
        CHECK_FALSE (matchesPattern ("", "?"));
        CHECK (matchesPattern ("aaaaab", "*a*ab"));
        CHECK (matchesPattern (juce::String::fromUTF8 ("Trömmel"), juce::String::fromUTF8 ("TR?MMEL")));
    }

    SECTION ("that fit no track are told with the names there are")
    {
        CHECK (checkPatterns ("--type", { "SD*" }, { "SD Top", "Kick" }).wasOk());
        const auto outcome = checkPatterns ("--type", { "SD*", "Hat" }, { "SD Top", "Kick" });
        CHECK (outcome.getErrorMessage()
               == "--type \"Hat\": no track has this name; the tracks are \"SD Top\", \"Kick\"");
    }
}

TEST_CASE ("Options of process", "[cli]")
{
    SECTION ("knobs are numbers of their range or percentages of it")
    {
        CHECK (parseKnobValue ("0", 5.0f) == 0.0f);
        CHECK (parseKnobValue ("2.5", 5.0f) == 2.5f);
        CHECK (parseKnobValue ("50%", 5.0f) == 2.5f);
        CHECK (parseKnobValue ("100%", 1.0f) == 1.0f);
        for (const auto* text :
             { "", "%", "5.1", "-1", "101%", "2,5", "nan", "inf", "3x", " 3", "0x1", "1e9" })
            CHECK_FALSE (parseKnobValue (text, 5.0f).has_value());
    }

    SECTION ("a named value beats a general one wherever it stands, and the last named one wins")
    {
        const auto request =
            requestFor ({ "--focus", "*=4", "--focus", "HH=1", "--focus", "2", "--fine", "25%" });
        REQUIRE (request.has_value());
        CHECK (request->focus.valueFor ("HH") == 1.0f);
        CHECK (request->focus.valueFor ("Kick") == 4.0f);
        CHECK (request->focus.general == 2.0f);
        CHECK (request->fine.valueFor ("HH") == 0.25f);
        CHECK_FALSE (requestFor ({})->focus.valueFor ("HH").has_value());
    }

    SECTION ("the last equals sign parts name and value")
    {
        const auto request = requestFor ({ "--type", "a=b=SNARE", "--focus", "x=y=1" });
        REQUIRE (request.has_value());
        CHECK (request->types.valueFor ("a=b") == DrumType::snare);
        CHECK_FALSE (request->types.valueFor ("a").has_value());
        CHECK (request->focus.valueFor ("x=y") == 1.0f);
    }

    SECTION ("the refined method suggests values, and only it")
    {
        const auto request = requestFor ({ "--method", "refined", "--focus", "HH=2" });
        REQUIRE (request.has_value());
        CHECK (request->method == AnalysisMethod::refined);
        CHECK (requestFor ({ "--focus", "suggested" }).has_value());
        CHECK_FALSE (request->focus.valueFor ("Kick").has_value()); // the analysis chooses
        CHECK (request->focus.valueFor ("HH") == 2.0f);
        CHECK_FALSE (requestFor ({ "--method", "standard", "--focus", "suggested" }).has_value());
        CHECK_FALSE (requestFor ({ "--method", "standard", "--focus", "HH=suggested" }).has_value());
        CHECK_FALSE (requestFor ({ "--method", "refined", "--fine", "suggested" }).has_value());
    }

    SECTION ("a bad value is refused with the option and what is expected")
    {
        for (const auto& [options, part] : std::vector<std::pair<std::vector<std::string>, const char*>>{
                 { { "--focus", "6" }, "0 to 5" },
                 { { "--fine", "HH=5" }, "0 to 1" },
                 { { "--type", "SD=drum" }, "\"drum\" is no type" },
                 { { "--type", "snare" }, "NAME=TYPE" },
                 { { "--type", "=snare" }, "NAME=TYPE" },
                 { { "--format", "mp3" }, "wav or aiff" },
                 { { "--depth", "32" }, "source or float" },
                 { { "--depth", "float", "--format", "aiff" }, "AIFF" },
                 { { "--method", "best" }, "standard or refined" },
                 { { "--threads", "0" }, "1 to 256" },
                 { { "--seed", "-1" }, "whole number" },
                 { { "--seed", "18446744073709551616" }, "whole number" },
             })
        {
            juce::String reason;
            CHECK_FALSE (requestFor (options, &reason).has_value());
            CHECK_THAT (reason.toStdString(), Catch::Contains (part) && Catch::StartsWith (options.front()));
        }
        CHECK (requestFor ({ "--seed", "18446744073709551615" })->seed == ~std::uint64_t{});
    }
}
