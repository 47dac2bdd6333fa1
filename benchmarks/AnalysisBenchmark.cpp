#include "benchmarks/AnalysisBenchmark.h"

#include "benchmarks/FileStorage.h"
#include "benchmarks/SyntheticDrums.h"
#include "engine/AnalysisPipeline.h"
#include "engine/DataFileGenerator.h"
#include "engine/numerics/simd/SimdTarget.h"
#include "terms/AnalysisMethod.h"
#include "terms/ChannelLayout.h"
#include "terms/WorkControl.h"

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
const std::array<std::string, 6> stageNames{ "front end", "decomposition", "rendering",
                                             "folding",   "refining",      "rest" };

constexpr std::size_t frontEnd = 0, decomposition = 1, rendering = 2, folding = 3, refining = 4, rest = 5;

const std::string refinedMethod = "refined";

/** Wall seconds of each stage, derived from the progress: the front end ends at 0.1, the decomposition at
    0.6; each track's share of the rest is half rendering, half folding and storing. A refined analysis spends
    the upper half of its progress on refining. */
class StageClock
{
public:
    StageClock (int tracks, bool refined) : numTracks (tracks), isRefined (refined) {}

    void progress (double value) { add (stageAt (value)); }

    [[nodiscard]] double seconds (std::size_t stage) const { return sums[stage]; }

private:
    /** The stage that ends at this progress. */
    [[nodiscard]] std::size_t stageAt (double value) const
    {
        constexpr double rounding = 1.0e-9;

        if (isRefined)
        {
            if (value > 0.5 + rounding)
                return refining;

            value *= 2.0;
        }

        if (value < 0.05)
            return rest;

        if (value <= 0.1)
            return frontEnd;

        if (value <= 0.6 + rounding)
            return decomposition;

        const auto ofTracks = (value - 0.6) / 0.4 * numTracks;
        return ofTracks - std::floor (ofTracks + rounding) > 0.5 + rounding ? folding : rendering;
    }

    void add (std::size_t stage)
    {
        const auto now = currentTime().wall;
        sums[stage] += now - last;
        last = now;
    }

    const int numTracks;
    const bool isRefined;
    double last = currentTime().wall;
    std::array<double, stageNames.size()> sums{};
};

/** Peak resident memory of this process in bytes; 0 where the system doesn't say. */
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

/** A folder that is deleted with this object. */
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

/** Runs this program again as analyseInThisProcess and returns what it printed. */
nlohmann::json
analyseInChild (const std::string& folder, int numTracks, int numThreads, const std::string& method)
{
    int ends[2];

    if (pipe (ends) != 0)
        throw std::runtime_error (std::string ("no pipe: ") + std::strerror (errno));

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init (&actions);
    posix_spawn_file_actions_adddup2 (&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose (&actions, ends[0]);

    std::vector<std::string> words{ "tessivar_benchmarks",
                                    "--analyse-folder",
                                    folder,
                                    "--tracks",
                                    std::to_string (numTracks),
                                    "--threads",
                                    std::to_string (numThreads),
                                    "--methods",
                                    method };
    std::vector<char*> arguments (words.size() + 1, nullptr); // ends with a null pointer
    std::transform (
        words.begin(), words.end(), arguments.begin(), [] (std::string& word) { return word.data(); });
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

/** Bytes that the files of one analysis take: scratch planes, tracks and results, and with the refined method
    second results and two power spectrograms of twice the frame length for each track. */
std::uint64_t diskBytes (int numTracks, int seconds, bool isRefined)
{
    const auto samples = std::uint64_t{ 44100 } * static_cast<std::uint64_t> (seconds);
    const std::uint64_t channels = 1 + (isRefined ? 2 : 1) * channelLayout::numRendered + (isRefined ? 5 : 0);
    return 4 * samples * (12 + static_cast<std::uint64_t> (numTracks) * channels)
           + (std::uint64_t{ 64 } << 20);
}

/** All rounds of one method and number of threads. */
struct Runs
{
    Series wall, cpu, memory;
    std::array<Series, stageNames.size()> stages;
    std::string checksum;
};

using Variant = std::pair<std::string, int>; // method and threads

void reportVariant (const BenchmarkOptions& options,
                    int seconds,
                    const Variant& variant,
                    std::map<Variant, Runs>& all,
                    int numDisturbed,
                    Findings& findings,
                    Table& times,
                    Table& stages)
{
    const auto& [method, threads] = variant;
    const auto& run = all[variant];
    const auto& first = all[{ method, options.threads.front() }];
    const auto length = std::to_string (options.numTracks) + " x " + std::to_string (seconds) + " s";
    const auto isGoal = options.numTracks == 8 && method != refinedMethod;
    const auto oneThread = all.find ({ method, 1 });
    const auto faster =
        oneThread != all.end() && threads > 1 ? ratios (oneThread->second.wall, run.wall) : Series();
    const auto realTime = run.wall.mapped ([&] (double wall) { return seconds / wall; });
    const std::vector<std::string> label{ length, method, std::to_string (threads) };

    auto timesRow = label;
    timesRow.insert (timesRow.end(),
                     { number (run.wall.median(), 2),
                       number (run.wall.minimum(), 2),
                       number (run.cpu.median(), 2),
                       number (realTime.median(), 1),
                       isGoal && seconds == 300 && threads == 2 ? "50" : "-",
                       number (faster.median(), 2),
                       isGoal && threads == 2 ? "1.9" : "-",
                       number (run.memory.median() * 1.0e-6),
                       isGoal && seconds == 300 ? "200" : "-" });
    times.rows.push_back (timesRow);

    auto stagesRow = label;
    auto total = 0.0;

    for (const auto& stage : run.stages)
        total += stage.median();

    for (const auto& stage : run.stages)
        stagesRow.push_back (number (stage.median(), 2) + " s, " + percent (stage.median() / total));

    stages.rows.push_back (stagesRow);

    nlohmann::ordered_json figures{ { "tracks", options.numTracks },
                                    { "seconds", seconds },
                                    { "method", method },
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

    if (run.checksum != first.checksum)
        findings.failures.push_back ("analysis, " + length + ", " + method + ": " + std::to_string (threads)
                                     + " and " + std::to_string (options.threads.front())
                                     + " threads give different results");
}
} // namespace

int analyseInThisProcess (const std::string& folder, int numTracks, int numThreads, const std::string& method)
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
    options.diagnostics = [] (std::string_view, bool) {}; // standard output is for the figures
    options.method = method == refinedMethod ? AnalysisMethod::refined : AnalysisMethod::standard;
    StageClock stages (numTracks, method == refinedMethod);
    WorkControl control;
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
    times.columns = { "tracks",      "method", "threads",    "wall s", "best s",  "CPU s",
                      "x real time", "target", "x 1 thread", "target", "peak MB", "target" };
    stages.id = "stages";
    stages.title = "Stages of the analysis, wall time";
    stages.columns = { "tracks", "method", "threads" };
    stages.columns.insert (stages.columns.end(), stageNames.begin(), stageNames.end());

    const auto hasRefined =
        std::find (options.methods.begin(), options.methods.end(), refinedMethod) != options.methods.end();

    for (const auto seconds : options.seconds)
    {
        announce ("analysis: " + std::to_string (options.numTracks) + " tracks x " + std::to_string (seconds)
                  + " s");
        const auto needed = diskBytes (options.numTracks, seconds, hasRefined);
        const auto available = std::filesystem::space (options.temporaryFolder).available;

        if (available < needed)
            throw std::runtime_error (options.temporaryFolder + ": " + std::to_string (needed)
                                      + " bytes are needed, " + std::to_string (available) + " are free");

        const TemporaryFolder folder (options.temporaryFolder);
        std::filesystem::create_directory (folder.path + "/Resources");

        if (const auto problem = writeAllDataFiles (folder.path + "/Resources"); ! problem.empty())
            throw std::runtime_error (problem);

        writeSyntheticDrums (folder.path, options.numTracks, seconds);
        std::vector<Variant> variants;

        for (const auto& method : options.methods)
            for (const auto threads : options.threads)
                variants.emplace_back (method, threads);

        std::map<Variant, Runs> runs;
        auto policy = options.rounds;
        policy.numRounds = options.analysisRounds;

        const auto analyseAll = [&]() -> std::function<void()>
        {
            std::map<Variant, nlohmann::json> found;

            for (const auto& variant : variants)
                found[variant] =
                    analyseInChild (folder.path, options.numTracks, variant.second, variant.first);

            return [&runs, found]
            {
                for (const auto& [variant, figures] : found)
                {
                    auto& run = runs[variant];
                    run.wall.add (figures["wall"]);
                    run.cpu.add (figures["cpu"]);
                    run.memory.add (figures["memory"]);
                    run.checksum = figures["checksum"];

                    for (std::size_t i = 0; i < stageNames.size(); ++i)
                        run.stages[i].add (figures["stages"][i]);
                }
            };
        };

        const auto numDisturbed = runRounds (policy, analyseAll);

        for (const auto& variant : variants)
            reportVariant (options, seconds, variant, runs, numDisturbed, findings, times, stages);

        if (numDisturbed > 0)
            times.notes.push_back (std::to_string (seconds) + " s: " + std::to_string (numDisturbed) + " of "
                                   + std::to_string (options.analysisRounds)
                                   + " rounds were disturbed by other programs.");
    }

    times.notes.push_back (
        "Peak memory is that of the whole process; the tracks are read from files on demand and are "
        "not in it.");
    findings.tables = { times, stages };
    return findings;
}

} // namespace tessivar::benchmarks
