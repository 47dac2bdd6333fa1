#include "cli/CommandTable.h"

#include "terms/DrumType.h"
#include "terms/KnobValues.h"

#include <algorithm>
#include <array>

namespace tessivar
{

namespace
{
constexpr OptionSpec jsonOption{
    .name = "--json",
    .help = "Print one JSON document on standard output, and nothing else there.",
};

constexpr OptionSpec outOption{
    .name = "--out",
    .value = "DIR",
    .kind = ValueKind::folder,
    .required = true,
    .help = "The folder for the processed files. It is made when it does not exist.",
};

// The help says so.
static_assert (startKnobsA.focus == 2.5f && startKnobsA.fine == 0.0f);

constexpr OptionSpec focusOption{
    .name = "--focus",
    .value = "[NAME=]VALUE",
    .kind = ValueKind::text,
    .repeatable = true,
    .help = "How much is removed: 0 leaves a track as it is, 5 keeps only the best component. VALUE is a "
            "number from 0 to 5, or a percentage of the range (50% is 2.5). Without NAME it holds for "
            "every track that no NAME matches. With the refined method VALUE may be the word suggested: the "
            "lowest value that has the whole effect, found by the analysis for each track. Default: "
            "suggested with the refined method, else 2.5. Tracks of a group file keep what they stand at, "
            "but that the refined method turns setting A where nobody has turned a knob; a VALUE goes to the "
            "setting that sounds.",
};

constexpr OptionSpec fineOption{
    .name = "--fine",
    .value = "[NAME=]VALUE",
    .kind = ValueKind::text,
    .repeatable = true,
    .help = "How much of what was removed is mixed back: 0 nothing, 1 everything; a number from 0 to 1 or "
            "a percentage. Given like --focus. Default: 0, or what a group file holds.",
};

constexpr OptionSpec methodOption{
    .name = "--method",
    .value = "METHOD",
    .kind = ValueKind::analysisMethod,
    .help = "How the tracks are analyzed: standard, or refined, which models the leakage between the "
            "microphones, removes much more of it, suggests a focus for each track and takes about "
            "twice as long. Default: standard.",
};

const auto typeHelp = "The drum type of the tracks that NAME matches: " + drumTypeWords()
                      + ". Without it the type is guessed from the file name. Tracks of type oh and other "
                        "pass through unchanged.";
const auto editedTypeHelp = "The drum type: " + drumTypeWords() + ".";

const OptionSpec typeOption{
    .name = "--type",
    .value = "NAME=TYPE",
    .kind = ValueKind::drumType,
    .repeatable = true,
    .help = typeHelp,
};

constexpr OptionSpec typesOption{
    .name = "--types",
    .value = "FILE",
    .kind = ValueKind::file,
    .help = "The lists of abbreviations that types are guessed by: a settings file of the program, or text "
            "with a list a line, as \"snare = SD; snr\"; types without a line keep the built-in list. "
            "Default: the lists in the user's settings, as the window takes them.",
};

constexpr OptionSpec excludeOption{
    .name = "--exclude",
    .value = "NAME",
    .kind = ValueKind::text,
    .repeatable = true,
    .help = "Leave the tracks that NAME matches out of the analysis. They pass through unchanged.",
};

constexpr OptionSpec formatOption{
    .name = "--format",
    .value = "FORMAT",
    .kind = ValueKind::audioFormat,
    .help = "The kind of file to write: wav or aiff. Default: wav.",
};

constexpr OptionSpec overwriteOption{
    .name = "--overwrite",
    .help = "Replace files that exist. A source, or a group file in use, is never replaced by anything else.",
};

constexpr OptionSpec componentsOption{
    .name = "--components",
    .help = "Also write the ten component signals of every analyzed track, best first, as 32-bit float WAV.",
};

constexpr OptionSpec seedOption{
    .name = "--seed",
    .value = "N",
    .kind = ValueKind::text,
    .help = "The start of the analysis. Equal seeds give equal files; another seed may part the drums "
            "better or worse. Default: 1.",
};

constexpr OptionSpec threadsOption{
    .name = "--threads",
    .value = "N",
    .kind = ValueKind::text,
    .help = "How many threads compute, 1 to 256. The result does not depend on it. Default: one per core.",
};

constexpr OptionSpec tempOption{
    .name = "--temp",
    .value = "DIR",
    .kind = ValueKind::folder,
    .help =
        "The folder for temporary data. It needs about 32 bytes for each sample of each analyzed track, 40 "
        "with the refined method, and for each sample of the longest one 50 more, 80 with the refined "
        "method; --dry-run tells how much that is. Default: tessivar/tmp in the user's cache folder.",
};

constexpr OptionSpec dryRunOption{
    .name = "--dry-run",
    .help = "Check the files to their ends and print the plan and what it takes of memory and disk; write "
            "nothing. Exits as the run would.",
};

constexpr OptionSpec quietOption{
    .name = "--quiet",
    .help = "No progress and no table; errors are still told.",
};

constexpr OptionSpec eachOption{
    .name = "--each",
    .help = "Take every folder among INPUT as a performance of its own. Group files always are. With "
            "several, each "
            "is written into a folder of its name below DIR; one that fails does not keep the others back.",
};

constexpr OptionSpec saveOption{
    .name = "--save",
    .value = "GROUP.dls",
    .kind = ValueKind::file,
    .help = "Save the tracks with their analysis and knobs in a group file, from which they can be exported "
            "again with "
            "other knobs in seconds. With several Groups it names a folder.",
};

constexpr auto requiredSaveOption = []
{
    auto option = saveOption;
    option.required = true;
    return option;
}();

const std::array processOptions{ outOption,       focusOption,      fineOption, methodOption,  typeOption,
                                 typesOption,     excludeOption,    eachOption, saveOption,    formatOption,
                                 overwriteOption, componentsOption, seedOption, threadsOption, tempOption,
                                 dryRunOption,    jsonOption,       quietOption };

const std::array analyzeOptions{
    requiredSaveOption, focusOption,   fineOption,   methodOption,    typeOption,
    typesOption,        excludeOption, eachOption,   overwriteOption, seedOption,
    threadsOption,      tempOption,    dryRunOption, jsonOption,      quietOption
};

constexpr OptionSpec settingOption{
    .name = "--setting",
    .value = "A|B",
    .kind = ValueKind::text,
    .help = "Which of the two settings of each track to use. Default: the one that is chosen in the Group.",
};

constexpr auto exportFocusOption = []
{
    auto option = focusOption;
    option.help =
        "Another focus than the one saved in the Group, 0 to 5 or a percentage of the range (50% is 2.5); "
        "after a refined analysis VALUE may be the word suggested. Without NAME it holds for every track "
        "that no NAME matches.";
    return option;
}();

constexpr auto exportFineOption = []
{
    auto option = fineOption;
    option.help = "Another fine than the one saved in the Group, 0 to 1 or a percentage. Given like --focus.";
    return option;
}();

constexpr OptionSpec onlyTrackOption{
    .name = "--track",
    .value = "NAME",
    .kind = ValueKind::text,
    .repeatable = true,
    .help = "Only the tracks that NAME matches. Default: all.",
};

constexpr std::array exportOptions{ outOption,       settingOption, exportFocusOption, exportFineOption,
                                    onlyTrackOption, formatOption,  overwriteOption,   dryRunOption,
                                    jsonOption,      quietOption };

constexpr OptionSpec editedTrackOption{
    .name = "--track",
    .value = "NAME",
    .kind = ValueKind::text,
    .repeatable = true,
    .required = true,
    .help = "The tracks to change: all that NAME matches.",
};

const std::array editOptions{
    editedTrackOption,
    OptionSpec{ .name = "--type", .value = "TYPE", .kind = ValueKind::text, .help = editedTypeHelp },
    OptionSpec{ .name = "--focus-a",
                .value = "VALUE",
                .kind = ValueKind::text,
                .help = "Focus of setting A, 0 to 5 or a percentage." },
    OptionSpec{ .name = "--fine-a",
                .value = "VALUE",
                .kind = ValueKind::text,
                .help = "Fine of setting A, 0 to 1 or a percentage." },
    OptionSpec{
        .name = "--focus-b", .value = "VALUE", .kind = ValueKind::text, .help = "Focus of setting B." },
    OptionSpec{ .name = "--fine-b", .value = "VALUE", .kind = ValueKind::text, .help = "Fine of setting B." },
    OptionSpec{ .name = "--select",
                .value = "A|B",
                .kind = ValueKind::text,
                .help = "The setting that sounds and is exported." },
    OptionSpec{ .name = "--exclude",
                .help = "Leave the tracks out of the next analysis; they pass through unchanged." },
    OptionSpec{ .name = "--include", .help = "Take the tracks into the next analysis." },
    OptionSpec{
        .name = "--rename", .value = "NEW", .kind = ValueKind::text, .help = "A new name, for one track." },
    jsonOption,
};

constexpr std::array verifyOptions{ jsonOption };

constexpr OptionSpec fromOption{
    .name = "--from",
    .value = "TIME",
    .kind = ValueKind::text,
    .help = "Where to begin: seconds, or minutes:seconds. Default: the start.",
};

constexpr OptionSpec toOption{
    .name = "--to",
    .value = "TIME",
    .kind = ValueKind::text,
    .help = "Where to end. Default: the end of the longest track.",
};

constexpr OptionSpec bypassOption{
    .name = "--bypass",
    .help = "The tracks as they were recorded.",
};

constexpr OptionSpec removedOption{
    .name = "--removed",
    .help = "Only what is removed from the tracks.",
};

constexpr OptionSpec allOption{
    .name = "--all",
    .help = "All tracks together, which is what happens without --track too.",
};

constexpr OptionSpec plainQuietOption{
    .name = "--quiet",
    .help = "Tell errors only.",
};

constexpr std::array playOptions{
    onlyTrackOption,
    allOption,
    fromOption,
    toOption,
    settingOption,
    bypassOption,
    removedOption,
    OptionSpec{ .name = "--device",
                .value = "NAME",
                .kind = ValueKind::text,
                .help =
                    "The output to play through, as the command devices names it. Default: the system's." },
    jsonOption,
    plainQuietOption,
};

constexpr std::array renderOptions{
    OptionSpec{ .name = "--out",
                .value = "FILE",
                .kind = ValueKind::file,
                .required = true,
                .help = "The file to write: WAV with 32-bit float samples, or AIFF with 24-bit ones when its "
                        "name ends in "
                        ".aiff or .aif." },
    onlyTrackOption,
    allOption,
    fromOption,
    toOption,
    settingOption,
    bypassOption,
    removedOption,
    overwriteOption,
    plainQuietOption,
};

constexpr std::array classifyOptions{ typesOption };
constexpr std::array infoOptions{ typesOption, jsonOption };

constexpr std::array demoOptions{
    OptionSpec{
        .name = "--overwrite",
        .help = "Replace files that exist in DIR.",
    },
};

constexpr std::array helpOptions{
    OptionSpec{
        .name = "--help",
        .help = "Print this help.",
    },
};

constexpr std::array versionOptions{
    OptionSpec{
        .name = "--version",
        .help = "Print version and revision.",
    },
};

constexpr std::array commands{
    CommandSpec{
        "process",
        OperandKind::audioFilesAndFolders,
        "INPUT...",
        "analyze the tracks of one performance together and write them with less leakage",
        "INPUT are the close microphones of one performance: audio files, folders (their audio files, "
        "sorted by name, without their subfolders), or a mix; a group file is a performance of its own, "
        "which is "
        "analyzed again. Files keep the order in which they are "
        "given. WAV, AIFF, CAF, FLAC and Ogg Vorbis are read, mono or stereo, at 44.1, 48, 88.2, 96 or 192 "
        "kHz, all of one rate.\n"
        "Every track becomes one mono file in DIR, named after its source with _Processed added (and _L or "
        "_R before it when the source is stereo), at the source's own length and bit depth and with its "
        "metadata. Tracks that pass through unchanged keep their plain name.\n"
        "NAME is a file name without its extension, upper and lower case alike; * stands for any "
        "characters and ? for one. When several options fit a track, the last one counts. A NAME that "
        "matches no track is an error.",
        processOptions },
    CommandSpec{
        "analyze",
        OperandKind::audioFilesAndFolders,
        "INPUT...",
        "analyze the tracks of one performance and save them as a Group, without writing audio files",
        "INPUT are audio files and folders as for process, or one group file, whose tracks are then analyzed "
        "again. The "
        "analysis, the audio and the knobs are kept in the group file; the sources are not needed any more.",
        analyzeOptions },
    CommandSpec{
        "export",
        OperandKind::groupFiles,
        "GROUP...",
        "write the tracks of group files with less leakage",
        "Renders the analysis that a group file (.dls) holds, with the knobs saved in it or with others, in "
        "seconds: nothing is analyzed. Files are named and written as process does it. With several group "
        "files each has a folder of its name below DIR; one that fails does not keep the others back.",
        exportOptions },
    CommandSpec{
        "edit",
        OperandKind::groupFiles,
        "GROUP",
        "change knobs, types and names in a group file",
        "Writes the change behind what the file holds, which takes no longer for a large file than for a "
        "small one. A drum type, or what takes part, counts from the next analysis on.",
        editOptions },
    CommandSpec{
        "verify",
        OperandKind::groupFiles,
        "GROUP...",
        "check every sum of group files",
        "Reads the files to their end and tells what is damaged and what can still be read. Exits "
        "with 1 when one of several is damaged, with 3 when all are. An interrupted save that lost "
        "nothing is no damage: the save before it is whole, and the next one clears it up. It is told, "
        "and exits with 6 when nothing is damaged.",
        verifyOptions },
    CommandSpec{ "play",
                 OperandKind::groupFiles,
                 "GROUP",
                 "play a group file through a sound device",
                 "Plays the tracks together, each with its own knobs, as they would be exported. Ends at the "
                 "end of the "
                 "range, or with an interruption.",
                 playOptions },
    CommandSpec{ "render",
                 OperandKind::groupFiles,
                 "GROUP",
                 "write into a file what play would let you hear",
                 "The mix of the tracks as one mono file, without a sound device and faster than it plays.",
                 renderOptions },
    CommandSpec{
        "devices", OperandKind::none, "", "list the sound devices", "One line for each output.", {} },
    CommandSpec{
        "classify",
        OperandKind::text,
        "NAME...",
        "tell which drum type is guessed from a file name",
        "Prints one line for each NAME: the name, its type, and what in the name the guess rests on, with a "
        "word on the list when it is not the built-in one. The files need not exist.",
        classifyOptions },
    CommandSpec{ "info",
                 OperandKind::audioFiles,
                 "FILE...",
                 "tell what audio files and group files hold",
                 "Reads every audio file to its end and checks it the way process does; tells its rate, "
                 "depth, channels, length, "
                 "type and warnings. Each file is judged by itself. Of a group file it tells the tracks with "
                 "their knobs, and "
                 "the analysis; its audio is not read, which verify does.",
                 infoOptions },
    CommandSpec{
        "demo",
        OperandKind::folder,
        "DIR",
        "write the demo session as 24-bit WAV files",
        "Writes seven tracks of a real drum kit with much leakage into DIR, 20 seconds each, with their "
        "licence.",
        demoOptions },
    CommandSpec{
        "selftest",
        OperandKind::none,
        "",
        "check this installation",
        "Checks that the analysis data are all there and whole, and that sound comes back unchanged from "
        "the analysis at all five sample rates; tells which processor instructions are used.",
        {} },
};

constexpr std::array exitCodes{
    ExitCodeSpec{ exitCode::done, "all done" },
    ExitCodeSpec{ exitCode::someFailed, "some files failed, the rest is done" },
    ExitCodeSpec{ exitCode::usage, "wrong usage; nothing was done" },
    ExitCodeSpec{ exitCode::inputRefused, "the input was refused; nothing was written" },
    ExitCodeSpec{ exitCode::outputFailed, "the output could not be written" },
    ExitCodeSpec{ exitCode::analysisFailed, "the analysis failed; nothing was written" },
    ExitCodeSpec{ exitCode::interruptedSave, "verify found an interrupted save; nothing is lost" },
    ExitCodeSpec{ exitCode::internalError, "an error of the program itself" },
    ExitCodeSpec{ exitCode::interrupted, "interrupted" },
};
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
    const auto found = std::find_if (commands.begin(),
                                     commands.end(),
                                     [name] (const CommandSpec& command) { return command.name == name; });
    return found == commands.end() ? nullptr : &*found;
}

const OptionSpec* findOption (const CommandSpec& command, std::string_view name)
{
    const auto found = std::find_if (command.options.begin(),
                                     command.options.end(),
                                     [name] (const OptionSpec& option) { return option.name == name; });
    return found == command.options.end() ? nullptr : &*found;
}

} // namespace tessivar
