#include "benchmarks/MachineBenchmark.h"

#include "benchmarks/Benchmarks.h"
#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/WorkerPool.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <limits>
#include <thread>

#ifdef __x86_64__
    #include <immintrin.h>
#endif

namespace tessivar::benchmarks
{

namespace
{
constexpr double notMeasured = std::numeric_limits<double>::quiet_NaN();

// Takes results, so that no computation can be optimised away.
std::atomic<float> drain;

#ifdef __x86_64__
// Twelve independent chains hide the latency of a multiply-add; 16 registers hold them and both constants.
constexpr int numChains = 12;
constexpr long chainLength = 4000000;
constexpr int numDivisors = 8;
constexpr long divisionLength = 1000000;

__attribute__ ((noinline, target ("avx2,fma"))) void multiplyAdd256()
{
    __m256 chains[numChains];
    const auto factor = _mm256_set1_ps (0.999999f), term = _mm256_set1_ps (1.0e-7f);

    for (int i = 0; i < numChains; ++i)
        chains[i] = _mm256_set1_ps (1.0f + static_cast<float> (i));

    for (long n = 0; n < chainLength; ++n)
    #pragma GCC unroll 12
        for (auto& chain : chains)
            chain = _mm256_fmadd_ps (chain, factor, term);

    for (int i = 1; i < numChains; ++i)
        chains[0] = _mm256_add_ps (chains[0], chains[i]);

    drain = _mm256_cvtss_f32 (chains[0]);
}

__attribute__ ((noinline, target ("avx512f"))) void multiplyAdd512()
{
    __m512 chains[numChains];
    const auto factor = _mm512_set1_ps (0.999999f), term = _mm512_set1_ps (1.0e-7f);

    for (int i = 0; i < numChains; ++i)
        chains[i] = _mm512_set1_ps (1.0f + static_cast<float> (i));

    for (long n = 0; n < chainLength; ++n)
    #pragma GCC unroll 12
        for (auto& chain : chains)
            chain = _mm512_fmadd_ps (chain, factor, term);

    for (int i = 1; i < numChains; ++i)
        chains[0] = _mm512_add_ps (chains[0], chains[i]);

    drain = _mm512_cvtss_f32 (chains[0]);
}

__attribute__ ((noinline, target ("avx2"))) void divide256()
{
    __m256 values[numDivisors];
    const auto one = _mm256_set1_ps (1.0f);

    for (int i = 0; i < numDivisors; ++i)
        values[i] = _mm256_set1_ps (1.5f + 0.1f * static_cast<float> (i));

    for (long n = 0; n < divisionLength; ++n)
    #pragma GCC unroll 8
        for (auto& value : values)
            value = _mm256_div_ps (one, value);

    for (int i = 1; i < numDivisors; ++i)
        values[0] = _mm256_add_ps (values[0], values[i]);

    drain = _mm256_cvtss_f32 (values[0]);
}

__attribute__ ((noinline, target ("avx512f"))) void divide512()
{
    __m512 values[numDivisors];
    const auto one = _mm512_set1_ps (1.0f);

    for (int i = 0; i < numDivisors; ++i)
        values[i] = _mm512_set1_ps (1.5f + 0.1f * static_cast<float> (i));

    for (long n = 0; n < divisionLength; ++n)
    #pragma GCC unroll 8
        for (auto& value : values)
            value = _mm512_div_ps (one, value);

    for (int i = 1; i < numDivisors; ++i)
        values[0] = _mm512_add_ps (values[0], values[i]);

    drain = _mm512_cvtss_f32 (values[0]);
}

__attribute__ ((noinline, target ("avx2"))) void readAll (const float* data, std::size_t numFloats)
{
    __m256 sums[8];

    for (auto& sum : sums)
        sum = _mm256_setzero_ps();

    for (std::size_t i = 0; i + 64 <= numFloats; i += 64)
    #pragma GCC unroll 8
        for (std::size_t j = 0; j < 8; ++j)
            sums[j] = _mm256_add_ps (sums[j], _mm256_load_ps (data + i + 8 * j));

    for (int i = 1; i < 8; ++i)
        sums[0] = _mm256_add_ps (sums[0], sums[i]);

    drain = _mm256_cvtss_f32 (sums[0]);
}

bool hasVectors (int width)
{
    __builtin_cpu_init();
    return width == 16 ? __builtin_cpu_supports ("avx512f") != 0
                       : width == 8 && __builtin_cpu_supports ("avx2") && __builtin_cpu_supports ("fma");
}
#else
void multiplyAdd256() {}
void multiplyAdd512() {}
void divide256() {}
void divide512() {}
void readAll (const float*, std::size_t) {}
constexpr int numChains = 0, numDivisors = 0;
constexpr long chainLength = 0, divisionLength = 0;

bool hasVectors (int)
{
    return false;
}
#endif

struct Probe
{
    std::string name, unit;
    double workPerThread = 0.0;
    std::function<void (int worker, int numWorkers)> work;
};

std::string fieldOf (const char* path, const std::string& key)
{
    std::ifstream file (path);
    std::string line;

    while (std::getline (file, line))
        if (line.rfind (key, 0) == 0)
            if (const auto colon = line.find (": "); colon != std::string::npos)
                return line.substr (colon + 2);

    return {};
}
} // namespace

int vectorWidth (const std::string& simdTarget)
{
    return simdTarget.rfind ("AVX3", 0) == 0 ? 16 : simdTarget == "AVX2" ? 8 : 4;
}

double fmaPeak (int width)
{
    if (! hasVectors (width))
        return notMeasured;

    const auto seconds = measure (width == 16 ? multiplyAdd512 : multiplyAdd256).wall;
    return 2.0 * numChains * static_cast<double> (chainLength) * width / seconds;
}

std::string describeMachine()
{
    auto text = fieldOf ("/proc/cpuinfo", "model name");

    if (text.empty())
        text = "unknown processor";

    text += " (family " + fieldOf ("/proc/cpuinfo", "cpu family") + ", model "
            + fieldOf ("/proc/cpuinfo", "model\t") + "), "
            + std::to_string (std::thread::hardware_concurrency()) + " cores";

#ifdef __x86_64__
    __builtin_cpu_init();
    text += "; SSE4.2";

    if (__builtin_cpu_supports ("avx2"))
        text += ", AVX2";

    if (__builtin_cpu_supports ("fma"))
        text += ", FMA";

    text += __builtin_cpu_supports ("avx512f") ? ", AVX-512" : ", no AVX-512";
#endif

    // The instruction cache is index 1.
    for (const auto index : { 0, 2, 3 })
    {
        std::ifstream file ("/sys/devices/system/cpu/cpu0/cache/index" + std::to_string (index) + "/size");
        std::string size;

        if (file >> size)
            text += (index == 0 ? "; caches " : ", ") + size;
    }

    return text;
}

Findings benchmarkMachine (const BenchmarkOptions& options)
{
    announce ("machine: " + describeMachine());
    std::vector<Probe> probes;

    for (const auto width : { 8, 16 })
    {
        if (! hasVectors (width))
            continue;

        const auto bits = std::to_string (32 * width) + " bit";
        probes.push_back ({ "fused multiply-add, " + bits,
                            "GFLOP/s",
                            2.0 * numChains * static_cast<double> (chainLength) * width,
                            [width] (int, int) { width == 16 ? multiplyAdd512() : multiplyAdd256(); } });
        probes.push_back ({ "1 / x by division, " + bits,
                            "G/s",
                            static_cast<double> (numDivisors) * static_cast<double> (divisionLength) * width,
                            [width] (int, int) { width == 16 ? divide512() : divide256(); } });
    }

    struct Area
    {
        std::string name;
        std::size_t bytes;
        int repetitions;
    };

    const auto powerBytes = [&] (int seconds)
    {
        return static_cast<std::size_t> (options.numTracks) * 80 * 4
               * ((static_cast<std::size_t> (seconds) * 44100 + 255) / 256);
    };

    std::vector<Area> areas{ { "read 256 KB (second-level cache)", 256u << 10, 4000 } };

    for (const auto seconds : options.seconds)
        areas.push_back ({ "read " + number (static_cast<double> (powerBytes (seconds)) * 1.0e-6)
                               + " MB (V of " + std::to_string (options.numTracks) + " x "
                               + std::to_string (seconds) + " s)",
                           powerBytes (seconds),
                           4 });

    areas.push_back ({ "read 512 MB (memory)", 512u << 20, 1 });
    std::size_t largest = 0;

    for (const auto& area : areas)
        largest = std::max (largest, area.bytes);

    AlignedBuffer memory (largest / sizeof (float));

    if (hasVectors (8))
        for (const auto& area : areas)
            probes.push_back ({ area.name,
                                "GB/s",
                                static_cast<double> (area.bytes) * area.repetitions,
                                [&memory, area] (int worker, int numWorkers)
                                {
                                    const auto share = area.bytes / sizeof (float)
                                                       / static_cast<std::size_t> (numWorkers) / 64 * 64;

                                    for (int i = 0; i < area.repetitions; ++i)
                                        readAll (memory.data() + static_cast<std::size_t> (worker) * share,
                                                 share);
                                } });

    Table table;
    Findings findings;
    auto& figures = findings.figures;
    const auto subject = [] (const Probe& probe, int threads) -> Case {
        return { { "probe", probe.name }, { "threads", threads } };
    };
    findings.measure (
        table,
        Case::object(),
        options.rounds,
        [&] (Figures& found)
        {
            for (const auto threads : options.threads)
            {
                WorkerPool pool (threads);

                for (const auto& probe : probes)
                {
                    const auto each = [&] (int worker) { probe.work (worker, pool.numWorkers()); };
                    const auto seconds = measure ([&] { pool.onEachWorker (each); }).wall;
                    // Threads share what is read; each does all of what is computed.
                    const auto work = probe.workPerThread * (probe.unit == "GB/s" ? 1 : threads);
                    found.add (subject (probe, threads), "rate", probe.unit, work / seconds * 1.0e-9);
                }
            }
        });

    table.id = "machine";
    table.title = "Machine: " + describeMachine();
    table.columns = { "best of " + std::to_string (options.rounds.numRounds) + " rounds", "unit" };

    for (const auto threads : options.threads)
        table.columns.push_back (std::to_string (threads) + (threads == 1 ? " thread" : " threads"));

    for (const auto& probe : probes)
    {
        std::vector<std::string> row{ probe.name, probe.unit };

        for (const auto threads : options.threads)
            row.push_back (number (figures.of (subject (probe, threads), "rate").maximum(), 1));

        table.rows.push_back (row);
    }

    table.notes.push_back (describeMachine() + ".");
    findings.tables.push_back (table);
    return findings;
}

} // namespace tessivar::benchmarks
