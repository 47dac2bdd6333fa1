#include "app/TrackActions.h"

#include "model/Abbreviations.h"
#include "model/KnobPresets.h"
#include "terms/KnobValues.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
TrackActions::TrackIds idsOf (const Group& group)
{
    TrackActions::TrackIds ids;

    for (int i = 0; i < group.numTracks(); ++i)
        ids.push_back (group.track (i)->id());

    return ids;
}

/** Whether there is something that the knobs turn. */
bool hasKnobs (const Track::Ptr& track)
{
    return track != nullptr && track->state().hasProcessedOutput();
}
} // namespace

TrackKnobs knobsOf (const Track& track)
{
    return { track.knobs (KnobSetting::a), track.knobs (KnobSetting::b), track.selectedSetting() };
}

Track::Ptr TrackActions::track() const
{
    const auto selected = group();
    return selected != nullptr ? selected->findTrack (selectedId) : nullptr;
}

TrackActions::TrackIds TrackActions::chosen() const
{
    if (track() == nullptr)
        return {};

    auto ids = selectedTogether;
    std::erase_if (ids, [this] (std::uint32_t id) { return group()->findTrack (id) == nullptr; });
    return ids.empty() ? TrackIds{ selectedId } : ids;
}

Group::Ptr TrackActions::groupOf (std::uint32_t trackId) const
{
    for (const auto& each : workspace.allGroups())
        if (each->findTrack (trackId) != nullptr)
            return each;

    return nullptr;
}

//============================================================================================================

void TrackActions::select (const Group::Ptr& selected, std::uint32_t lead, TrackIds together)
{
    if (selected != nullptr)
        workspace.selectGroup (workspace.indexOf (selected.get()));

    if (lead != 0)
        selectedId = lead;

    selectedTogether = std::move (together);
}

void TrackActions::selectTrack (std::uint32_t trackId)
{
    select ({}, trackId, {});
}

void TrackActions::chooseAll()
{
    if (track() != nullptr)
        selectedTogether = idsOf (*group());
}

void TrackActions::stepTrack (int step)
{
    if (const auto current = track())
    {
        const auto index = group()->indexOf (*current) + step;
        selectTrack (group()->track (juce::jlimit (0, group()->numTracks() - 1, index))->id());
    }
}

void TrackActions::stepGroup (int step)
{
    const auto index = workspace.selectedGroupIndex() + step;

    if (workspace.numGroups() > 0)
        workspace.selectGroup (juce::jlimit (0, workspace.numGroups() - 1, index));

    selectedId = 0;
    keepSelectionValid();
}

void TrackActions::keepSelectionValid()
{
    if (track() != nullptr)
        return;

    const auto first = group() != nullptr ? group()->track (0) : nullptr;
    selectedId = first != nullptr ? first->id() : 0;
    selectedTogether.clear();
}

//============================================================================================================

void TrackActions::turnKnobs (std::optional<float> focus, std::optional<float> fine)
{
    const auto turned = track();

    if (turned == nullptr)
        return;

    auto values = turned->soundingKnobs();
    values.focus = focus.value_or (values.focus);
    values.fine = fine.value_or (values.fine);
    group()->setKnobs (
        { turned->id() }, turned->selectedSetting(), values, std::exchange (continuesGesture, true));
    tellOfKnobs();
}

void TrackActions::nudgeFocus (float fraction)
{
    if (const auto turned = track(); hasKnobs (turned))
        turnKnobs (juce::jlimit (0.0f, focusMaximum, turned->soundingKnobs().focus + focusMaximum * fraction),
                   {});
}

void TrackActions::nudgeFine (float fraction)
{
    if (const auto turned = track(); hasKnobs (turned))
        turnKnobs ({},
                   juce::jlimit (0.0f, fineMaximum, turned->soundingKnobs().fine + fineMaximum * fraction));
}

void TrackActions::chooseSetting (KnobSetting setting, bool ofWholeGroup)
{
    if (group() == nullptr)
        return;

    group()->selectSetting (ofWholeGroup ? idsOf (*group()) : TrackIds{ selectedId }, setting);
    tellOfKnobs();
}

void TrackActions::toggleSetting (bool ofWholeGroup)
{
    if (const auto switched = track())
        chooseSetting (otherSetting (switched->selectedSetting()), ofWholeGroup);
}

void TrackActions::copySoundingSetting()
{
    if (const auto copied = track())
        group()->copyKnobs ({ copied->id() }, copied->selectedSetting());
}

void TrackActions::resetKnobs()
{
    if (const auto reset = track())
    {
        group()->resetKnobs ({ reset->id() }, reset->selectedSetting());
        tellOfKnobs();
    }
}

void TrackActions::copyKnobs (KnobSetting from)
{
    if (group() != nullptr)
        group()->copyKnobs (chosen(), from);
}

void TrackActions::applyToType (const Track& model)
{
    if (group() == nullptr)
        return;

    auto alike = idsOf (*group());
    std::erase_if (
        alike, [&] (std::uint32_t id) { return group()->findTrack (id)->drumType() != model.drumType(); });
    giveKnobs (alike, knobsOf (model), "Apply to All of This Type");
}

void TrackActions::giveKnobs (const TrackIds& ids, const TrackKnobs& knobs, const juce::String& stepName)
{
    if (group() == nullptr)
        return;

    group()->giveKnobs (ids, knobs, stepName);
    tellOfKnobs();
}

void TrackActions::tellOfKnobs() const
{
    if (onKnobsChanged)
        onKnobsChanged();
}

//============================================================================================================

void TrackActions::setDrumType (const TrackIds& ids, DrumType type)
{
    // A chooser works on rows of any Group, selected or not.
    const auto owner = ids.empty() ? nullptr : groupOf (ids.front());

    if (owner == nullptr)
        return;

    juce::StringArray stems;

    for (const auto id : ids)
        if (const auto track = owner->findTrack (id); track != nullptr && track->state().typeUnknown)
            stems.add (stemOfName (track->name()));

    stems.removeEmptyStrings();
    owner->setDrumType (ids, type, KnobPresets (settings()).ofNewTrack (type));
    auto alike = idsOf (*owner);
    std::erase_if (alike,
                   [&] (std::uint32_t id)
                   {
                       const auto track = owner->findTrack (id);
                       return ! track->state().typeUnknown || ! stems.contains (stemOfName (track->name()));
                   });

    if (! alike.empty() && onMoreLikeIt)
        onMoreLikeIt (owner, alike, type);
}

void TrackActions::setExcluded (const TrackIds& ids, bool excluded)
{
    if (group() != nullptr)
        group()->setExcluded (ids, excluded);
}

void TrackActions::changeStrips (const TrackIds& ids, const std::function<void (MixStrip&)>& change)
{
    const auto owner = ids.empty() ? nullptr : groupOf (ids.front());

    if (owner == nullptr)
        return;

    for (const auto id : ids)
        if (const auto track = owner->findTrack (id))
        {
            auto strip = track->state().strip;
            change (strip);
            owner->setStrip (id, strip);
        }

    tellOfKnobs();
}

void TrackActions::setSolo (const TrackIds& ids, bool solo)
{
    changeStrips (ids, [solo] (MixStrip& strip) { strip.solo = solo; });
}

void TrackActions::setMute (const TrackIds& ids, bool mute)
{
    changeStrips (ids, [mute] (MixStrip& strip) { strip.mute = mute; });
}

void TrackActions::setFader (std::uint32_t trackId, float levelDb)
{
    changeStrips ({ trackId }, [levelDb] (MixStrip& strip) { strip.faderDb = levelDb; });
}

void TrackActions::remove (const TrackIds& ids)
{
    const auto first = group() != nullptr && ! ids.empty() ? group()->findTrack (ids.front()) : nullptr;

    if (first == nullptr)
        return;

    const auto what = ids.size() == 1 ? first->name() : juce::String (ids.size()) + " tracks";
    const auto file = ids.size() == 1 ? " Its file is not touched." : " Their files are not touched.";

    if (prompts.ask ({ .title = "Remove from group",
                       .text = "Remove " + what + " from the group?" + file,
                       .acceptButton = "Remove",
                       .refuseButton = "Cancel",
                       .risk = UserPrompts::Risk::discards }))
        group()->removeTracks (ids);
}

void TrackActions::move (const TrackIds& ids, Group& target, int index)
{
    const auto source = ids.empty() ? nullptr : groupOf (ids.front());

    if (source == nullptr)
        return;

    if (target.sampleRate() != 0.0 && target.sampleRate() != source->sampleRate())
        prompts.warn (warningMessage (ImportWarnings::differentSampleRate));
    else
        source->moveTracks (ids, target, index);
}

void TrackActions::moveByStep (int step)
{
    const auto ids = chosen();

    if (ids.empty())
        return;

    auto first = group()->numTracks(), last = -1;

    for (const auto id : ids)
    {
        const auto place = group()->indexOf (*group()->findTrack (id));
        first = std::min (first, place);
        last = std::max (last, place);
    }

    if (step < 0 ? first > 0 : last + 1 < group()->numTracks())
        move (ids, *group(), step < 0 ? first - 1 : last + 2);
}

void TrackActions::moveToGroup (int step)
{
    const auto ids = chosen();
    const auto beside = workspace.selectedGroupIndex() + step;

    if (ids.empty() || ! juce::isPositiveAndBelow (beside, workspace.numGroups()))
        return;

    const auto target = workspace.allGroups()[static_cast<std::size_t> (beside)];
    const auto place = target->numTracks();
    move (ids, *target, -1);

    // They have arrived as new tracks.
    if (target->numTracks() > place)
        select (target, target->track (place)->id(), {});
}

void TrackActions::undo()
{
    if (group() != nullptr)
        group()->undo().undo();
}

void TrackActions::redo()
{
    if (group() != nullptr)
        group()->undo().redo();
}

} // namespace tessivar
