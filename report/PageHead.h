#pragma once

#include "report/Html.h"

namespace tessivar
{

/** What the pages' style sheets have in common. */
[[nodiscard]] juce::String reportStyle();

/** The head of a page, as long as it lives: how its characters are written, what the browser may do (policy),
    title and style sheet, and whatever is written meanwhile.
*/
class PageHead
{
public:
    PageHead (Html& page, const char* policy, const juce::String& title, const juce::String& style);

private:
    const Html::Element head;
};

} // namespace tessivar
