#pragma once

#include "platform/InstanceLink.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace tessivar
{

/** Listens for other starts of the program as long as it lives, on a thread of its own. */
class InstanceLink::Server
{
public:
    virtual ~Server() = default;

    /** Null when another instance listens, or no channel can be made.
        @param folder  exists, with access for the user alone
    */
    [[nodiscard]] static std::unique_ptr<Server> start (const juce::File& folder, const Receiver& receiver);
};

/** What the channels of all systems have in common. */
namespace instanceLink
{

using Clock = std::chrono::steady_clock;

constexpr std::size_t maxMessageBytes = 1 << 20;
constexpr char accepted = 1; // the answer

// Of one client, from its first byte to its last; shorter than a second start waits, so that nobody is served
// who has given up. Clients beyond their number cost the oldest one its place.
constexpr std::chrono::milliseconds serveTime{ 800 };
constexpr std::size_t maxClients = 16;

/** 0 when the time is over. */
[[nodiscard]] int millisecondsUntil (Clock::time_point time);

/** The paths as bytes, each ended by a zero byte. */
[[nodiscard]] std::string messageOf (const juce::StringArray& paths);
[[nodiscard]] juce::StringArray pathsIn (std::string_view message);

/** Whether a message is whole. */
[[nodiscard]] inline bool isMessage (std::string_view message)
{
    return message.empty() || message.back() == '\0';
}

} // namespace instanceLink

} // namespace tessivar
