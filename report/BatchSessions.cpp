#include "report/BatchSessions.h"

#include "platform/FileLock.h"
#include "report/ReportFacts.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <string>
#include <tuple>
#include <utility>

namespace tessivar
{

namespace
{
using Json = nlohmann::json;

juce::String textOf (const Json& json)
{
    return json.is_string() ? juce::String::fromUTF8 (json.get_ref<const std::string&>().c_str())
                            : juce::String();
}

/** What stands under a key; null where nothing does. */
const Json& at (const Json& json, const char* key)
{
    static const Json nothing;
    const auto found = json.is_object() ? json.find (key) : json.end();
    return found == json.end() ? nothing : *found;
}

double numberAt (const Json& json, const char* key)
{
    const auto& number = at (json, key);
    return number.is_number() ? number.get<double>() : 0.0;
}

Json parsed (const juce::String& text)
{
    return Json::parse (text.toStdString(), nullptr, false);
}

SessionState stateOf (const juce::String& status)
{
    static const std::array<std::pair<const char*, SessionState>, 4> states{ {
        { "done", SessionState::done },
        { "partial", SessionState::partial },
        { "refused", SessionState::refused },
        { "interrupted", SessionState::stopped },
    } };
    const auto found =
        std::find_if (states.begin(), states.end(), [&] (const auto& each) { return status == each.first; });
    return found == states.end() ? SessionState::failed : found->second;
}

void takeReasons (BatchSession& session, const Json& document)
{
    for (const auto& error : at (document, "errors"))
        session.reasons.addIfNotAlreadyThere (textOf (error));
    for (const auto& refused : at (document, "refused"))
        session.reasons.addIfNotAlreadyThere (textOf (at (refused, "reason")));
    if (session.state == SessionState::stopped)
        session.reasons = { "Stopped from outside before it was done. Nothing of it is left half." };
}

void takeDocument (BatchSession& session, const Json& document)
{
    session.state = stateOf (textOf (at (document, "status")));
    session.runSeconds = numberAt (at (document, "seconds"), "total");
    session.numTracks = static_cast<int> (at (document, "tracks").size());

    for (const auto& track : at (document, "tracks"))
        if (const auto rate = numberAt (track, "sampleRate"); rate > 0.0)
            session.seconds = std::max (session.seconds, numberAt (track, "lengthInSamples") / rate);

    if (session.state != SessionState::done)
        takeReasons (session, document);
}

/** The words for a doubt that a report's data name by its key. */
juce::String briefOf (const juce::String& key)
{
    for (auto doubt = Doubt::unreadable; doubt <= Doubt::shortTrack;
         doubt = static_cast<Doubt> (static_cast<int> (doubt) + 1))
        if (key == doubtKey (doubt))
            return doubtBrief (doubt);

    return key;
}

/** The data for programs that a report holds. */
Json dataOf (const juce::File& report)
{
    return parsed (report.loadFileAsString()
                       .fromFirstOccurrenceOf ("id=\"tessivar-report\">", false, false)
                       .upToFirstOccurrenceOf ("</script>", false, false));
}

void takeReport (BatchSession& session, const Json& data)
{
    if (const auto& removed = at (data, "meanRemovedDb"); removed.is_number())
        session.removedDb = removed.get<double>();

    session.isShort = at (data, "short") == true;

    for (const auto& track : at (data, "tracks"))
    {
        const auto& doubts = at (track, "doubts");
        session.numDoubtful += doubts.empty() ? 0 : 1;

        for (const auto& key : doubts)
        {
            const auto reason = briefOf (textOf (key));
            auto advice = std::find_if (session.advice.begin(),
                                        session.advice.end(),
                                        [&] (const auto& each) { return each.reason == reason; });
            if (advice == session.advice.end())
                advice = session.advice.insert (advice, BatchSession::Advice{ reason, {} });
            advice->tracks.add (textOf (at (track, "name")));
        }
    }
}

/** Nothing for a document that is none of a session's. */
std::optional<BatchSession> sessionOf (const juce::File& document)
{
    BatchSession session;
    session.name = document.getFileName().dropLastCharacters (5);
    const auto beside = [&] (const juce::String& ending)
    { return juce::File (document.getParentDirectory().getFullPathName() + "/" + session.name + ending); };
    const auto log = beside (".log"), report = beside (".html");
    session.hasLog = log.existsAsFile();

    if (document.getSize() == 0)
    {
        if (session.hasLog)
            session.state = FileLock::take (log) ? SessionState::killed : SessionState::running;
        if (session.state == SessionState::killed)
            session.reasons = { "Ended without a word: killed from outside, or memory ran out." };
        return session;
    }

    const auto json = parsed (document.loadFileAsString());

    if (textOf (at (json, "program")) != "tessivar-cli" || ! at (json, "settings").is_object())
        return {};

    takeDocument (session, json);

    // Of a session that was looked at before it was begun.
    if (at (json, "dryRun") == true && session.state == SessionState::done)
        return {};

    // What an earlier run has left tells nothing of one that failed.
    const auto hasResult = session.state == SessionState::done || session.state == SessionState::partial;
    session.hasTracks = hasResult && beside ({}).isDirectory();
    session.hasReport = hasResult && report.existsAsFile();

    if (session.hasReport)
        takeReport (session, dataOf (report));

    return session;
}
} // namespace

const char* stateWord (SessionState state)
{
    constexpr std::array words{ "killed",  "failed",  "refused", "stopped",
                                "partial", "running", "waiting", "done" };
    return words[static_cast<std::size_t> (state)];
}

std::vector<BatchSession> batchSessionsIn (const juce::File& folder)
{
    std::vector<BatchSession> sessions;

    for (const auto& file : folder.findChildFiles (juce::File::findFiles, false, "*.json"))
        if (auto session = sessionOf (file))
            sessions.push_back (std::move (*session));

    const auto place = [] (const BatchSession& session)
    { return std::pair (session.state, session.state == SessionState::done && session.numDoubtful == 0); };
    std::sort (sessions.begin(),
               sessions.end(),
               [&] (const BatchSession& a, const BatchSession& b)
               {
                   if (place (a) != place (b))
                       return place (a) < place (b);
                   const auto natural = a.name.compareNatural (b.name);
                   return natural != 0 ? natural < 0 : a.name < b.name;
               });
    return sessions;
}

} // namespace tessivar
