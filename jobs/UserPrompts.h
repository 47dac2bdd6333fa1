#pragma once

#include "model/ImportWarnings.h"

#include <juce_core/juce_core.h>

namespace tessivar
{

class TessivarWorkspace;

/** How a request talks to the user. The window shows dialogs, tests answer by script. Each call returns when
    the user has answered.
*/
class UserPrompts
{
public:
    virtual ~UserPrompts() = default;

    /** A message titled "Warning" with the button "Ok"; details say what exactly went wrong, and may be
        empty.
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

    /** Shows one warning and its entries; true when the user never wants to see this kind again. */
    [[nodiscard]] virtual bool showWarning (const ImportWarnings::Warning& warning) = 0;
};

/** Shows the collected warnings kind by kind, except the kinds the user has silenced, and silences those that
    the user never wants to see again. The collector is empty afterwards.
*/
void showWarnings (ImportWarnings& warnings, TessivarWorkspace& workspace, UserPrompts& prompts);

} // namespace tessivar
