#pragma once

#include <juce_core/juce_core.h>

#include <optional>
#include <vector>

namespace tessivar
{

/** How far a session of a batch has come, in the order of a list: first those that want a look. */
enum class SessionState
{
    killed, // ended without a word
    failed,
    refused,
    stopped,
    partial, // some files failed, the rest is done
    running,
    waiting,
    done
};

/** "killed", "failed" and so on. */
[[nodiscard]] const char* stateWord (SessionState state);

/** A session of a batch, as its document NAME.json, its report NAME.html and its log NAME.log tell it. */
struct BatchSession
{
    /** Why somebody should listen, in a few words, and to which tracks. */
    struct Advice
    {
        juce::String reason;
        juce::StringArray tracks;
    };

    juce::String name;
    SessionState state = SessionState::waiting;
    juce::StringArray reasons; // unless done
    int numTracks = 0;
    double seconds = 0.0;            // of the longest track; 0 where nobody has read it
    double runSeconds = 0.0;         // that it took; 0 unless it ended by itself
    std::optional<double> removedDb; // in the mean, as the report has it; -200 for nothing
    std::vector<Advice> advice;
    int numDoubtful = 0;  // tracks
    bool isShort = false; // so that there is little to learn the drums from
    bool hasReport = false, hasTracks = false, hasLog = false;

    [[nodiscard]] bool isOpen() const
    {
        return state == SessionState::running || state == SessionState::waiting;
    }
};

/** The sessions that have a document in a folder, those that want a look first, else by their names. Other
    documents are passed over. An empty one belongs to a session that waits, runs, or was killed: a run holds
    a lock on its log.
*/
[[nodiscard]] std::vector<BatchSession> batchSessionsIn (const juce::File& folder);

} // namespace tessivar
