#pragma once

#include "engine/AnalysisPipeline.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tessivar::benchmarks
{

/** Floats in a file of fixed size, read and written at any position by several threads at once. */
class FloatFile
{
public:
    /** Opens an existing file for reading, or makes one of numFloats floats with its disk space reserved.
        Throws std::runtime_error with file and reason. */
    explicit FloatFile (const std::string& path);
    FloatFile (const std::string& path, std::int64_t numFloats);
    ~FloatFile();

    FloatFile (const FloatFile&) = delete;
    FloatFile& operator= (const FloatFile&) = delete;

    [[nodiscard]] std::int64_t size() const { return numFloats; }
    [[nodiscard]] bool read (std::int64_t position, std::span<float> dest) const;
    [[nodiscard]] bool write (std::int64_t position, std::span<const float> values) const;

private:
    int descriptor = -1;
    std::int64_t numFloats = 0;
};

class FileSource : public SampleSource
{
public:
    explicit FileSource (const std::string& path) : file (path) {}

    [[nodiscard]] std::int64_t lengthInSamples() const override { return file.size(); }
    [[nodiscard]] bool read (std::int64_t start, std::span<float> dest) override;

private:
    FloatFile file;
};

/** Components in real files, and planes of spectra in memory or in a file, as the product keeps them. */
class FileStorage : public AnalysisStorage
{
public:
    /** lengths: samples of each track. */
    FileStorage (std::string folder, std::vector<std::int64_t> lengths);
    ~FileStorage() override;

    ComponentSink* rendered (int trackIndex) override;
    ScratchPlanes* spectrograms (int numPlanes, std::int64_t floatsPerPlane) override;
    ComponentSource* standard (int trackIndex) override;
    ComponentSink* refined (int trackIndex, const TrackFindings&) override;

    /** A number that depends on every bit of the results and on their order. */
    [[nodiscard]] std::uint64_t checksum() const;

private:
    class Planes;
    class Result;

    const std::string folder;
    const std::vector<std::int64_t> lengths;
    std::unique_ptr<ScratchPlanes> spectrogramPlanes;
    std::vector<std::unique_ptr<Result>> results; // by track; null for those not rendered
};

} // namespace tessivar::benchmarks
