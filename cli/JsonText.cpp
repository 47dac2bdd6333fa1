#include "cli/JsonText.h"

#include "cli/CommandTable.h"
#include "model/ForeignText.h"
#include "model/Version.h"

#include <algorithm>
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

nlohmann::ordered_json textOrNull (const juce::String& text)
{
    return text.isEmpty() ? nlohmann::ordered_json() : nlohmann::ordered_json (jsonText (text));
}

nlohmann::ordered_json pathOrNull (const juce::File& file)
{
    return textOrNull (file.getFullPathName());
}

const char* statusWord (int code)
{
    const auto codes = exitCodeTable();
    const auto found = std::find_if (
        codes.begin(), codes.end(), [code] (const ExitCodeSpec& each) { return each.code == code; });
    jassert (found != codes.end());
    return found->word;
}

nlohmann::ordered_json jsonHeading (std::string_view command, int exitCode)
{
    nlohmann::ordered_json json;
    json["program"] = programName;
    json["version"] = programVersion();
    json["revision"] = programRevision();
    json["command"] = command;
    json["exitCode"] = exitCode;
    json["status"] = statusWord (exitCode);
    return json;
}

void printJson (std::ostream& out, const nlohmann::ordered_json& document)
{
    out << document.dump (2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << "\n";
}

nlohmann::ordered_json typeOrNull (std::optional<DrumType> type)
{
    return type ? nlohmann::ordered_json (jsonText (drumTypeKey (*type))) : nlohmann::ordered_json();
}

void addTypeOrigin (nlohmann::ordered_json& json, TypeOrigin origin, const TrackClassification& guess)
{
    using Json = nlohmann::ordered_json;
    const auto isGuessed = origin == TypeOrigin::name;
    json["typeOrigin"] = originWord (origin);
    json["abbreviation"] = isGuessed ? Json (jsonText (guess.abbreviation)) : Json();
    json["list"] = isGuessed ? Json (jsonText (drumTypeKey (guess.drumType))) : Json();
    json["listOrigin"] = isGuessed ? Json (listWord (guess.source)) : Json();
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
