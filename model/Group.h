#pragma once

#include "model/GroupHistory.h"
#include "model/Track.h"
#include "model/TrackKnobs.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "terms/MixStrip.h"
#include "terms/TrackFindings.h"

#include <juce_events/juce_events.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tessivar
{

class GroupFile;
struct EditableTrack;

/** The tracks of one performance, in order, at one sample rate. Tells its listeners of every change of itself
    or of one of its tracks.

    On the message thread alone, but for the reference count: jobs hold a Group by its Ptr and work on
    state(), a value. What a job found comes back through the functions below "Results of jobs". Every edit is
    one named step of undo().
*/
class Group : public juce::ReferenceCountedObject, public juce::ChangeBroadcaster
{
public:
    using Ptr = juce::ReferenceCountedObjectPtr<Group>;

    Group (const juce::String& name, std::vector<TrackState> tracks);

    /** A Group as a file held it, with the file that its audio lies in. */
    Group (GroupState loadedState, const juce::File& file, std::shared_ptr<GroupFile> openFile);

    ~Group() override;

    /** Of this Group within the process. */
    [[nodiscard]] std::uint32_t id() const { return groupId; }
    [[nodiscard]] const juce::String& name() const { return groupName; }
    [[nodiscard]] int numTracks() const { return static_cast<int> (members.size()); }
    [[nodiscard]] Track::Ptr track (int index) const;
    [[nodiscard]] Track::Ptr findTrack (std::uint32_t trackId) const;

    /** -1 when the track is not in this Group. */
    [[nodiscard]] int indexOf (const Track& track) const;

    /** Hz; 0 without tracks. */
    [[nodiscard]] double sampleRate() const { return members.empty() ? 0.0 : members.front()->sampleRate(); }
    [[nodiscard]] std::int64_t lengthInSamples() const; // of the longest track
    [[nodiscard]] AnalysisMethod method() const { return chosenMethod; }
    [[nodiscard]] const std::optional<GroupState::Analysis>& analysis() const { return lastAnalysis; }

    [[nodiscard]] GroupState state() const;
    [[nodiscard]] GroupContents contents() const { return GroupContents::of (state()); }
    [[nodiscard]] bool isAnalysed() const { return lastAnalysis.has_value(); }
    [[nodiscard]] bool changedSinceLastAnalysis() const { return state().changedSinceAnalysis(); }

    // Edits. One call is one step, except where it says otherwise. An edit that changes nothing makes no
    // step.

    void rename (const juce::String& newName);
    void setMethod (AnalysisMethod method);

    /** An index of -1 adds at the end. Tracks must have the Group's sample rate, when it has one. */
    void addTracks (std::vector<TrackState> tracks, int index = -1);
    void removeTracks (const std::vector<std::uint32_t>& trackIds);

    /** Moves those of the tracks that are in this Group to before the track with this index of the target, as
        counted before the move; outside, to its end. The target may be this Group, and else has its sample
        rate. What moves to another Group arrives there as new tracks, not yet analysed; the step is one of
        both Groups.
    */
    void moveTracks (const std::vector<std::uint32_t>& trackIds, Group& target, int index);

    /** Puts a copy with its own knobs behind the track: same samples, same name with " copy" behind. */
    void duplicateTrack (std::uint32_t trackId);

    void renameTrack (std::uint32_t trackId, const juce::String& newName);

    /** Tracks whose knobs the user has not touched take these, if there are any. */
    void setDrumType (const std::vector<std::uint32_t>& trackIds,
                      DrumType type,
                      const std::optional<TrackKnobs>& forUntouched = {});
    void setExcluded (const std::vector<std::uint32_t>& trackIds, bool excluded);
    void setSourceFile (std::uint32_t trackId, const juce::File& file);

    /** Values that come while a knob is dragged belong to one step: continuesStep then says that this one is
        not the first.
    */
    void setKnobs (const std::vector<std::uint32_t>& trackIds,
                   KnobSetting setting,
                   KnobValues values,
                   bool continuesStep = false);

    /** Both settings at once, in a step of this name; tracks of types that pass through are left alone. */
    void giveKnobs (const std::vector<std::uint32_t>& trackIds,
                    const TrackKnobs& knobs,
                    const juce::String& stepName);

    /** Puts a setting where it starts: Focus at the suggestion if there is one. Setting A then follows the
        next suggestion, unless B was turned.
    */
    void resetKnobs (const std::vector<std::uint32_t>& trackIds, KnobSetting setting);

    /** Copies what one setting holds to the other. */
    void copyKnobs (const std::vector<std::uint32_t>& trackIds, KnobSetting from);

    /** Which of both settings sounds. */
    void selectSetting (const std::vector<std::uint32_t>& trackIds, KnobSetting setting);

    [[nodiscard]] GroupHistory& undo() { return history; }

    /** How a track is heard in the kit. Part of the file, but no edit: neither a step of undo nor an unsaved
        change.
    */
    void setStrip (std::uint32_t trackId, const MixStrip& strip);

    // Results of jobs.

    /** What an analysis of one of the tracks gave. */
    struct AnalysedTrack
    {
        std::uint32_t trackId = 0;
        AnalysisInput input;
        std::shared_ptr<TrackSamples> rendered; // null for a track that passes through
        std::shared_ptr<StoreFile> components;
        TrackFindings findings;

        /** The knobs stay where they are; Focus of setting A alone takes the suggestion, as long as nobody
            touched them.
        */
        void applyTo (TrackState& track) const;
    };

    /** Takes the result of an analysis as a whole. Not a step of undo: older steps stay, and keep the new
        samples.
    */
    void applyAnalysis (const GroupState::Analysis& analysis, const std::vector<AnalysedTrack>& tracks);

    /** Notes that what state() was when the save began now stands in the file, and that the audio is there
        too. savedState has the samples that lie in the file.
    */
    void markSaved (const GroupState& savedState,
                    const juce::File& savedFile,
                    std::shared_ptr<GroupFile> openFile);

    [[nodiscard]] const juce::File& file() const { return groupFile; } // none: never saved
    [[nodiscard]] std::shared_ptr<GroupFile> openFile() const { return fileHandle; }
    [[nodiscard]] bool hasUnsavedChanges() const;

    /** Whether the file lacks what setStrip() has set. Nobody is asked about it, but a save writes it. */
    [[nodiscard]] bool hasUnsavedStrips() const { return stripsUnsaved; }

    /** For a Group that was recovered: its file, if any, does not hold what it is. */
    void markUnsaved();

    /** Counts every change; a state taken at the same count is the same. */
    [[nodiscard]] std::uint64_t revision() const { return changeCount; }

    /** Looks for the source files again, and tells listeners when one has gone or come back. */
    void update();

private:
    friend struct GroupStep;

    struct Editable;

    [[nodiscard]] Editable editable() const;
    void apply (const Editable&);
    void change (const Editable& from, const Editable& to);
    void perform (const juce::String& stepName, const Editable& after, bool continuesStep = false);
    void editTracks (const juce::String& stepName,
                     const std::vector<std::uint32_t>& trackIds,
                     const std::function<void (EditableTrack&)>& change,
                     bool continuesStep = false);
    void noteChange();

    const std::uint32_t groupId;
    juce::String groupName;
    AnalysisMethod chosenMethod = AnalysisMethod::standard;
    std::vector<Track::Ptr> members;
    std::optional<GroupState::Analysis> lastAnalysis;
    juce::StringPairArray unknownProperties;
    juce::String foreignText;

    juce::File groupFile;
    std::shared_ptr<GroupFile> fileHandle;
    std::unique_ptr<Editable> savedEditable; // null: never saved
    std::uint64_t analysisCount = 0, savedAnalysisCount = 0;
    std::uint64_t changeCount = 0;
    bool stripsUnsaved = false;
    GroupHistory history;

    JUCE_DECLARE_WEAK_REFERENCEABLE (Group)
    JUCE_DECLARE_NON_COPYABLE (Group)
};

} // namespace tessivar
