#include "benchmarks/Benchmarks.h"
#include "benchmarks/ChildProcess.h"
#include "benchmarks/MachineBenchmark.h"
#include "engine/numerics/simd/SimdTarget.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace tessivar::benchmarks
{

namespace
{
struct Request
{
    BenchmarkOptions options;
    std::vector<std::string> only;
    std::string jsonFile, document, analysisFolder;
    bool markdown = false, isLong = false;
};

struct Benchmark
{
    const char* name;
    Findings (*run) (const BenchmarkOptions&);
};

constexpr std::array<Benchmark, 6> allBenchmarks{ { { "machine", benchmarkMachine },
                                                    { "decomposition", benchmarkDecomposition },
                                                    { "rendering", benchmarkRendering },
                                                    { "analysis", benchmarkAnalysis },
                                                    { "process", benchmarkProcess },
                                                    { "long", benchmarkLongRun } } };

/** Names of SIMD targets that this machine runs; "all" stands for all of them. */
std::vector<std::string> chosenTargets (const std::vector<std::string>& wanted)
{
    auto available = availableSimdTargets();

    if (std::find (wanted.begin(), wanted.end(), "all") != wanted.end())
        return available;

    for (const auto& name : wanted)
        if (std::find (available.begin(), available.end(), name) == available.end())
        {
            std::string text = "this machine does not run " + name + ", but";

            for (const auto& other : available)
                text += " " + other;

            throw std::runtime_error (text);
        }

    return wanted;
}

/** Version and revision of the programs in a folder; empty where there is no command line to ask. */
std::string versionOf (const std::string& folder)
{
    const auto program = folder + "/tessivar-cli";

    if (folder.empty() || ! std::filesystem::exists (program))
        return {};

    const auto text = runChild (program, { "--version" }, {}).output;
    return text.substr (0, text.find ('\n'));
}

/** The heading of the JSON; docs/performance.md lists its keys. */
nlohmann::ordered_json describe (const BenchmarkOptions& options)
{
    return { { "schema", 1 },
             { "machine", describeMachine() },
             { "build", versionOf (options.programFolder) },
             { "against", versionOf (options.against) },
             { "options",
               { { "tracks", options.numTracks },
                 { "seconds", options.seconds },
                 { "threads", options.threads },
                 { "targets", options.simdTargets },
                 { "methods", options.methods },
                 { "rounds", options.rounds.numRounds },
                 { "analysisRounds", options.analysisRounds },
                 { "patience", options.rounds.patienceSeconds } } },
             { "figures", nlohmann::ordered_json::array() },
             { "failures", nlohmann::ordered_json::array() } };
}

int run (const Request& request)
{
    std::vector<Table> tables;
    std::vector<std::string> failures;
    auto document = describe (request.options);

    const auto isWanted = [&] (const std::string& name)
    {
        const auto isNamed = std::find (request.only.begin(), request.only.end(), name) != request.only.end();
        return isNamed || (request.only.empty() && name != "long") || (request.isLong && name == "long");
    };

    for (const auto& benchmark : allBenchmarks)
    {
        if (! isWanted (benchmark.name))
            continue;

        Findings findings;

        try
        {
            findings = benchmark.run (request.options);
        }
        catch (const std::exception& error)
        {
            findings.failures.emplace_back (error.what());
        }

        findings.figures.appendTo (document["figures"], benchmark.name);
        failures.insert (failures.end(), findings.failures.begin(), findings.failures.end());

        for (const auto& table : findings.tables)
        {
            tables.push_back (table);
            std::cout << (request.markdown ? table.asMarkdown() : table.asText()) << std::endl;
        }
    }

    document["failures"] = failures;

    if (! request.jsonFile.empty())
    {
        std::ofstream file (request.jsonFile);
        file << document.dump (2) << "\n";
        file.close();

        if (! file)
            failures.push_back (request.jsonFile + ": cannot be written");
    }

    if (! request.document.empty())
        if (const auto problem = updateDocument (request.document, tables); ! problem.empty())
            failures.push_back (problem);

    for (const auto& failure : failures)
        announce ("error: " + failure);

    return failures.empty() ? 0 : 1;
}
} // namespace

int runProgram (int numArguments, char** arguments)
{
    Request request;
    auto& options = request.options;
    std::vector<std::string> targets{ "all" };
    std::vector<std::string> names (allBenchmarks.size());
    std::transform (allBenchmarks.begin(),
                    allBenchmarks.end(),
                    names.begin(),
                    [] (const Benchmark& benchmark) { return benchmark.name; });

    CLI::App app ("Measures Tessivar beside its anchors and another version, in rounds that take turns, and "
                  "prints medians.");
    app.add_option ("--only",
                    request.only,
                    "Benchmarks to run: machine, decomposition, rendering, analysis, process, long")
        ->delimiter (',')
        ->check (CLI::IsMember (names));
    app.add_option ("--tracks", options.numTracks, "Number of tracks")->check (CLI::Range (1, 64));
    app.add_option ("--seconds", options.seconds, "Lengths of the performance")
        ->delimiter (',')
        ->check (CLI::Range (1, 3600));
    app.add_option ("--threads", options.threads, "Numbers of threads")
        ->delimiter (',')
        ->check (CLI::Range (1, 256));
    app.add_option ("--targets", targets, "SIMD targets: all, or names such as AVX2")->delimiter (',');
    app.add_option ("--methods", options.methods, "Methods of whole analyses and runs")
        ->delimiter (',')
        ->check (CLI::IsMember ({ "standard", "refined" }));
    app.add_option ("--rounds", options.rounds.numRounds, "Rounds of decomposition, rendering and machine")
        ->check (CLI::Range (1, 1000));
    app.add_option ("--analysis-rounds", options.analysisRounds, "Rounds of whole analyses and runs")
        ->check (CLI::Range (1, 1000));
    app.add_option ("--patience",
                    options.rounds.patienceSeconds,
                    "Seconds to wait, for each comparison, for rounds that other programs leave alone")
        ->check (CLI::Range (0.0, 3600.0));
    app.add_option ("--folder", options.temporaryFolder, "Where analyses and runs put their files")
        ->check (CLI::ExistingDirectory);
    app.add_option ("--against",
                    options.against,
                    "The folder of another version's programs, measured in turns with these")
        ->check (CLI::ExistingDirectory);
    app.add_flag ("--long", request.isLong, "Also a whole run of 24 tracks of 20 minutes at 48 kHz");
    app.add_option ("--json", request.jsonFile, "File for the figures of every round");
    app.add_flag ("--markdown", request.markdown, "Print the tables as Markdown");
    app.add_option ("--document", request.document, "Markdown file whose marked tables are replaced")
        ->check (CLI::ExistingFile);
    // For the program's own child processes.
    app.add_option ("--analyse-folder", request.analysisFolder)->group ("");

    try
    {
        app.parse (numArguments, arguments);
    }
    catch (const CLI::ParseError& error)
    {
        return app.exit (error) == 0 ? 0 : 2;
    }

    std::sort (options.seconds.begin(), options.seconds.end());
    options.simdTargets = chosenTargets (targets);

    if (! request.analysisFolder.empty())
    {
        useSimdTarget (options.simdTargets.front());
        return analyseInThisProcess (
            request.analysisFolder, options.numTracks, options.threads.front(), options.methods.front());
    }

    // Files are named by links from other folders.
    options.temporaryFolder = std::filesystem::absolute (
        options.temporaryFolder.empty() ? std::filesystem::temp_directory_path()
                                        : std::filesystem::path (options.temporaryFolder));

    if (! options.against.empty())
        options.against = std::filesystem::absolute (options.against);

    options.programFolder = std::filesystem::read_symlink ("/proc/self/exe").parent_path();
    return run (request);
}

} // namespace tessivar::benchmarks

int main (int numArguments, char** arguments)
{
    try
    {
        return tessivar::benchmarks::runProgram (numArguments, arguments);
    }
    catch (const std::exception& error)
    {
        std::fprintf (stderr, "error: %s\n", error.what());
    }
    catch (...)
    {
        std::fputs ("error: unknown\n", stderr);
    }

    return 1;
}
