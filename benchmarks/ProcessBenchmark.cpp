#include "benchmarks/Benchmarks.h"
#include "benchmarks/ChildProcess.h"
#include "benchmarks/FileStorage.h"
#include "benchmarks/SyntheticDrums.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <stdexcept>

namespace tessivar::benchmarks
{

namespace
{
namespace fs = std::filesystem;

constexpr auto none = std::numeric_limits<double>::quiet_NaN();

/** The bytes of the samples of a WAV file. */
std::string sampleBytes (const fs::path& path)
{
    std::ifstream file (path, std::ios::binary);
    const std::string bytes ((std::istreambuf_iterator<char> (file)), {});
    const auto sizeAt = [&] (std::size_t position)
    {
        std::size_t size = 0;

        for (std::size_t i = 0; i < 4; ++i)
            size |= static_cast<std::size_t> (static_cast<unsigned char> (bytes[position + i])) << (8 * i);

        return size;
    };

    for (std::size_t position = 12; position + 8 <= bytes.size();)
    {
        const auto size = sizeAt (position + 4);

        if (bytes.compare (position, 4, "data") == 0)
            return bytes.substr (position + 8, size);

        position += 8 + size + size % 2;
    }

    throw std::runtime_error (path.string() + ": holds no samples");
}

/** Largest difference of the 24-bit samples of two files, at full scale 1. */
double largestDifference (const fs::path& pathA, const fs::path& pathB)
{
    const auto a = sampleBytes (pathA), b = sampleBytes (pathB);

    if (a.size() != b.size())
        throw std::runtime_error (pathA.string() + " and " + pathB.string() + " differ in length");

    const auto sample = [] (const std::string& bytes, std::size_t i)
    {
        const auto byte = [&] (std::size_t j) { return static_cast<unsigned char> (bytes[i + j]); };
        return byte (0) + 256 * byte (1) + 65536 * static_cast<signed char> (byte (2));
    };
    int largest = 0;

    for (std::size_t i = 0; i + 2 < a.size(); i += 3)
        largest = std::max (largest, std::abs (sample (a, i) - sample (b, i)));

    return largest / 8388608.0;
}

/** What takes turns. */
struct Variant
{
    std::string method;
    int threads;
    bool isSaved;
    bool isAgainst;
    bool onDisk = false; // the refined method's spectra, whatever memory is free
};

const std::string refinedMethod = "refined";

const char* spectraOf (const Variant& variant)
{
    return variant.onDisk ? "disk" : "default";
}

struct Goals
{
    double cpuShare = none, cpuShareBeyond = none, temporary = none, temporaryBeyond = none, memory = none;
};

/** What we aim at, with eight tracks of 300 s or the long run; docs/performance.md says why. */
Goals goalsFor (const Variant& variant, int numTracks, int seconds)
{
    const auto isRefined = variant.method == refinedMethod;
    const auto isLong = numTracks == 24 && seconds == 1200;
    Goals goals;

    if (variant.isAgainst || ! (isLong || (numTracks == 8 && seconds == 300)))
        return goals;

    if (! isRefined || variant.onDisk)
        goals.memory = isLong ? 1800 : 300;

    goals.temporary = variant.isSaved ? (isRefined ? 40 : 26) : (isRefined ? 20 : 8);
    goals.temporaryBeyond = variant.isSaved ? (isRefined ? 28 : 24) : (isRefined ? 8 : 4);

    if (! isLong && ! variant.isSaved && variant.threads == 2)
    {
        goals.cpuShare = isRefined ? 0.45 : 0.55;
        goals.cpuShareBeyond = isRefined ? 0.33 : 0.4;
    }

    return goals;
}

struct Tables
{
    explicit Tables (const std::string& suffix)
        : runs{ "process" + suffix,
                "Whole runs of the command line",
                { "tracks",
                  "method",
                  "version",
                  "threads",
                  "saved",
                  "spectra",
                  "wall s",
                  "user s",
                  "system s",
                  "x 1 thread",
                  "x before",
                  "CPU / before",
                  "target",
                  "beyond" },
                {},
                {} },
          space{ "space" + suffix,
                 "Bytes a sample of the tracks, and memory",
                 { "tracks",
                   "method",
                   "version",
                   "threads",
                   "saved",
                   "spectra",
                   "temporary",
                   "target",
                   "beyond",
                   "read",
                   "written",
                   "peak MB",
                   "target" },
                 {},
                 {} },
          exports{ "export",
                   "Exports of a saved group",
                   { "tracks",
                     "method",
                     "version",
                     "wall s",
                     "wall ns a sample",
                     "CPU ns a sample",
                     "bound ns",
                     "x bound",
                     "x before",
                     "read",
                     "written" },
                   {},
                   {} }
    {
    }

    Table runs, space, exports;
};

/** Whole runs on the same tracks. */
class Session
{
public:
    Session (const BenchmarkOptions& o, int t, int s, int r, std::vector<Variant> v)
        : options (o), numTracks (t), seconds (s), sampleRate (r), variants (std::move (v)),
          folder (o.temporaryFolder)
    {
        announce ("process: " + label());
        fs::create_directory (folder.path + "/tracks");
        writeSyntheticDrums (
            folder.path + "/tracks", numTracks, seconds, sampleRate, SyntheticFormat::wave24);
    }

    void run (RoundPolicy policy, Findings& findings, Tables& tables)
    {
        findings.measure (tables.runs,
                          { { "tracks", numTracks }, { "seconds", seconds } },
                          policy,
                          [&] (Figures& found)
                          {
                              for (const auto& variant : variants)
                                  process (variant, found, findings);
                          });

        for (const auto& variant : variants)
            report (variant, findings.figures, tables);

        for (const auto& [method, difference] : differences)
        {
            findings.figures.add ({ { "tracks", numTracks }, { "seconds", seconds }, { "method", method } },
                                  "differenceFromAgainst",
                                  "full scale",
                                  difference);
            tables.runs.notes.push_back (
                label() + ", " + method + ": the files of the two versions "
                + (difference > 0.0
                       ? "differ by at most " + number (20.0 * std::log10 (difference), 0) + " dBFS."
                       : "are equal."));
        }
    }

private:
    [[nodiscard]] std::string label() const { return sessionLabel (numTracks, seconds, sampleRate); }

    [[nodiscard]] double numSamples() const
    {
        return static_cast<double> (numTracks) * static_cast<double> (seconds) * sampleRate;
    }

    [[nodiscard]] Case subject (const Variant& variant, const std::string& command) const
    {
        return { { "command", command },
                 { "tracks", numTracks },
                 { "seconds", seconds },
                 { "sampleRate", sampleRate },
                 { "method", variant.method },
                 { "threads", variant.threads },
                 { "save", variant.isSaved },
                 { "spectra", spectraOf (variant) },
                 { "version", variant.isAgainst ? "against" : "this" } };
    }

    /** Runs the command line with an empty folder for its temporary data. */
    void runCommand (const Variant& variant, std::vector<std::string> words, Figures& found) const
    {
        const TemporaryFolder temporary (folder.path);
        const auto command = words.front();

        if (command == "process")
            words.insert (words.end(), { "--temp", temporary.path });

        const auto programs = variant.isAgainst ? options.against : options.programFolder;
        const auto run = runChild (programs + "/tessivar-cli", words, temporary.path);
        const auto own = subject (variant, command);
        found.add (own, "wall", "s", run.duration.wall);
        found.add (own, "cpu", "s", run.duration.cpu());
        found.add (own, "user", "s", run.duration.user);
        found.add (own, "system", "s", run.duration.system);
        found.add (own, "peakMemory", "B", run.peakMemory);
        found.add (own, "temporary", "B/sample", run.peakDisk / numSamples());
        found.add (own, "read", "B/sample", run.bytesRead / numSamples());
        found.add (own, "written", "B/sample", run.bytesWritten / numSamples());
        found.add (own, "dirtied", "B/sample", run.bytesDirtied / numSamples());
    }

    void process (const Variant& variant, Figures& found, Findings& findings)
    {
        const TemporaryFolder own (folder.path);
        const auto group = own.path + "/session.dls", files = own.path + "/files",
                   again = own.path + "/again";
        std::vector<std::string> words{ "process",
                                        folder.path + "/tracks",
                                        "--out",
                                        files,
                                        "--quiet",
                                        "--method",
                                        variant.method,
                                        "--threads",
                                        std::to_string (variant.threads) };

        for (int i = 0; i < numTracks; ++i)
            words.insert (
                words.end(),
                { "--type", "track" + std::to_string (i) + "=" + drumTypeKey (syntheticDrumType (i)) });

        if (variant.isSaved)
            words.insert (words.end(), { "--save", group });

        if (variant.onDisk)
            words.insert (words.end(), { "--spectra", "disk" });

        runCommand (variant, words, found);
        compare (variant, files, findings);

        if (! variant.isSaved)
            return;

        runCommand (variant, { "export", group, "--out", again, "--quiet" }, found);
        compare (variant, again, findings);
        found.add (subject (variant, "export"), "bound", "s", secondsToCopy (group, own.path + "/copy"));
    }

    /** The files must be equal, however they were made. Those of two versions may differ; it is told by how
        much. */
    void compare (const Variant& variant, const fs::path& files, Findings& findings)
    {
        std::map<std::string, std::size_t> hashes;

        for (const auto& file : fs::directory_iterator (files))
            hashes[file.path().filename()] = std::hash<std::string>() (sampleBytes (file));

        auto& first = firstHashes[{ variant.method, variant.isAgainst }];
        const auto kept = fs::path (folder.path) / ("kept-" + variant.method);

        if (first.empty())
        {
            first = hashes;

            // What stays is the first version's.
            if (! fs::exists (kept) && ! options.against.empty())
                fs::rename (files, kept);
            else if (fs::exists (kept))
            {
                for (const auto& [name, hash] : hashes)
                    differences[variant.method] =
                        std::max (differences[variant.method], largestDifference (kept / name, files / name));

                fs::remove_all (kept);
            }
        }

        if (hashes != first || hashes.size() != static_cast<std::size_t> (numTracks))
            findings.failures.push_back ("process, " + subject (variant, "process").dump()
                                         + ": the files are not those of other runs");
    }

    /** Wall seconds to read what a group file holds a sample and to write three bytes of it. */
    [[nodiscard]] double secondsToCopy (const std::string& group, const std::string& copy) const
    {
        constexpr std::int64_t blockSize = 7 * 32768; // floats
        std::vector<float> block (blockSize);
        return measure (
                   [&]
                   {
                       const FloatFile from (group);
                       const FloatFile to (copy, from.size());
                       const auto total =
                           std::min (from.size(), static_cast<std::int64_t> (7 * numSamples()));

                       for (std::int64_t position = 0; position + blockSize <= total; position += blockSize)
                       {
                           const auto share = static_cast<std::size_t> (blockSize * 3 / 28);

                           if (! from.read (position, block)
                               || ! to.write (position * 3 / 28, std::span (block).first (share)))
                               throw std::runtime_error (copy + ": cannot be written");
                       }
                   })
            .wall;
    }

    void report (const Variant& variant, Figures& figures, Tables& tables) const
    {
        const auto own = subject (variant, "process");
        const auto goals = goalsFor (variant, numTracks, seconds);
        auto oneThread = variant, against = variant;
        oneThread.threads = 1;
        against.isAgainst = true;
        against.onDisk = false;
        const auto median = [&] (const Case& subject, const char* name, int decimals)
        { return number (figures.of (subject, name).median(), decimals); };
        const std::vector<std::string> session{ label(),
                                                variant.method,
                                                variant.isAgainst ? "before" : "this" };
        auto run = session;
        run.insert (
            run.end(),
            { std::to_string (variant.threads), variant.isSaved ? "yes" : "no", spectraOf (variant) });
        const auto wall = figures.of (own, "wall");
        const auto overThreads = variant.threads > 1
                                     ? ratios (figures.of (subject (oneThread, "process"), "wall"), wall)
                                     : Series();
        figures.add (own, "timesOneThread", "ratio", overThreads);

        const auto compareWith = [&] (const std::string& command)
        {
            const auto mine = subject (variant, command), theirs = subject (against, command);

            if (! variant.isAgainst)
            {
                figures.add (mine,
                             "timesAgainst",
                             "ratio",
                             ratios (figures.of (theirs, "wall"), figures.of (mine, "wall")));
                figures.add (mine,
                             "cpuShareOfAgainst",
                             "ratio",
                             ratios (figures.of (mine, "cpu"), figures.of (theirs, "cpu")));
            }
        };
        compareWith ("process");
        tables.runs.addRow (run,
                            { median (own, "wall", 2),
                              median (own, "user", 2),
                              median (own, "system", 2),
                              median (own, "timesOneThread", 2),
                              median (own, "timesAgainst", 2),
                              median (own, "cpuShareOfAgainst", 2),
                              number (goals.cpuShare, 2),
                              number (goals.cpuShareBeyond, 2) });
        tables.space.addRow (run,
                             { number (figures.of (own, "temporary").maximum(), 1),
                               number (goals.temporary),
                               number (goals.temporaryBeyond),
                               median (own, "read", 1),
                               median (own, "written", 1),
                               number (figures.of (own, "peakMemory").maximum() * 1.0e-6),
                               number (goals.memory) });

        if (! variant.isSaved)
            return;

        compareWith ("export");
        const auto exported = subject (variant, "export");
        const auto perSample = [&] (const char* name)
        { return number (figures.of (exported, name).median() / numSamples() * 1.0e9, 2); };
        const auto overBound = ratios (figures.of (exported, "wall"), figures.of (exported, "bound"));
        figures.add (exported, "timesBound", "ratio", overBound);
        tables.exports.addRow (session,
                               { median (exported, "wall", 2),
                                 perSample ("wall"),
                                 perSample ("cpu"),
                                 perSample ("bound"),
                                 number (overBound.median(), 2),
                                 median (exported, "timesAgainst", 2),
                                 median (exported, "read", 1),
                                 median (exported, "written", 1) });
    }

    const BenchmarkOptions& options;
    const int numTracks, seconds, sampleRate;
    const std::vector<Variant> variants;
    const TemporaryFolder folder;
    std::map<std::pair<std::string, bool>, std::map<std::string, std::size_t>>
        firstHashes; // by method and version
    std::map<std::string, double> differences;
};
} // namespace

Findings benchmarkProcess (const BenchmarkOptions& options)
{
    std::vector<Variant> variants;

    for (const auto& method : options.methods)
    {
        for (const auto isSaved : { false, true })
            for (const auto threads : options.threads)
                if (! isSaved || threads == options.threads.back())
                {
                    if (! options.against.empty())
                        variants.push_back ({ method, threads, isSaved, true });

                    variants.push_back ({ method, threads, isSaved, false });
                }

        if (method == refinedMethod)
            variants.push_back ({ method, options.threads.back(), false, false, true });
    }

    Findings findings;
    Tables tables ({});
    Session (options, options.numTracks, options.seconds.back(), 44100, variants)
        .run (options.analysisPolicy(), findings, tables);
    findings.tables = { tables.runs, tables.space, tables.exports };
    return findings;
}

Findings benchmarkLongRun (const BenchmarkOptions& options)
{
    Findings findings;
    Tables tables ("-long");
    auto policy = options.analysisPolicy();
    policy.numRounds = 1;
    const auto& method = options.methods.back();
    Session (options,
             24,
             1200,
             48000,
             { { method, options.threads.back(), false, false, method == refinedMethod } })
        .run (policy, findings, tables);
    findings.tables = { tables.runs, tables.space };
    return findings;
}

} // namespace tessivar::benchmarks
