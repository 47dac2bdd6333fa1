#include "cli/JsonText.h"

#include "cli/CommandTable.h"
#include "model/ForeignText.h"
#include "model/Version.h"

#include <ostream>

namespace tessivar
{

std::string jsonText (const juce::String& text)
{
    return shownText (text).toStdString();
}

nlohmann::ordered_json jsonTexts (const juce::StringArray& texts)
{
    auto json = nlohmann::ordered_json::array();
    for (const auto& text : texts)
        json.push_back (jsonText (text));
    return json;
}

juce::String statusWord (int code)
{
    switch (code)
    {
        case exitCode::done:
            return "done";
        case exitCode::someFailed:
            return "partial";
        case exitCode::usage:
            return "usage";
        case exitCode::inputRefused:
            return "refused";
        case exitCode::outputFailed:
            return "outputFailed";
        case exitCode::interruptedSave:
            return "interruptedSave";
        case exitCode::interrupted:
            return "interrupted";
        default:
            return "analysisFailed";
    }
}

nlohmann::ordered_json jsonHeading (std::string_view command, int exitCode)
{
    nlohmann::ordered_json json;
    json["program"] = programName;
    json["version"] = programVersion();
    json["revision"] = programRevision();
    json["command"] = command;
    json["exitCode"] = exitCode;
    json["status"] = jsonText (statusWord (exitCode));
    return json;
}

void printJson (std::ostream& out, const nlohmann::ordered_json& document)
{
    out << document.dump (2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << "\n";
}

void addTypeOrigin (nlohmann::ordered_json& json, TypeOrigin origin, const TrackClassification& guess)
{
    using Json = nlohmann::ordered_json;
    const auto isGuessed = origin == TypeOrigin::name;
    json["typeOrigin"] = jsonText (originWord (origin));
    json["abbreviation"] = isGuessed ? Json (jsonText (guess.abbreviation)) : Json();
    json["list"] = isGuessed ? Json (jsonText (drumTypeKey (guess.drumType))) : Json();
    json["listOrigin"] = isGuessed ? Json (jsonText (listWord (guess.source))) : Json();
}

nlohmann::ordered_json metadataToJson (const juce::StringPairArray& metadata)
{
    // In parallel: looking up each of thousands of markers would take quadratic time.
    nlohmann::ordered_json::object_t values;

    for (int i = 0; i < metadata.size(); ++i)
        values.emplace_back (jsonText (metadata.getAllKeys()[i]), jsonText (metadata.getAllValues()[i]));

    return values;
}

nlohmann::ordered_json warningsToJson (const std::vector<ImportWarnings::Warning>& warnings)
{
    auto json = nlohmann::ordered_json::array();
    for (const auto& warning : warnings)
        json.push_back ({
            { "code", warning.code },
            { "message", jsonText (warning.message) },
            { "entries", jsonTexts (warning.entries) },
        });
    return json;
}

} // namespace tessivar
