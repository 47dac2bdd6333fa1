#pragma once

#include "model/ImportWarnings.h"

#include <juce_core/juce_core.h>

namespace tessivar
{

/** What a request may have to tell or ask on its way. The window answers with dialogs, a test with what it
    wants to try. Each call returns when the user has answered.
*/
class UserPrompts
{
public:
    virtual ~UserPrompts() = default;

    /** A message with the title "Warning" and the button "Ok". details, which may be empty, say what exactly
        went wrong.
    */
    virtual void warn (const juce::String& text, const juce::String& details = {}) = 0;

    /** What accepting costs, which a dialog shows by the look of its button. */
    enum class Risk
    {
        none,
        overwrites,
        discards
    };

    struct Question
    {
        juce::String title;
        juce::String text;
        juce::String acceptButton;
        juce::String refuseButton;
        Risk risk = Risk::none;
    };

    /** Whether the user accepted; closing the question refuses it. */
    [[nodiscard]] virtual bool ask (const Question& question) = 0;

    /** Shows one warning with what it is about; true when the user wants to see this kind never again. */
    [[nodiscard]] virtual bool showWarning (const ImportWarnings::Warning& warning) = 0;
};

} // namespace tessivar
