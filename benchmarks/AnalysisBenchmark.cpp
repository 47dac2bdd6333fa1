#include "benchmarks/AnalysisBenchmark.h"

#include "benchmarks/FileStorage.h"
#include "benchmarks/SyntheticDrums.h"
#include "engine/AnalysisPipeline.h"
#include "engine/DataFileGenerator.h"
#include "engine/numerics/simd/SimdTarget.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tessivar::benchmarks
{

namespace
{
const std::array<std::string, 5> stageNames{ "front end", "decomposition", "rendering", "folding", "rest" };

/** Wall seconds of each stage, told from the values of progress: the front end ends at 0.1, the decomposition at 0.6; each
    track's part of what follows is half rendering, half folding and storing. */
class StageClock
{
public:
    explicit StageClock (int tracks) : numTracks (tracks) {}

    void progress (double value)
    {
        constexpr double rounding = 1.0e-9;
        const auto ofTracks = (value - 0.6) / 0.4 * numTracks;
        const auto withinTrack = ofTracks - std::floor (ofTracks + rounding);

        if (value < 0.05)
            add (4);
        else if (value <= 0.1)
            add (0);
        else if (value <= 0.6 + rounding)
            add (1);
        else if (value >= 1.0)
            add (4);
        else
            add (withinTrack > 0.5 + rounding ? 3 : 2);
    }

    [[nodiscard]] double seconds (std::size_t stage) const { return sums[stage]; }

private:
    void add (std::size_t stage)
    {
        const auto now = currentTime().wall;
        sums[stage] += now - last;
        last = now;
    }

    const int numTracks;
    double last = currentTime().wall;
    std::array<double, stageNames.size()> sums{};
};

/** Peak resident memory of this process in bytes; 0 where the system does not say. */
double peakMemory()
{
    std::ifstream file ("/proc/self/status");
    std::string word;

    while (file >> word)
        if (word == "VmHWM:")
        {
            double kilobytes = 0;
            file >> kilobytes;
            return 1024.0 * kilobytes;
        }

    return 0.0;
}

/** A folder that goes when this does. */
class TemporaryFolder
{
public:
    explicit TemporaryFolder (const std::string& parent)
    {
        auto pattern = parent + "/tessivar-benchmark-XXXXXX";

        if (mkdtemp (pattern.data()) == nullptr)
            throw std::runtime_error (parent + ": no folder can be made in it: " + std::strerror (errno));

        path = pattern;
    }

    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all (path, ignored);
    }

    TemporaryFolder (const TemporaryFolder&) = delete;
    TemporaryFolder& operator= (const TemporaryFolder&) = delete;

    std::string path;
};

/** Runs this program again in the role of analyseInThisProcess and returns what it printed. */
nlohmann::json analyseInChild (const std::string& folder, int numTracks, int numThreads)
{
    int ends[2];

    if (pipe (ends) != 0)
        throw std::runtime_error (std::string ("no pipe: ") + std::strerror (errno));

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init (&actions);
    posix_spawn_file_actions_adddup2 (&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose (&actions, ends[0]);

    std::vector<std::string> words{
        "tessivar_benchmarks", "--analyse-folder",         folder, "--tracks", std::to_string (numTracks),
        "--threads",           std::to_string (numThreads)
    };
    std::vector<char*> arguments;

    for (auto& word : words)
        arguments.push_back (word.data());

    arguments.push_back (nullptr);
    pid_t child = 0;
    const auto error = posix_spawn (&child, "/proc/self/exe", &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy (&actions);
    close (ends[1]);
    std::string text;

    if (error == 0)
    {
        char buffer[4096];

        for (ssize_t n = 0; (n = ::read (ends[0], buffer, sizeof (buffer))) > 0;)
            text.append (buffer, static_cast<std::size_t> (n));
    }

    close (ends[0]);
    int status = 0;

    if (error != 0 || waitpid (child, &status, 0) < 0 || status != 0)
        throw std::runtime_error ("the analysis in a process of its own failed");

    return nlohmann::json::parse (text);
}

/** Room that the files of one analysis take, in bytes. */
std::uint64_t diskBytes (int numTracks, int seconds)
{
    const auto samples = std::uint64_t{ 44100 } * static_cast<std::uint64_t> (seconds);
    return 4 * samples * (12 + static_cast<std::uint64_t> (numTracks) * (1 + method::numRenderChannels))
           + (std::uint64_t{ 64 } << 20);
}

struct Runs
{
    Series wall, cpu, memory;
    std::array<Series, stageNames.size()> stages;
    std::string checksum;
};

void reportLength (const BenchmarkOptions& options,
                   int seconds,
                   std::map<int, Runs>& runs,
                   int numDisturbed,
                   Findings& findings,
                   Table& times,
                   Table& stages)
{
    const auto length = std::to_string (options.numTracks) + " x " + std::to_string (seconds) + " s";
    const auto isGoal = options.numTracks == 8 && seconds == 300;
    const auto hasOne = runs.count (1) != 0;

    for (const auto threads : options.threads)
    {
        const auto& run = runs[threads];
        const auto faster = hasOne && threads > 1 ? ratios (runs[1].wall, run.wall) : Series();
        const auto realTime = run.wall.mapped ([&] (double wall) { return seconds / wall; });

        times.rows.push_back ({ length,
                                std::to_string (threads),
                                number (run.wall.median(), 2),
                                number (run.wall.minimum(), 2),
                                number (run.cpu.median(), 2),
                                number (realTime.median(), 1),
                                isGoal && threads == 2 ? "25 / 50" : "-",
                                number (faster.median(), 2),
                                options.numTracks == 8 && threads == 2 ? "1.7 / 1.9" : "-",
                                number (run.memory.median() * 1.0e-6),
                                isGoal ? "400 / 200" : "-" });

        std::vector<std::string> row{ length, std::to_string (threads) };
        auto total = 0.0;

        for (const auto& stage : run.stages)
            total += stage.median();

        for (const auto& stage : run.stages)
            row.push_back (number (stage.median(), 2) + " s, " + percent (stage.median() / total));

        stages.rows.push_back (row);

        nlohmann::ordered_json figures{ { "tracks", options.numTracks },
                                        { "seconds", seconds },
                                        { "threads", threads },
                                        { "wallSeconds", run.wall.values() },
                                        { "cpuSeconds", run.cpu.values() },
                                        { "timesRealTime", realTime.values() },
                                        { "timesFasterThanOneThread", faster.values() },
                                        { "peakMemoryBytes", run.memory.values() },
                                        { "checksum", run.checksum },
                                        { "disturbedRounds", numDisturbed } };

        for (std::size_t i = 0; i < stageNames.size(); ++i)
            figures["stageSeconds"][stageNames[i]] = run.stages[i].values();

        findings.figures["variants"].push_back (figures);

        if (run.checksum != runs[options.threads.front()].checksum)
            findings.failures.push_back ("analysis, " + length + ": " + std::to_string (threads) + " and "
                                         + std::to_string (options.threads.front())
                                         + " threads give different results");
    }

    if (numDisturbed > 0)
        times.notes.push_back (length + ": " + std::to_string (numDisturbed) + " of "
                               + std::to_string (options.analysisRounds)
                               + " rounds were disturbed by other programs.");
}
} // namespace

int analyseInThisProcess (const std::string& folder, int numTracks, int numThreads)
{
    std::vector<std::unique_ptr<FileSource>> sources;
    std::vector<AnalysisTrack> tracks;
    std::vector<std::int64_t> lengths;

    for (int i = 0; i < numTracks; ++i)
    {
        sources.push_back (std::make_unique<FileSource> (syntheticTrackFile (folder, i)));
        AnalysisTrack track;
        track.shape.drumType = syntheticDrumType (i);
        track.shape.sampleRate = 44100.0;
        track.shape.lengthInSamples = sources.back()->lengthInSamples();
        track.source = sources.back().get();
        tracks.push_back (track);
        lengths.push_back (track.shape.lengthInSamples);
    }

    FileStorage storage (folder, lengths);
    AnalysisOptions options;
    options.resourceFolder = folder + "/Resources";
    options.numThreads = numThreads;
    StageClock stages (numTracks);
    AnalysisControl control;
    control.setProgress = [&] (double value) { stages.progress (value); };
    auto status = AnalysisStatus::completed;

    const auto duration =
        measure ([&] { status = analyseTracks (tracks, options, storage, control).status; });
    const auto memory = peakMemory();

    if (status != AnalysisStatus::completed)
    {
        std::cerr << "the analysis ended with status " << static_cast<int> (status) << std::endl;
        return 1;
    }

    nlohmann::json figures{ { "wall", duration.wall },
                            { "cpu", duration.cpu },
                            { "memory", memory },
                            { "checksum", std::to_string (storage.checksum()) } };

    for (std::size_t i = 0; i < stageNames.size(); ++i)
        figures["stages"].push_back (stages.seconds (i));

    std::cout << figures.dump() << std::endl;
    return 0;
}

Findings benchmarkAnalysis (const BenchmarkOptions& options)
{
    Findings findings;
    Table times, stages;
    times.id = "analysis";
    times.title = "Whole analysis, " + simdTargetName() + ", files in a temporary folder";
    times.columns = { "tracks",       "threads",    "wall s",       "best s",  "CPU s",       "x real time",
                      "must / ahead", "x 1 thread", "must / ahead", "peak MB", "must / ahead" };
    stages.id = "stages";
    stages.title = "Stages of the analysis, wall time";
    stages.columns = { "tracks", "threads" };
    stages.columns.insert (stages.columns.end(), stageNames.begin(), stageNames.end());

    for (const auto seconds : options.seconds)
    {
        announce ("analysis: " + std::to_string (options.numTracks) + " tracks x " + std::to_string (seconds)
                  + " s");
        const auto needed = diskBytes (options.numTracks, seconds);
        const auto available = std::filesystem::space (options.temporaryFolder).available;

        if (available < needed)
            throw std::runtime_error (options.temporaryFolder + ": " + std::to_string (needed)
                                      + " bytes are needed, " + std::to_string (available) + " are free");

        const TemporaryFolder folder (options.temporaryFolder);
        std::filesystem::create_directory (folder.path + "/Resources");

        if (const auto problem = writeAllDataFiles (folder.path + "/Resources"); ! problem.empty())
            throw std::runtime_error (problem);

        writeSyntheticDrums (folder.path, options.numTracks, seconds);
        std::map<int, Runs> runs;
        auto policy = options.rounds;
        policy.numRounds = options.analysisRounds;

        const auto numDisturbed =
            runRounds (policy,
                       [&]
                       {
                           std::map<int, nlohmann::json> found;

                           for (const auto threads : options.threads)
                               found[threads] = analyseInChild (folder.path, options.numTracks, threads);

                           return [&runs, found]
                           {
                               for (const auto& [threads, figures] : found)
                               {
                                   auto& run = runs[threads];
                                   run.wall.add (figures["wall"]);
                                   run.cpu.add (figures["cpu"]);
                                   run.memory.add (figures["memory"]);
                                   run.checksum = figures["checksum"];

                                   for (std::size_t i = 0; i < stageNames.size(); ++i)
                                       run.stages[i].add (figures["stages"][i]);
                               }
                           };
                       });

        reportLength (options, seconds, runs, numDisturbed, findings, times, stages);
    }

    times.notes.push_back (
        "Peak memory is that of the whole process; the tracks are read from files on demand and are "
        "not in it.");
    findings.tables = { times, stages };
    return findings;
}

} // namespace tessivar::benchmarks
