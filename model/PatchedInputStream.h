#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace tessivar
{

/** Bytes of a file that a reader is to see in place of the file's own. */
struct HeaderPatch
{
    std::int64_t offset = 0;
    std::vector<std::uint8_t> bytes;
};

/** A stream with some bytes replaced, which remembers that a read came back short.

    It lets a reader that knows fewer variants of a format open a file that says the same in other words.
*/
class PatchedInputStream final : public juce::InputStream
{
public:
    PatchedInputStream (std::unique_ptr<juce::InputStream> sourceStream,
                        std::vector<HeaderPatch> headerPatches);

    juce::int64 getTotalLength() override { return source->getTotalLength(); }
    bool isExhausted() override { return source->isExhausted(); }
    juce::int64 getPosition() override { return source->getPosition(); }
    bool setPosition (juce::int64 position) override { return source->setPosition (position); }
    int read (void* destination, int maxBytes) override;

    /** True when, since the last call, a read got fewer bytes than were asked for. */
    bool takeShortRead();

private:
    std::unique_ptr<juce::InputStream> source;
    std::vector<HeaderPatch> patches;
    bool shortRead = false;
};

} // namespace tessivar
