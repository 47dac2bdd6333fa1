#pragma once

#include <string>
#include <utility>

namespace tessivar
{

/** How a piece of work ended. Unless it is ok, nothing was changed, except where the work says otherwise. */
struct [[nodiscard]] Outcome
{
    enum class End
    {
        ok,
        stopped, // on request: no error, and no text
        refused, // what was asked for can't be done
        noRoom,  // memory or disk do not suffice
        failed   // anything else
    };

    End end = End::ok;
    std::string reason; // UTF-8, with the name of the file and numbers; empty when ok or stopped

    static Outcome ok() { return {}; }
    static Outcome stopped() { return { End::stopped, {} }; }
    static Outcome refused (std::string reason) { return { End::refused, std::move (reason) }; }
    static Outcome noRoom (std::string reason) { return { End::noRoom, std::move (reason) }; }
    static Outcome failed (std::string reason) { return { End::failed, std::move (reason) }; }

    [[nodiscard]] bool isOk() const { return end == End::ok; }
    [[nodiscard]] bool wasStopped() const { return end == End::stopped; }

    bool operator== (const Outcome&) const = default;
};

} // namespace tessivar
