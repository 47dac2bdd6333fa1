#include "app/LastSession.h"

#include "app/AppSettings.h"
#include "model/ForeignText.h"

#include <cmath>

namespace tessivar
{

namespace
{
namespace key
{
constexpr auto files = "files", selectedFile = "selectedFile", leadTrack = "leadTrack",
               chosenTracks = "chosenTracks", position = "position", viewStart = "viewStart",
               horizontalZoom = "horizontalZoom", verticalZoom = "verticalZoom",
               selectionStart = "selectionStart", selectionEnd = "selectionEnd", loops = "loops",
               showsSpectrum = "showsSpectrum", showsKept = "showsKept", showsRemoved = "showsRemoved";
} // namespace key

constexpr int mostFiles = 100;

/** Settings are a text that anybody may edit. */
double numberOf (const juce::var& value, double lowest, double highest, double otherwise)
{
    const auto number = static_cast<double> (value);
    const auto isNumber = value.isDouble() || value.isInt() || value.isInt64();
    return isNumber && std::isfinite (number) ? juce::jlimit (lowest, highest, number) : otherwise;
}
} // namespace

LastSession
LastSession::of (const TessivarWorkspace& workspace, const TrackActions& tracks, const WaveController& wave)
{
    LastSession session;
    const auto selected = workspace.selectedGroup();

    for (const auto& group : workspace.allGroups())
    {
        if (group->file() == juce::File())
            continue;

        if (group == selected)
            session.selectedFile = static_cast<int> (session.files.size());

        session.files.push_back (group->file());
    }

    if (const auto lead = tracks.track(); lead != nullptr && session.selectedFile >= 0)
    {
        session.leadTrack = selected->indexOf (*lead);

        for (const auto id : tracks.chosen())
            session.chosenTracks.push_back (selected->indexOf (*selected->findTrack (id)));
    }

    const auto& view = wave.view.view();
    session.position = view.playhead();
    session.viewStart = view.viewStart();
    session.horizontalZoom = view.horizontalZoom();
    session.verticalZoom = view.verticalZoom();
    session.selection = wave.selection();
    session.loops = wave.isLooping();
    session.showsSpectrum = wave.isSpectrumShown();
    session.showsKept = wave.view.isKeptShown();
    session.showsRemoved = wave.view.isRemovedShown();
    return session;
}

void LastSession::save (juce::PropertySet& settings) const
{
    if (files.empty())
        return;

    juce::Array<juce::var> paths, chosen;

    for (const auto& file : files)
        paths.add (file.getFullPathName());

    for (const auto index : chosenTracks)
        chosen.add (index);

    const auto object = std::make_unique<juce::DynamicObject>();
    object->setProperty (key::files, paths);
    object->setProperty (key::selectedFile, selectedFile);
    object->setProperty (key::leadTrack, leadTrack);
    object->setProperty (key::chosenTracks, chosen);
    object->setProperty (key::position, position);
    object->setProperty (key::viewStart, viewStart);
    object->setProperty (key::horizontalZoom, horizontalZoom);
    object->setProperty (key::verticalZoom, verticalZoom);
    object->setProperty (key::loops, loops);
    object->setProperty (key::showsSpectrum, showsSpectrum);
    object->setProperty (key::showsKept, showsKept);
    object->setProperty (key::showsRemoved, showsRemoved);

    if (selection)
    {
        object->setProperty (key::selectionStart, selection->getStart());
        object->setProperty (key::selectionEnd, selection->getEnd());
    }

    settings.setValue (appSettingsKeys::lastSession, juce::JSON::toString (object->clone().get(), true));
}

std::optional<LastSession> LastSession::load (const juce::PropertySet& settings)
{
    const auto read = juce::JSON::parse (settings.getValue (appSettingsKeys::lastSession));
    const auto* paths = read[key::files].getArray();

    if (paths == nullptr || paths->isEmpty() || paths->size() > mostFiles)
        return {};

    LastSession session;

    for (const auto& path : *paths)
        if (juce::File::isAbsolutePath (path.toString()))
            session.files.emplace_back (path.toString());

    // Where a path is no path, no index means what it meant.
    if (session.files.size() != static_cast<std::size_t> (paths->size()))
        return {};

    constexpr auto longest = 1.0e6; // s, and tracks
    const auto index = [&] (const juce::var& value)
    { return static_cast<int> (numberOf (value, -1.0, longest, -1.0)); };
    session.selectedFile = index (read[key::selectedFile]);
    session.leadTrack = index (read[key::leadTrack]);

    if (const auto* chosen = read[key::chosenTracks].getArray())
        for (const auto& track : *chosen)
            session.chosenTracks.push_back (index (track));

    session.position = numberOf (read[key::position], 0.0, longest, 0.0);
    session.viewStart = numberOf (read[key::viewStart], 0.0, longest, 0.0);
    session.horizontalZoom =
        numberOf (read[key::horizontalZoom], 0.0, WaveViewState::maxHorizontalZoom, session.horizontalZoom);
    session.verticalZoom =
        numberOf (read[key::verticalZoom], 0.0, WaveViewState::maxVerticalZoom, session.verticalZoom);
    const auto boolOf = [&] (const char* name, bool otherwise)
    { return read[name].isBool() ? static_cast<bool> (read[name]) : otherwise; };
    session.loops = boolOf (key::loops, false);
    session.showsSpectrum = boolOf (key::showsSpectrum, false);
    session.showsKept = boolOf (key::showsKept, true);
    session.showsRemoved = boolOf (key::showsRemoved, true);
    const auto start = numberOf (read[key::selectionStart], 0.0, longest, 0.0);

    if (const auto end = numberOf (read[key::selectionEnd], 0.0, longest, 0.0); end > start)
        session.selection = juce::Range<double> (start, end);

    return session;
}

std::vector<juce::File> LastSession::filesThatAreThere() const
{
    auto there = files;
    std::erase_if (there, [] (const juce::File& file) { return ! file.existsAsFile(); });
    return there;
}

std::vector<ReopenableGroup> LastSession::reopenable() const
{
    std::vector<ReopenableGroup> groups;

    for (const auto& file : files)
        groups.push_back ({ shownText (file.getFileNameWithoutExtension()),
                            shownText (file.getFullPathName()),
                            file.existsAsFile() ? juce::String() : "the file is no longer there" });

    return groups;
}

void LastSession::show (TessivarWorkspace& workspace, TrackActions& tracks) const
{
    if (! juce::isPositiveAndBelow (selectedFile, static_cast<int> (files.size())))
        return;

    const auto place = workspace.indexOfFile (files[static_cast<std::size_t> (selectedFile)]);
    const auto group = workspace.group (place);

    if (group == nullptr)
        return;

    TrackActions::TrackIds chosen;

    for (const auto index : chosenTracks)
        if (const auto track = group->track (index))
            chosen.push_back (track->id());

    if (const auto lead = group->track (leadTrack))
        tracks.select (group, lead->id(), chosen.size() > 1 ? chosen : TrackActions::TrackIds());
    else
        workspace.selectGroup (place);
}

void LastSession::show (WaveController& wave) const
{
    wave.view.setVerticalZoom (verticalZoom);
    wave.view.setHorizontalZoom (horizontalZoom);

    if (selection)
        wave.select (*selection);

    wave.setSpectrumShown (showsSpectrum);
    wave.setLayersShown (showsKept, showsRemoved);
    wave.setLooping (loops);
    wave.seek (position);
    wave.view.setViewStart (viewStart);
}

} // namespace tessivar
