#include "report/IndexPage.h"

#include "model/Version.h"
#include "platform/DiskNames.h"
#include "report/Html.h"
#include "report/PageHead.h"
#include "report/ReportFacts.h"
#include "report/ReportTexts.h"

#include <algorithm>
#include <array>

namespace tessivar
{

namespace
{
constexpr auto policy = "default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'";

constexpr auto rules = R"css(
.open{color:var(--amber);background:var(--amberBack);border-radius:6px;padding:10px 14px;margin:12px 0 24px}
.overview th button{all:unset;cursor:pointer;color:var(--low)}
.overview th button:hover{color:var(--ice)}
.overview th button:focus-visible{outline:2px solid var(--ice);outline-offset:3px;border-radius:2px}
.overview th[aria-sort=ascending] button::after{content:" \2191"}
.overview th[aria-sort=descending] button::after{content:" \2193"}
.overview .number{text-align:right}
.overview th[scope=row]{min-width:9em;max-width:24em}
.overview .state{white-space:nowrap}
.overview .state::before{display:inline-block;width:1.4em;color:inherit;font-size:inherit}
.overview .done::before{content:"\2713"}
.overview .partial::before{content:"!"}
.overview :is(.killed,.failed,.refused)::before{content:"\2715"}
.overview .stopped::before{content:"\25a0"}
.overview .running::before{content:"\25b6"}
.overview .waiting::before{content:"\2026"}
.killed,.failed,.refused{color:var(--red)}
.stopped,.partial{color:var(--amber)}
.running,.waiting{color:var(--low)}
.remarks{max-width:34em;overflow-wrap:anywhere}
.remarks p+p{margin-top:4px}
.reason{color:var(--mid)}
.links{white-space:nowrap}
.links a+a{margin-left:10px}
@media (max-width:720px){
.overview .number{text-align:left}
.overview thead:has(button){position:static;clip-path:none;width:auto;height:auto}
.overview thead tr{display:flex;flex-wrap:wrap;gap:0 18px}
.overview th button{padding:6px 0}
.overview thead th:not([data-sorts]){display:none}
.overview td:is(.state,.remarks,.links){grid-column:1/3}
.overview .links a{display:inline-block;padding:4px 0}
}
@media print{.overview th button::after{content:none!important}}
)css";

// A click on a heading sorts by its column, a second one the other way round. Cells tell their values.
constexpr auto script = R"js(
"use strict";
const table = document.querySelector("table.overview"), body = table.tBodies[0];
const order = new Intl.Collator(undefined, { numeric: true });
const valueOf = (row, column) => row.cells[column].dataset.value;
for (const heading of table.tHead.rows[0].cells) {
  if (!heading.dataset.sorts) continue;
  const button = document.createElement("button");
  button.type = "button";
  button.append(...heading.childNodes);
  heading.append(button);
  button.addEventListener("click", () => {
    const direction = heading.getAttribute("aria-sort") === "ascending" ? -1 : 1, column = heading.cellIndex;
    const compare = heading.dataset.sorts === "number" ? (a, b) => a - b : order.compare;
    for (const other of table.tHead.rows[0].cells) other.removeAttribute("aria-sort");
    heading.setAttribute("aria-sort", direction === 1 ? "ascending" : "descending");
    body.append(...[...body.rows].sort((a, b) => {
      const x = valueOf(a, column), y = valueOf(b, column);
      return x === "" || y === "" ? (x === "") - (y === "") : direction * compare(x, y);
    }));
  });
}
)js";

/** A relative address: every byte of the name counts, and none of it is taken for a scheme or a query. */
juce::String addressOf (const juce::String& name)
{
    juce::String address ("./");

    for (const auto byte : bytesOfPath (name))
        if (juce::CharacterFunctions::isLetterOrDigit (byte)
            || std::string_view ("-_.~").find (byte) != std::string::npos)
            address << juce::String::charToString (static_cast<juce::juce_wchar> (byte));
        else
            address << "%"
                    << juce::String::toHexString (static_cast<std::uint8_t> (byte)).paddedLeft ('0', 2);

    return address;
}

class Page
{
public:
    Page (juce::OutputStream& output,
          const juce::String& titleToTell,
          const std::vector<BatchSession>& sessionsToTell)
        : page (output), title (titleToTell), sessions (sessionsToTell)
    {
    }

    void write()
    {
        page.verbatim ("<!DOCTYPE html>\n");
        const auto html = page.element ("html", { { "lang", "en" } });
        {
            const PageHead head (page, policy, title + " - Tessivar batch", reportStyle() + rules);
        }
        const auto body = page.element ("body");
        const auto main = page.element ("main");
        page.leaf ("p", "Tessivar batch", { { "class", "kicker" } });
        page.leaf ("h1", title);
        page.leaf ("p", summary(), { { "class", "lead" } });

        if (const auto numOpen = std::count_if (
                sessions.begin(), sessions.end(), [] (const auto& session) { return session.isOpen(); }))
            page.leaf ("p",
                       "This batch is still running: "
                           + countText (static_cast<std::size_t> (numOpen), "session")
                           + " to go when this page was made.",
                       { { "class", "open" } });

        writeTable();
        page.leaf ("footer",
                   "Tessivar " + juce::String (programVersion()) + ", "
                       + juce::Time::getCurrentTime().formatted ("%Y-%m-%d %H:%M"));
        const auto element = page.element ("script");
        page.verbatim (script);
    }

private:
    [[nodiscard]] juce::String summary() const
    {
        juce::StringArray parts;
        std::size_t numDoubtful = 0;

        for (const auto state : { SessionState::done,
                                  SessionState::partial,
                                  SessionState::stopped,
                                  SessionState::refused,
                                  SessionState::failed,
                                  SessionState::killed,
                                  SessionState::running,
                                  SessionState::waiting })
            if (const auto count =
                    std::count_if (sessions.begin(),
                                   sessions.end(),
                                   [&] (const auto& session) { return session.state == state; }))
                parts.add (juce::String (count) + " " + stateWord (state));

        for (const auto& session : sessions)
            numDoubtful += session.numDoubtful > 0 ? 1 : 0;

        auto text = countText (sessions.size(), "session");
        if (! parts.isEmpty())
            text << ": " << parts.joinIntoString (", ");
        if (numDoubtful > 0)
            text << ". "
                 << (numDoubtful == 1 ? "1 session has" : juce::String (numDoubtful) + " sessions have")
                 << " tracks that need an ear";
        return text + ".";
    }

    void writeTable()
    {
        const auto table = page.element ("table", { { "class", "overview" } });
        page.leaf ("caption",
                   "Removed: mean over the processed tracks of a session, relative to their sources.");
        {
            const auto head = page.element ("thead");
            const auto row = page.element ("tr");
            for (const auto& [name, sorts] : { std::pair{ "Session", "text" },
                                               std::pair{ "State", "number" },
                                               std::pair{ "Length", "number" },
                                               std::pair{ "Tracks", "number" },
                                               std::pair{ "Removed", "number" },
                                               std::pair{ "Took", "number" },
                                               std::pair{ "Remarks", "number" } })
                page.leaf ("th",
                           name,
                           { { "scope", "col" },
                             { "data-sorts", sorts },
                             { "class", isFigure (name) ? "number" : "word" } });
            page.leaf ("th", "Look at", { { "scope", "col" } });
        }
        const auto body = page.element ("tbody");
        for (const auto& session : sessions)
            writeRow (session);
    }

    static bool isFigure (std::string_view column)
    {
        return column == "Length" || column == "Tracks" || column == "Removed" || column == "Took";
    }

    void writeFigure (const char* column, bool isKnown, double value, const juce::String& text)
    {
        page.leaf ("td",
                   isKnown ? text : juce::String(),
                   { { "class", "number" },
                     { "data-title", column },
                     { "data-value", isKnown ? juce::String (value) : juce::String() } });
    }

    void writeRow (const BatchSession& session)
    {
        const auto row = page.element ("tr");
        {
            const auto heading = page.element ("th", { { "scope", "row" }, { "data-value", session.name } });
            if (session.hasReport)
                page.leaf ("a", session.name, { { "href", addressOf (session.name + ".html") } });
            else
                page.text (session.name);
        }
        page.leaf ("td",
                   stateWord (session.state),
                   { { "class", juce::String ("state ") + stateWord (session.state) },
                     { "data-value", juce::String (static_cast<int> (session.state)) } });
        writeFigure ("Length", session.seconds > 0.0, session.seconds, timeText (session.seconds));
        writeFigure ("Tracks", session.numTracks > 0, session.numTracks, juce::String (session.numTracks));
        writeFigure ("Removed",
                     session.removedDb.has_value(),
                     session.removedDb.value_or (0.0),
                     session.removedDb.value_or (0.0) < -140.0
                         ? juce::String ("nothing")
                         : levelText (session.removedDb.value_or (0.0)) + " dB");
        writeFigure (
            "Took", session.runSeconds > 0.0, session.runSeconds, timeText (session.runSeconds, true));
        writeRemarks (session);
        writeLinks (session);
    }

    void writeRemarks (const BatchSession& session)
    {
        const auto cell = page.element (
            "td",
            { { "class", "remarks" },
              { "data-value", session.hasReport ? juce::String (session.numDoubtful) : juce::String() } });
        for (const auto& reason : session.reasons)
            page.leaf ("p", reason, { { "class", "reason" } });
        if (session.isShort)
            page.leaf ("p", doubtBrief (Doubt::shortTrack));
        for (const auto& advice : session.advice)
            page.leaf ("p", advice.reason + ": " + advice.tracks.joinIntoString (", "));
    }

    void writeLinks (const BatchSession& session)
    {
        const auto cell = page.element ("td", { { "class", "links" } });
        const auto link = [&] (bool isThere, const char* word, const juce::String& ending)
        {
            if (isThere)
                page.leaf ("a", word, { { "href", addressOf (session.name + ending) } });
        };
        link (session.hasTracks, "tracks", "/");
        link (session.hasLog, "log", ".log");
        link (! session.isOpen() && session.state != SessionState::killed, "document", ".json");
    }

    Html page;
    const juce::String title;
    const std::vector<BatchSession>& sessions;
};
} // namespace

void writeIndexPage (juce::OutputStream& output,
                     const juce::String& title,
                     const std::vector<BatchSession>& sessions)
{
    Page (output, title, sessions).write();
}

} // namespace tessivar
