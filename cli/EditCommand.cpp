#include "cli/Commands.h"

#include "cli/Arguments.h"
#include "cli/GroupInfo.h"
#include "cli/JsonText.h"
#include "cli/TrackChoices.h"
#include "model/Group.h"
#include "model/Outcomes.h"
#include "model/OutputRules.h"
#include "model/groupfile/GroupFileSaving.h"
#include "platform/DiskNames.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"

#include <optional>
#include <ostream>
#include <vector>

namespace tessivar
{

namespace
{
/** What "edit" is asked to change. */
struct EditRequest
{
    juce::File groupFile;
    juce::StringArray tracks; // patterns
    std::optional<DrumType> type;
    std::optional<float> focusA, fineA, focusB, fineB;
    std::optional<KnobSetting> selected;
    std::optional<bool> excluded;
    std::optional<juce::String> newName;
};

juce::Result
parseKnob (const Invocation& invocation, const char* option, float maximum, std::optional<float>& value)
{
    return parseValue (
        invocation,
        option,
        [maximum] (const juce::String& text) { return parseKnobValue (text, maximum); },
        "a number from 0 to " + juce::String (maximum) + " or a percentage",
        value);
}

bool changesSomething (const EditRequest& request)
{
    return request.type || request.focusA || request.fineA || request.focusB || request.fineB
           || request.selected || request.excluded || request.newName;
}

/** On failure the reason names the option. */
juce::Result parse (const Invocation& invocation, EditRequest& request)
{
    request.tracks = textsOf (invocation, "--track");
    if (invocation.has ("--exclude") || invocation.has ("--include"))
        request.excluded = invocation.has ("--exclude");
    if (const auto* name = invocation.one ("--rename"))
        request.newName = readablePath (textOf (*name)).trim();

    for (const auto& outcome :
         { fileFromArgument (invocation.operands.front(), request.groupFile),
           parseKnob (invocation, "--focus-a", focusMaximum, request.focusA),
           parseKnob (invocation, "--fine-a", fineMaximum, request.fineA),
           parseKnob (invocation, "--focus-b", focusMaximum, request.focusB),
           parseKnob (invocation, "--fine-b", fineMaximum, request.fineB),
           parseValue (
               invocation,
               "--type",
               [] (const juce::String& text) { return parseDrumType (text.toRawUTF8()); },
               "kick, snare, hiHat, tomHigh, tomLow, tomFloor, oh or other",
               request.type),
           parseValue (invocation, "--select", parseKnobSetting, "A or B", request.selected),
           failIf (invocation.has ("--exclude") && invocation.has ("--include"),
                   "--exclude and --include exclude each other"),
           failIf (request.newName && request.newName->isEmpty(), "--rename: a name is expected"),
           failIf (! changesSomething (request),
                   "nothing to change: give at least one of --type, --focus-a, --fine-a, --focus-b, "
                   "--fine-b, --select, --exclude, --include and --rename") })
        if (outcome.failed())
            return outcome;

    return juce::Result::ok();
}

std::vector<std::uint32_t> matchingTracks (const Group& group, const juce::StringArray& patterns)
{
    std::vector<std::uint32_t> ids;

    for (int i = 0; i < group.numTracks(); ++i)
        if (matchesAny (group.track (i)->name(), patterns))
            ids.push_back (group.track (i)->id());

    return ids;
}

void turnKnobs (Group& group,
                const std::vector<std::uint32_t>& ids,
                KnobSetting setting,
                std::optional<float> focus,
                std::optional<float> fine)
{
    for (const auto id : ids)
    {
        auto values = group.findTrack (id)->knobs (setting);
        values.focus = focus.value_or (values.focus);
        values.fine = fine.value_or (values.fine);
        group.setKnobs ({ id }, setting, values);
    }
}

void apply (Group& group, const std::vector<std::uint32_t>& ids, const EditRequest& request)
{
    if (request.type)
        group.setDrumType (ids, *request.type);
    if (request.excluded)
        group.setExcluded (ids, *request.excluded);
    if (request.selected)
        group.selectSetting (ids, *request.selected);
    if (request.newName)
        group.renameTrack (ids.front(), *request.newName);

    turnKnobs (group, ids, KnobSetting::a, request.focusA, request.fineA);
    turnKnobs (group, ids, KnobSetting::b, request.focusB, request.fineB);
}
} // namespace

int runEdit (const Invocation& invocation, const CommandContext& context)
{
    EditRequest request;
    if (const auto parsed = parse (invocation, request); parsed.failed())
        return context.failUsage (parsed.getErrorMessage(), invocation.command);

    LoadedGroup loaded;

    if (const auto opened = openGroupFile (request.groupFile, loaded); opened.failed())
        return context.fail (exitCode::inputRefused, opened.getErrorMessage());

    if (const auto known = checkPatterns ("--track", request.tracks, namesOf (loaded.state)); known.failed())
        return context.fail (exitCode::usage, known.getErrorMessage());

    const Group::Ptr group = new Group (loaded.state, request.groupFile, loaded.file);
    const auto ids = matchingTracks (*group, request.tracks);

    if (request.newName && ids.size() != 1)
        return context.fail (exitCode::usage, "--rename: more than one track matches; a name is for one");

    apply (*group, ids, request);

    if (group->hasUnsavedChanges())
    {
        OutputRules rules;
        rules.protect (loaded.state, request.groupFile);
        SavedGroup saved;
        auto outcome = outcomeOf (rules.claimFile (request.groupFile, true, request.groupFile));

        if (outcome.isOk())
            outcome = saveGroup (
                { .state = group->state(), .target = request.groupFile, .currentFile = group->openFile() },
                saved);

        if (! outcome.isOk())
            return context.fail (exitCode::outputFailed, outcome.reason);
    }

    loaded.state = group->state();

    if (invocation.has ("--json"))
    {
        auto json = jsonHeading ("edit", exitCode::done);
        json["group"] = groupInfoToJson (request.groupFile, loaded);
        printJson (context.out, json);
    }
    else
    {
        context.out << formatGroupInfo (request.groupFile, loaded);
    }

    return exitCode::done;
}

} // namespace tessivar
