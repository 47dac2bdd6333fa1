#pragma once

#include "jobs/UserPrompts.h"

namespace tessivar::test
{

/** A user who answers as told to, and remembers what he was told and asked. */
struct ScriptedPrompts final : UserPrompts
{
    void warn (const juce::String& text, const juce::String& details) override
    {
        heard.add ("warn: " + text);
        lastDetails = details;
    }

    bool ask (const Question& question) override
    {
        heard.add ("ask: " + question.title + "|" + question.acceptButton + "|" + question.refuseButton);
        lastText = question.text;
        return accepts;
    }

    bool showWarning (const ImportWarnings::Warning& warning) override
    {
        heard.add ("warning " + juce::String (warning.code));
        return silences;
    }

    juce::StringArray heard;
    juce::String lastText, lastDetails; // of a question, of a warning
    bool accepts = false, silences = false;
};

} // namespace tessivar::test
