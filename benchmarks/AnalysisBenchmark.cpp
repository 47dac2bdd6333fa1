#include "benchmarks/Benchmarks.h"
#include "benchmarks/ChildProcess.h"
#include "benchmarks/FileStorage.h"
#include "benchmarks/SyntheticDrums.h"
#include "engine/AnalysisPipeline.h"
#include "engine/DataFileGenerator.h"
#include "engine/numerics/simd/SimdTarget.h"
#include "terms/AnalysisMethod.h"
#include "terms/WorkControl.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iostream>
#include <map>
#include <span>
#include <stdexcept>

namespace tessivar::benchmarks
{

namespace
{
const std::string refinedMethod = "refined";

/** A stage and where it ends in the progress, 0..1, of the standard analysis or of the refinement. */
struct Stage
{
    const char* name;
    double end;
};

constexpr std::array<Stage, 4> standardStages{
    { { "loading", 0.05 }, { "front end", 0.1 }, { "decomposition", 0.6 }, { "rendering", 1.0 } }
};
constexpr std::array<Stage, 5> refinementPasses{
    { { "powers", 0.25 }, { "model", 0.5 }, { "masks", 0.65 }, { "subtraction", 0.75 }, { "layers", 1.0 } }
};

/** Takes the time of each stage from the progress of an analysis. */
class StageClock
{
public:
    explicit StageClock (bool isRefined) : share (isRefined ? standardShare : 1.0) {}

    void progress (double value)
    {
        const auto now = currentTime();
        times[stageThatEnds (value)] += now - last;
        last = now;
    }

    [[nodiscard]] const std::map<std::string, Duration>& all() const { return times; }

private:
    [[nodiscard]] const char* stageThatEnds (double value) const
    {
        const auto isRefining = value > share + rounding;
        const std::span<const Stage> stages =
            isRefining ? std::span<const Stage> (refinementPasses) : std::span<const Stage> (standardStages);
        const auto done = isRefining ? (value - share) / (1.0 - share) : value / share;
        return std::find_if (stages.begin(),
                             stages.end() - 1,
                             [&] (const Stage& stage) { return done <= stage.end + rounding; })
            ->name;
    }

    static constexpr double rounding = 1.0e-9;
    const double share; // of the standard analysis
    Duration last = currentTime();
    std::map<std::string, Duration> times;
};

/** What takes turns. */
struct Variant
{
    std::string method;
    int threads;
    std::string kernels;
    bool isAgainst;
};

/** The analyses of one session. */
class Session
{
public:
    Session (const BenchmarkOptions& o, int s) : options (o), seconds (s), folder (o.temporaryFolder)
    {
        std::filesystem::create_directory (folder.path + "/Resources");

        if (const auto problem = writeAllDataFiles (folder.path + "/Resources"); ! problem.empty())
            throw std::runtime_error (problem);

        writeSyntheticDrums (folder.path, options.numTracks, seconds, 44100, SyntheticFormat::rawFloat);
        const auto& best = options.simdTargets.front();

        for (const auto& method : options.methods)
        {
            for (const auto threads : options.threads)
            {
                variants.push_back ({ method, threads, best, false });

                // Another version always takes the best one.
                if (! options.against.empty() && best == availableSimdTargets().front())
                    variants.push_back ({ method, threads, best, true });
            }

            // The other instruction sets, which take long, only once.
            if (seconds == options.seconds.front())
                for (std::size_t i = 1; i < options.simdTargets.size(); ++i)
                    variants.push_back ({ method, options.threads.back(), options.simdTargets[i], false });
        }
    }

    void run (Findings& findings, Table& times, Table& pairs, Table& stages, Table& passes)
    {
        findings.measure (times,
                          { { "tracks", options.numTracks }, { "seconds", seconds } },
                          options.analysisPolicy(),
                          [&] (Figures& found)
                          {
                              for (const auto& variant : variants)
                                  analyse (variant, found, findings);
                          });

        for (const auto& variant : variants)
            report (variant, findings, times, pairs, stages, passes);
    }

private:
    [[nodiscard]] Case subject (const Variant& variant) const
    {
        return { { "tracks", options.numTracks }, { "seconds", seconds },
                 { "method", variant.method },    { "threads", variant.threads },
                 { "kernels", variant.kernels },  { "version", variant.isAgainst ? "against" : "this" } };
    }

    [[nodiscard]] Case subject (const Variant& variant, const std::string& stage) const
    {
        auto result = subject (variant);
        result["stage"] = stage;
        return result;
    }

    /** An analysis in a process and with files of its own. */
    void analyse (const Variant& variant, Figures& found, Findings& findings)
    {
        const TemporaryFolder own (folder.path);
        const auto& programs = variant.isAgainst ? options.against : options.programFolder;
        const auto resources = programs + "/Resources";
        namespace fs = std::filesystem;

        for (int i = 0; i < options.numTracks; ++i)
            fs::create_symlink (syntheticTrackFile (folder.path, i), syntheticTrackFile (own.path, i));

        // Another version may know other data files.
        fs::create_symlink (fs::exists (resources + "/resources01") ? fs::absolute (resources)
                                                                    : fs::path (folder.path + "/Resources"),
                            own.path + "/Resources");
        std::vector<std::string> words{ "--analyse-folder", own.path,
                                        "--tracks",         std::to_string (options.numTracks),
                                        "--threads",        std::to_string (variant.threads),
                                        "--methods",        variant.method };

        if (! variant.isAgainst)
            words.insert (words.end(), { "--targets", variant.kernels });

        const auto run = runChild (programs + "/tessivar_benchmarks", words, own.path);
        const auto printed = nlohmann::json::parse (run.output);
        const auto add = [&] (const Case& subject, const nlohmann::json& from)
        {
            for (const auto* name : { "wall", "cpu", "user", "system" })
                if (from.contains (name))
                    found.add (subject, name, "s", from[name].get<double>());
        };

        add (subject (variant), printed);
        found.add (subject (variant), "peakMemory", "B", run.peakMemory);

        if (printed["stages"].is_object()) // else of a version that does not tell stages by name
            for (const auto& [stage, time] : printed["stages"].items())
                add (subject (variant, stage), time);

        const std::string checksum = printed["checksum"];
        auto& first = checksums[{ variant.method, variant.isAgainst }];

        if (first.empty())
            first = checksum;

        if (checksum != first)
            findings.failures.push_back ("analysis, " + subject (variant).dump()
                                         + ": the result depends on threads or instruction set");
    }

    void report (const Variant& variant,
                 Findings& findings,
                 Table& times,
                 Table& pairs,
                 Table& stages,
                 Table& passes) const
    {
        auto& figures = findings.figures;
        const auto own = subject (variant);
        const auto wall = figures.of (own, "wall"), cpu = figures.of (own, "cpu");
        const auto realTime = wall.mapped ([&] (double time) { return seconds / time; });
        const auto isGoal = options.numTracks == 8 && seconds == 300 && variant.threads == 2;
        const auto isRefined = variant.method == refinedMethod;
        const std::vector<std::string> label{ sessionLabel (options.numTracks, seconds),
                                              variant.method,
                                              std::to_string (variant.threads) };
        figures.add (own, "timesRealTime", "ratio", realTime);
        times.addRow (label,
                      { variant.kernels,
                        variant.isAgainst ? "before" : "this",
                        number (wall.median(), 2),
                        number (wall.minimum(), 2),
                        number (cpu.median(), 2),
                        number (figures.of (own, "system").median(), 2),
                        number (realTime.median(), 1),
                        isGoal && ! isRefined && ! variant.isAgainst ? "50" : "-",
                        number (figures.of (own, "peakMemory").median() * 1.0e-6),
                        isGoal && ! isRefined && ! variant.isAgainst ? "200" : "-" });

        if (variant.isAgainst || variant.kernels != options.simdTargets.front())
            return;

        auto oneThread = variant, against = variant;
        oneThread.threads = 1;
        against.isAgainst = true;
        const auto overThreads =
            variant.threads > 1 ? ratios (figures.of (subject (oneThread), "wall"), wall) : Series();
        const auto overBefore = ratios (figures.of (subject (against), "wall"), wall);
        const auto cpuShare = ratios (cpu, figures.of (subject (against), "cpu"));
        figures.add (own, "timesOneThread", "ratio", overThreads);
        figures.add (own, "timesAgainst", "ratio", overBefore);
        figures.add (own, "cpuShareOfAgainst", "ratio", cpuShare);
        pairs.addRow (label,
                      { number (overThreads.median(), 2),
                        isGoal ? "1.8" : "-",
                        isGoal ? "1.9" : "-",
                        number (overBefore.median(), 2),
                        isGoal ? (isRefined ? "2.2" : "1.8") : "-",
                        isGoal ? (isRefined ? "3" : "2.5") : "-",
                        number (cpuShare.median(), 2) });

        const auto cell = [&] (const std::string& stage)
        {
            const auto time = subject (variant, stage);
            return number (figures.of (time, "wall").median(), 2) + " ("
                   + number (figures.of (time, "user").median(), 2) + " + "
                   + number (figures.of (time, "system").median(), 2) + ")";
        };

        stages.addRow (label, { cell ("front end"), cell ("decomposition"), cell ("rendering") });

        if (! isRefined)
            return;

        std::vector<std::string> cells (refinementPasses.size());
        std::transform (refinementPasses.begin(),
                        refinementPasses.end(),
                        cells.begin(),
                        [&] (const Stage& pass) { return cell (pass.name); });

        passes.addRow (label, cells);
    }

    const BenchmarkOptions& options;
    const int seconds;
    const TemporaryFolder folder;
    std::vector<Variant> variants;
    std::map<std::pair<std::string, bool>, std::string> checksums; // by method and version
};
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
    StageClock stages (method == refinedMethod);
    WorkControl control;
    control.setProgress = [&] (double value) { stages.progress (value); };
    auto status = AnalysisStatus::completed;

    const auto duration =
        measure ([&] { status = analyseTracks (tracks, options, storage, control).status; });

    if (status != AnalysisStatus::completed)
    {
        std::cerr << "the analysis ended with status " << static_cast<int> (status) << std::endl;
        return 1;
    }

    const auto described = [] (const Duration& time)
    {
        return nlohmann::json{
            { "wall", time.wall }, { "cpu", time.cpu() }, { "user", time.user }, { "system", time.system }
        };
    };

    auto figures = described (duration);
    figures["checksum"] = std::to_string (storage.checksum());

    for (const auto& [stage, time] : stages.all())
        figures["stages"][stage] = described (time);

    std::cout << figures.dump() << std::endl;
    return 0;
}

Findings benchmarkAnalysis (const BenchmarkOptions& options)
{
    Findings findings;
    Table times, pairs, stages, passes;
    const std::vector<std::string> label{ "tracks", "method", "threads" };
    const auto begin = [&] (Table& table, const char* id, const char* title, std::vector<std::string> columns)
    {
        table.id = id;
        table.title = title;
        table.columns = label;
        table.columns.insert (table.columns.end(), columns.begin(), columns.end());
    };

    begin (times,
           "analysis",
           "Whole analysis",
           { "kernels",
             "version",
             "wall s",
             "best s",
             "CPU s",
             "system s",
             "x real time",
             "target",
             "peak MB",
             "target" });
    begin (pairs,
           "pairs",
           "Whole analysis against one thread and the version before",
           { "x 1 thread", "target", "beyond", "x before", "target", "beyond", "CPU / before" });
    begin (stages,
           "stages",
           "Stages of the analysis: wall s (user + system)",
           { "front end", "decomposition", "rendering" });
    begin (passes, "passes", "Passes of the refinement: wall s (user + system)", {});

    for (const auto& pass : refinementPasses)
        passes.columns.emplace_back (pass.name);

    for (const auto seconds : options.seconds)
    {
        announce ("analysis: " + sessionLabel (options.numTracks, seconds));
        Session (options, seconds).run (findings, times, pairs, stages, passes);
    }

    times.notes.push_back (
        "Peak memory is that of the whole process; the tracks are read from files on demand and are "
        "not in it.");
    findings.tables = { times, pairs, stages, passes };
    return findings;
}

} // namespace tessivar::benchmarks
