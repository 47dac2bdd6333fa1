#include "cli/EditCommand.h"

#include "cli/GroupInfo.h"
#include "cli/InputFiles.h"
#include "cli/JsonText.h"
#include "cli/TerminalText.h"
#include "cli/TrackChoices.h"
#include "model/Group.h"
#include "model/Outcomes.h"
#include "model/OutputRules.h"
#include "model/groupfile/GroupFileSaving.h"
#include "platform/DiskNames.h"

#include <algorithm>
#include <ostream>
#include <utility>

namespace tessivar
{

namespace
{

juce::String textOf (const std::string& argument)
{
    return juce::String::fromUTF8 (argument.c_str());
}

juce::Result
parseKnob (const Invocation& invocation, const char* option, float maximum, std::optional<float>& value)
{
    const auto* text = invocation.one (option);

    if (text == nullptr)
        return juce::Result::ok();

    value = parseKnobValue (textOf (*text), maximum);

    if (! value)
        return juce::Result::fail (option + juce::String (" \"") + printable (textOf (*text))
                                   + "\": a number from 0 to " + juce::String (maximum)
                                   + " or a percentage is expected");

    return juce::Result::ok();
}

juce::Result parseChoices (const Invocation& invocation, EditRequest& request)
{
    if (const auto* type = invocation.one ("--type"))
    {
        request.type = parseDrumType (textOf (*type).toRawUTF8());

        if (! request.type)
            return juce::Result::fail (
                "--type \"" + printable (textOf (*type))
                + "\": kick, snare, hiHat, tomHigh, tomLow, tomFloor, oh or other is expected");
    }

    if (const auto* setting = invocation.one ("--select"))
    {
        if (*setting != "A" && *setting != "B")
            return juce::Result::fail ("--select \"" + printable (textOf (*setting))
                                       + "\": A or B is expected");

        request.selected = *setting == "A" ? KnobSetting::a : KnobSetting::b;
    }

    if (invocation.has ("--exclude") && invocation.has ("--include"))
        return juce::Result::fail ("--exclude and --include exclude each other");

    if (invocation.has ("--exclude") || invocation.has ("--include"))
        request.excluded = invocation.has ("--exclude");

    if (const auto* name = invocation.one ("--rename"))
    {
        request.newName = readablePath (textOf (*name)).trim();

        if (request.newName->isEmpty())
            return juce::Result::fail ("--rename: a name is expected");
    }

    return juce::Result::ok();
}

bool changesSomething (const EditRequest& request)
{
    return request.type || request.focusA || request.fineA || request.focusB || request.fineB
           || request.selected || request.excluded || request.newName;
}

std::vector<std::uint32_t> matchingTracks (const Group& group, const juce::StringArray& patterns)
{
    std::vector<std::uint32_t> ids;

    for (int i = 0; i < group.numTracks(); ++i)
        if (std::any_of (patterns.begin(),
                         patterns.end(),
                         [&] (const juce::String& pattern)
                         { return matchesPattern (group.track (i)->name(), pattern); }))
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

int fail (const CommandContext& context, int code, const juce::String& reason)
{
    context.tellError (reason);
    return code;
}
} // namespace

juce::Result parseEditRequest (const Invocation& invocation, EditRequest& request)
{
    EditRequest result;
    result.json = invocation.has ("--json");

    for (const auto& pattern : invocation.all ("--track"))
        result.tracks.add (textOf (pattern));

    for (const auto& outcome : { fileFromArgument (invocation.operands.front(), result.groupFile),
                                 parseKnob (invocation, "--focus-a", focusMaximum, result.focusA),
                                 parseKnob (invocation, "--fine-a", fineMaximum, result.fineA),
                                 parseKnob (invocation, "--focus-b", focusMaximum, result.focusB),
                                 parseKnob (invocation, "--fine-b", fineMaximum, result.fineB),
                                 parseChoices (invocation, result) })
        if (outcome.failed())
            return outcome;

    if (! changesSomething (result))
        return juce::Result::fail (
            "nothing to change: give at least one of --type, --focus-a, --fine-a, --focus-b, "
            "--fine-b, --select, --exclude, --include and --rename");

    request = std::move (result);
    return juce::Result::ok();
}

int runEdit (const EditRequest& request, const CommandContext& context)
{
    LoadedGroup loaded;

    if (const auto opened = openGroupFile (request.groupFile, loaded); opened.failed())
        return fail (context, exitCode::inputRefused, opened.getErrorMessage());

    juce::StringArray names;
    for (const auto& track : loaded.state.tracks)
        names.add (track.name);

    if (const auto known = checkPatterns ("--track", request.tracks, names); known.failed())
        return fail (context, exitCode::usage, known.getErrorMessage());

    const Group::Ptr group = new Group (loaded.state, request.groupFile, loaded.file);
    const auto ids = matchingTracks (*group, request.tracks);

    if (request.newName && ids.size() != 1)
        return fail (context, exitCode::usage, "--rename: more than one track matches; a name is for one");

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
            return fail (context, exitCode::outputFailed, outcome.reason);
    }

    loaded.state = group->state();

    if (request.json)
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
