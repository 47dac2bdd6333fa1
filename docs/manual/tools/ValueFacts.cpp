#include "docs/manual/tools/ManualFacts.h"

#include "app/AppSettings.h"
#include "app/settings/PerformanceState.h"
#include "cli/CommandTable.h"
#include "engine/AnalysisSettings.h"
#include "jobs/AnalysisRequest.h"
#include "model/Abbreviations.h"
#include "model/ImportWarnings.h"
#include "model/Version.h"
#include "model/audiofile/AudioIntake.h"
#include "model/settings/UserFolders.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "terms/SampleRates.h"
#include "ui/KnobGeometry.h"

#include <array>

namespace tessivar
{

namespace
{
using Json = nlohmann::ordered_json;

/** "50 %", "0.2 %" */
std::string percent (double fraction)
{
    const auto value = fraction * 100.0;
    const auto isWhole = juce::approximatelyEqual (value, std::round (value));
    return juce::String (value, isWhole ? 0 : 1).toStdString() + " %";
}

Json drumTypes()
{
    auto types = Json::array();

    for (std::size_t i = 0; i < drumTypeChooserOrder.size(); ++i)
    {
        const auto type = drumTypeChooserOrder[i];
        types.push_back ({ { "name", drumTypeDisplayName (type) },
                           { "word", drumTypeKey (type) },
                           { "key", std::to_string (i + 1) },
                           { "list", AbbreviationTable::defaultList (type).toStdString() },
                           { "analysed", isRenderedType (type) } });
    }

    return types;
}

Json startValues()
{
    const ReadAheadSettings readAhead;
    auto sizes = std::string ("Automatic");

    for (const auto size : interfaceSizes)
        if (size > 0)
            sizes += ", " + std::to_string (size) + " %";

    const juce::PropertySet settings;
    return { { "focusA", percent (static_cast<double> (startKnobsA.focus / focusMaximum)) },
             { "fineA", percent (static_cast<double> (startKnobsA.fine)) },
             { "focusB", percent (static_cast<double> (startKnobsB.focus / focusMaximum)) },
             { "fineB", percent (static_cast<double> (startKnobsB.fine)) },
             { "seed", std::to_string (method::defaultSeed) },
             { "method", analysisMethodKey (defaultMethod (settings)) },
             { "readAheadSeconds", juce::String (readAhead.seconds, 0).toStdString() },
             { "readAheadFrames", std::to_string (readAhead.framesPerRead) },
             { "interfaceSizes", sizes } };
}

Json limits()
{
    std::string rates;

    for (const auto rate : supportedSampleRates)
        rates += (rates.empty()                         ? ""
                  : rate == supportedSampleRates.back() ? " and "
                                                        : ", ")
                 + juce::String (rate / 1000.0, rate % 1000 == 0 ? 0 : 1).toStdString();

    return { { "sampleRates", rates + " kHz" },
             { "smallestTrack", std::to_string (intakeBlockLength) },
             { "largeGroup", std::to_string (largeGroupTracks) },
             { "dragPixels", juce::String (KnobDrag::pixelsForRange, 0).toStdString() },
             { "fineDragPixels", juce::String (KnobDrag::finePixelsForRange, 0).toStdString() },
             { "wheelStep", percent (KnobDrag::wheelStep) },
             { "fineWheelStep", percent (KnobDrag::fineWheelStep) } };
}

#if JUCE_WINDOWS
constexpr auto systemName = "Windows";
constexpr auto homeOfSomebody = R"(C:\Users\you)";
constexpr std::array<std::array<const char*, 2>, 2> shortNames{
    { { R"(C:\Users\you\AppData\Roaming)", "%APPDATA%" },
      { R"(C:\Users\you\AppData\Local)", "%LOCALAPPDATA%" } }
};
#else
constexpr auto systemName = "Linux";
constexpr auto homeOfSomebody = "/home/you";
constexpr std::array<std::array<const char*, 2>, 1> shortNames{ { { homeOfSomebody, "~" } } };
#endif

Json folders()
{
    const auto user = UserFolders::below (juce::File (homeOfSomebody));
    const auto shown = [] (const juce::File& file)
    {
        auto path = file.getFullPathName();

        for (const auto& [folder, name] : shortNames)
            path = path.replace (folder, name);

        return path.toStdString();
    };
    return { { "settingsFile", shown (user.settingsFile()) },
             { "recovery", shown (user.recovery()) },
             { "damagedSettings", shown (user.damagedSettings()) },
             { "cacheTemporary", shown (user.cache.getChildFile ("tmp")) },
             { "sharedTemporary", shown (sharedTemporaryFolder()) } };
}

Json messages()
{
    using W = ImportWarnings;
    Json texts = Json::object();
    const auto add = [&] (const char* name, int code) { texts[name] = warningMessage (code).toStdString(); };
    add ("differentBitDepths", W::differentBitDepths);
    add ("differentSampleRate", W::differentSampleRate);
    add ("missing", W::missing);
    add ("unreadable", W::unreadable);
    add ("shorterThanGroup", W::shorterThanGroup);
    add ("unsupportedSampleRate", W::unsupportedSampleRate);
    add ("shortDuration", W::shortDuration);
    add ("tooShort", W::tooShort);
    add ("longDuration", W::longDuration);
    add ("largeGroup", W::largeGroup);

    GroupContents hiHatAlone;
    hiHatAlone.add (DrumType::hiHat, false);
    texts["hiHatAlone"] = checkAnalysable (hiHatAlone, true).reason;
    texts["noCloseMicrophone"] = checkAnalysable (GroupContents(), true).reason;
    texts["notChanged"] = checkAnalysable (hiHatAlone, false).reason;
    texts["analysisFailed"] = analysisFailedText;
    return texts;
}
} // namespace

nlohmann::ordered_json valueFacts()
{
    return { { "version", programVersion() },
             { "system", systemName },
             { "drumTypes", drumTypes() },
             { "overheadList", AbbreviationTable::defaultList (DrumType::oh).toStdString() },
             { "start", startValues() },
             { "limit", limits() },
             { "folder", folders() },
             { "message", messages() } };
}

nlohmann::ordered_json commandLineFacts()
{
    Json commands = Json::object(), exitCodes = Json::array();
    const auto namesOf = [] (std::span<const OptionSpec> options)
    {
        auto names = Json::array();

        for (const auto& option : options)
            names.push_back (option.name);

        return names;
    };

    for (const auto& command : commandTable())
    {
        auto options = namesOf (command.options);

        for (const auto& option : commonOptions())
            options.push_back (option.name);

        commands[std::string (command.name)] = { { "summary", command.summary }, { "options", options } };
    }

    for (const auto& code : exitCodeTable())
        exitCodes.push_back ({ { "code", code.code }, { "meaning", code.meaning } });

    return { { "name", programName },
             { "commands", commands },
             { "programOptions", namesOf (programOptions()) },
             { "exitCodes", exitCodes } };
}

} // namespace tessivar
