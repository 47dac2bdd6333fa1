#include "cli/CommandTable.h"

#include "terms/DrumType.h"
#include "terms/KnobValues.h"

#include <algorithm>
#include <array>

namespace tessivar
{

namespace
{
constexpr OptionSpec flag (std::string_view name, std::string_view help)
{
    return { .name = name, .help = help };
}

constexpr OptionSpec valued (std::string_view name,
                             std::string_view value,
                             std::string_view help,
                             ValueKind kind = ValueKind::text)
{
    return { .name = name, .value = value, .kind = kind, .help = help };
}

constexpr OptionSpec repeatable (OptionSpec option)
{
    option.repeatable = true;
    return option;
}

constexpr OptionSpec required (OptionSpec option)
{
    option.required = true;
    return option;
}

constexpr auto jsonOption =
    flag ("--json", "Print one JSON document on standard output, and nothing else there.");

constexpr auto outOption =
    required (valued ("--out",
                      "DIR",
                      "The folder for the processed files. It is made when it does not exist.",
                      ValueKind::folder));

// The help says so.
static_assert (startKnobsA.focus == 2.5f && startKnobsA.fine == 0.0f);

constexpr auto focusOption = repeatable (
    valued ("--focus",
            "[NAME=]VALUE",
            "How much is removed: 0 leaves a track as it is, 5 keeps only the best component. VALUE is a "
            "number from 0 to 5, or a percentage of the range (50% is 2.5). Without NAME it holds for every "
            "track that no NAME matches. With the refined method VALUE may be the word suggested: the lowest "
            "value that has the whole effect, found by the analysis for each track. Default: suggested, or "
            "2.5 with the standard method. Tracks of a group file keep what they stand at, but that the "
            "refined method turns setting A where nobody has turned a knob; a VALUE goes to the setting that "
            "sounds."));

constexpr auto fineOption = repeatable (
    valued ("--fine",
            "[NAME=]VALUE",
            "How much of what was removed is mixed back: 0 nothing, 1 everything; a number from 0 to 1 or a "
            "percentage. Given like --focus. Default: 0, or what a group file holds."));

constexpr auto methodOption =
    valued ("--method",
            "METHOD",
            "How the tracks are analyzed: refined, which models the leakage between the microphones, removes "
            "much more of it and suggests a focus for each track, or standard, which takes about half as "
            "long. Default: the one chosen in a group file, else refined; a microphone alone, which refined "
            "has nothing to compare with and would leave as it is, is analyzed by standard.",
            ValueKind::analysisMethod);

const auto typeHelp = "The drum type of the tracks that NAME matches: " + drumTypeWords()
                      + ". Without it the type is guessed from the file name. Tracks of type oh and other "
                        "pass through unchanged.";
const auto editedTypeHelp = "The drum type: " + drumTypeWords() + ".";

const auto typeOption = repeatable (valued ("--type", "NAME=TYPE", typeHelp, ValueKind::drumType));

constexpr auto typesOption =
    valued ("--types",
            "FILE",
            "The lists of abbreviations that types are guessed by: a settings file of the program, or text "
            "with a list a line, as \"snare = SD; snr\"; types without a line keep the built-in list. "
            "Default: the lists in the user's settings, as the window takes them.",
            ValueKind::file);

constexpr auto excludeOption = repeatable (
    valued ("--exclude",
            "NAME",
            "Leave the tracks that NAME matches out of the analysis. They pass through unchanged."));

constexpr auto formatOption = valued (
    "--format", "FORMAT", "The kind of file to write: wav or aiff. Default: wav.", ValueKind::audioFormat);

constexpr auto depthOption =
    valued ("--depth",
            "DEPTH",
            "The depth of samples in the files: source, each as its source file has it, or float, 32-bit "
            "floating point, in which nothing is rounded or clipped; WAV only. Default: source.",
            ValueKind::sampleDepth);

constexpr auto overwriteOption =
    flag ("--overwrite",
          "Replace files that exist. A source, or a group file in use, is never replaced by anything else.");

constexpr auto componentsOption =
    flag ("--components",
          "Also write the ten component signals of every analyzed track, best first, as 32-bit float WAV.");

constexpr auto seedOption = valued ("--seed",
                                    "N",
                                    "The start of the analysis. Equal seeds give equal files; another seed "
                                    "may part the drums better or worse. Default: 1.");

constexpr auto threadsOption = valued ("--threads",
                                       "N",
                                       "How many threads compute, 1 to 256. The result does not depend on "
                                       "it. Default: one per core.");

constexpr auto tempOption = valued (
    "--temp",
    "DIR",
    "The folder for temporary data. It needs 4 bytes for each sample of each track, and with --save 20 more "
    "for each of an analyzed one. The refined method adds 12 for its spectra (see --spectra), and 4, or with "
    "--save 20 for the longest track. --dry-run tells how much that is. Default: tessivar/tmp in the "
    "user's cache folder.",
    ValueKind::folder);

constexpr auto spectraOption = valued (
    "--spectra",
    "WHERE",
    "Where the refined method keeps its spectra while it works: memory, disk (the folder for temporary "
    "data), or auto, which is memory when they take no more than a quarter of what is free. Default: "
    "auto.");

constexpr auto dryRunOption = flag ("--dry-run",
                                    "Check the files to their ends and print the plan and what it takes of "
                                    "time, memory and disk, by the other method too; write nothing. Exits as "
                                    "the run would.");

constexpr auto quietOption = flag ("--quiet", "No progress and no table; errors are still told.");

constexpr auto eachOption =
    flag ("--each",
          "Take every folder among INPUT as a performance of its own. Group files always are. With several, "
          "each is written into a folder of its name below DIR; one that fails does not keep the others "
          "back.");

constexpr auto saveOption =
    valued ("--save",
            "GROUP.dls",
            "Save the tracks with their analysis and knobs in a group file, from which they can be exported "
            "again with other knobs in seconds. With several Groups it names a folder.",
            ValueKind::file);

constexpr auto reportOption = valued (
    "--report",
    "FILE.html",
    "Write a page to look at: what was removed from each track, waveforms and spectrograms, and which "
    "tracks need an ear. It is one file that needs nothing else. With several Groups it names a folder.",
    ValueKind::file);

constexpr auto reportAudioOption = flag (
    "--report-audio",
    "Short passages to listen to in the report: source, processed and removed of each track, where most is "
    "kept and where most is removed. About 3 MB for each track.");

const std::array processOptions{ outOption,        focusOption,  fineOption,        methodOption,
                                 typeOption,       typesOption,  excludeOption,     eachOption,
                                 saveOption,       formatOption, depthOption,       overwriteOption,
                                 componentsOption, reportOption, reportAudioOption, seedOption,
                                 threadsOption,    tempOption,   spectraOption,     dryRunOption,
                                 jsonOption,       quietOption };

const std::array analyzeOptions{
    required (saveOption), focusOption,  fineOption,      methodOption, typeOption,    typesOption,
    excludeOption,         eachOption,   overwriteOption, seedOption,   threadsOption, tempOption,
    spectraOption,         dryRunOption, jsonOption,      quietOption
};

constexpr auto settingOption =
    valued ("--setting",
            "A|B",
            "Which of the two settings of each track to use. Default: the one that is chosen in the Group.");

constexpr auto onlyTrackOption =
    repeatable (valued ("--track", "NAME", "Only the tracks that NAME matches. Default: all."));

constexpr auto exportFocusOption = repeatable (
    valued ("--focus",
            "[NAME=]VALUE",
            "Another focus than the one saved in the Group, 0 to 5 or a percentage of the range (50% is "
            "2.5); after a refined analysis VALUE may be the word suggested. Without NAME it holds for "
            "every track that no NAME matches."));

constexpr auto exportFineOption = repeatable (
    valued ("--fine",
            "[NAME=]VALUE",
            "Another fine than the one saved in the Group, 0 to 1 or a percentage. Given like --focus."));

constexpr std::array exportOptions{ outOption,       settingOption, exportFocusOption, exportFineOption,
                                    onlyTrackOption, formatOption,  depthOption,       overwriteOption,
                                    dryRunOption,    jsonOption,    quietOption };

const std::array editOptions{
    required (repeatable (valued ("--track", "NAME", "The tracks to change: all that NAME matches."))),
    valued ("--type", "TYPE", editedTypeHelp),
    valued ("--focus-a", "VALUE", "Focus of setting A, 0 to 5 or a percentage."),
    valued ("--fine-a", "VALUE", "Fine of setting A, 0 to 1 or a percentage."),
    valued ("--focus-b", "VALUE", "Focus of setting B."),
    valued ("--fine-b", "VALUE", "Fine of setting B."),
    valued ("--select", "A|B", "The setting that sounds and is exported."),
    flag ("--exclude", "Leave the tracks out of the next analysis; they pass through unchanged."),
    flag ("--include", "Take the tracks into the next analysis."),
    valued ("--rename", "NEW", "A new name, for one track."),
    jsonOption,
};

constexpr auto fromOption =
    valued ("--from", "TIME", "Where to begin: seconds, or minutes:seconds. Default: the start.");
constexpr auto toOption = valued ("--to", "TIME", "Where to end. Default: the end of the longest track.");
constexpr auto bypassOption = flag ("--bypass", "The tracks as they were recorded.");
constexpr auto removedOption = flag ("--removed", "Only what is removed from the tracks.");
constexpr auto allOption = flag ("--all", "All tracks together, which is what happens without --track too.");
constexpr auto plainQuietOption = flag ("--quiet", "Tell errors only.");

constexpr auto deviceOption =
    valued ("--device",
            "NAME",
            "The output to play through, as the command devices names it. Default: the system's.");

constexpr std::array playOptions{
    onlyTrackOption, allOption,     fromOption,   toOption,   settingOption,
    bypassOption,    removedOption, deviceOption, jsonOption, plainQuietOption
};

constexpr auto mixFileOption =
    required (valued ("--out",
                      "FILE",
                      "The file to write: WAV with 32-bit float samples, or AIFF with 24-bit ones when its "
                      "name ends in .aiff or .aif.",
                      ValueKind::file));

constexpr std::array renderOptions{ mixFileOption,   onlyTrackOption, allOption,    fromOption,
                                    toOption,        settingOption,   bypassOption, removedOption,
                                    overwriteOption, plainQuietOption };

constexpr std::array reportOptions{ required (
                                        valued ("--out", "FILE.html", "The page to write.", ValueKind::file)),
                                    reportAudioOption,
                                    overwriteOption,
                                    threadsOption,
                                    jsonOption,
                                    plainQuietOption };

constexpr std::array verifyOptions{ jsonOption };
constexpr std::array classifyOptions{ typesOption };
constexpr std::array infoOptions{ typesOption, jsonOption };
constexpr std::array indexOptions{ plainQuietOption };
constexpr std::array demoOptions{ flag ("--overwrite", "Replace files that exist in DIR.") };
constexpr std::array helpOptions{ flag ("--help", "Print this help.") };
constexpr std::array versionOptions{ flag ("--version", "Print version and revision.") };

constexpr auto commands = std::to_array<CommandSpec> ({
    { "process",
      OperandKind::audioFilesAndFolders,
      "INPUT...",
      "analyze the tracks of one performance together and write them with less leakage",
      "INPUT are the close microphones of one performance: audio files, folders (their audio files, sorted "
      "by name, without their subfolders), or a mix; a group file is a performance of its own, which is "
      "analyzed again. Files keep the order in which they are given. WAV, AIFF, CAF, FLAC and Ogg Vorbis are "
      "read, mono or stereo, at 44.1, 48, 88.2, 96 or 192 kHz, all of one rate.\nEvery track becomes one "
      "mono file in DIR, named after its source with _Processed added (and _L or _R before it when the "
      "source is stereo), at the source's own length, its bit depth unless --depth says otherwise, and with "
      "its metadata. Tracks that pass through unchanged keep their plain name.\nNAME is a file name without "
      "its extension, upper and lower case alike; * stands for any characters and ? for one. When several "
      "options fit a track, the last one counts. A NAME that matches no track is an error.",
      processOptions },
    { "analyze",
      OperandKind::audioFilesAndFolders,
      "INPUT...",
      "analyze the tracks of one performance and save them as a Group, without writing audio files",
      "INPUT are audio files and folders as for process, or one group file, whose tracks are then analyzed "
      "again. The analysis, the audio and the knobs are kept in the group file; the sources are not needed "
      "any more.",
      analyzeOptions },
    { "export",
      OperandKind::groupFiles,
      "GROUP...",
      "write the tracks of group files with less leakage",
      "Renders the analysis that a group file (.dls) holds, with the knobs saved in it or with others, in "
      "seconds: nothing is analyzed. Files are named and written as process does it. With several group "
      "files each has a folder of its name below DIR; one that fails does not keep the others back.",
      exportOptions },
    { "edit",
      OperandKind::groupFiles,
      "GROUP",
      "change knobs, types and names in a group file",
      "Writes the change behind what the file holds, which takes no longer for a large file than for a small "
      "one. A drum type, or what takes part, counts from the next analysis on.",
      editOptions },
    { "verify",
      OperandKind::groupFiles,
      "GROUP...",
      "check every sum of group files",
      "Reads the files to their end and tells what is damaged and what can still be read. Exits with 1 when "
      "one of several is damaged, with 3 when all are. An interrupted save that lost nothing is no damage: "
      "the save before it is whole, and the next one clears it up. It is told, and exits with 6 when nothing "
      "is damaged.",
      verifyOptions },
    { "play",
      OperandKind::groupFiles,
      "GROUP",
      "play a group file through a sound device",
      "Plays the tracks together, each with its own knobs, as they would be exported. Ends at the end of the "
      "range, or with an interruption.",
      playOptions },
    { "render",
      OperandKind::groupFiles,
      "GROUP",
      "write into a file what play would let you hear",
      "The mix of the tracks as one mono file, without a sound device and faster than it plays.",
      renderOptions },
    { "report",
      OperandKind::groupFiles,
      "GROUP",
      "write a page about a group file, to look at and to send",
      "One HTML page that needs nothing else: what the knobs saved in the Group remove from each track, "
      "waveforms, "
      "spectrograms, levels, and which tracks need an ear. It is what process --report writes.",
      reportOptions },
    { "devices", OperandKind::none, "", "list the sound devices", "One line for each output.", {} },
    { "classify",
      OperandKind::text,
      "NAME...",
      "tell which drum type is guessed from a file name",
      "Prints one line for each NAME: the name, its type, and what in the name the guess rests on, with a "
      "word on the list when it is not the built-in one. The files need not exist.",
      classifyOptions },
    { "info",
      OperandKind::audioFiles,
      "FILE...",
      "tell what audio files and group files hold",
      "Reads every audio file to its end and checks it the way process does; tells its rate, depth, "
      "channels, length, type and warnings. Each file is judged by itself. Of a group file it tells the "
      "tracks with their knobs, and the analysis; its audio is not read, which verify does.",
      infoOptions },
    { "index",
      OperandKind::folder,
      "DIR",
      "make a page that lists the sessions of a batch",
      "Writes index.html into DIR, where each session of a batch has left its document NAME.json, its report "
      "NAME.html and its log NAME.log: a table of sessions with state, length, what was removed, which "
      "tracks need an ear, and links. Those that were refused, failed or were stopped tell why. A batch that "
      "is still running gives a page that says so.",
      indexOptions },
    { "demo",
      OperandKind::folder,
      "DIR",
      "write the demo session as 24-bit WAV files",
      "Writes seven tracks of a real drum kit with much leakage into DIR, 20 seconds each, with their "
      "licence. Not every name tells its drum: process them with --type \"SD*=snare\" --type "
      "\"Rack*=tomHigh\".",
      demoOptions },
    { "selftest",
      OperandKind::none,
      "",
      "check this installation",
      "Checks that the analysis data are all there and whole, and that sound comes back unchanged from the "
      "analysis at all five sample rates; tells which processor instructions are used.",
      {} },
});

constexpr auto exitCodes = std::to_array<ExitCodeSpec> ({
    { exitCode::done, "done", "all done" },
    { exitCode::someFailed, "partial", "some files failed, the rest is done" },
    { exitCode::usage, "usage", "wrong usage; nothing was done" },
    { exitCode::inputRefused, "refused", "the input was refused; nothing was written" },
    { exitCode::outputFailed, "outputFailed", "the output could not be written" },
    { exitCode::analysisFailed, "analysisFailed", "the analysis failed; nothing was written" },
    { exitCode::interruptedSave, "interruptedSave", "verify found an interrupted save; nothing is lost" },
    { exitCode::internalError, "analysisFailed", "an error of the program itself" },
    { exitCode::interrupted, "interrupted", "interrupted" },
});

/** The row with this name, or null. */
template <typename Spec>
const Spec* findNamed (std::span<const Spec> specs, std::string_view name)
{
    const auto found =
        std::find_if (specs.begin(), specs.end(), [name] (const Spec& spec) { return spec.name == name; });
    return found == specs.end() ? nullptr : &*found;
}
} // namespace

std::span<const CommandSpec> commandTable()
{
    return commands;
}

std::span<const OptionSpec> commonOptions()
{
    return helpOptions;
}

std::span<const OptionSpec> programOptions()
{
    return versionOptions;
}

std::span<const ExitCodeSpec> exitCodeTable()
{
    return exitCodes;
}

const CommandSpec* findCommand (std::string_view name)
{
    return findNamed (commandTable(), name);
}

const OptionSpec* findOption (const CommandSpec& command, std::string_view name)
{
    return findNamed (command.options, name);
}

} // namespace tessivar
