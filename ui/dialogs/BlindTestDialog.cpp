#include "ui/dialogs/BlindTestDialog.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/dialogs/DialogText.h"
#include "ui/dock/DockState.h"

#include <algorithm>
#include <utility>

namespace tessivar
{
namespace
{

enum Button
{
    showScore,
    close
};

constexpr int textTop = 6, textHeight = 60, rowHeight = 36, gap = 8, scoreHeight = 106;
constexpr int cellWidth = 24, cellHeight = 34, cellGap = 4;

juce::String percentOf (double share)
{
    return share < 0.001 ? juce::String ("less than 0.1 %") : juce::String (100.0 * share, 1) + " %";
}

} // namespace

BlindTestDialog::BlindTestDialog (std::uint64_t seed)
    : DialogContent ("Blind test of A and B",
                     { { .text = "Show score", .closes = false }, { .text = "Close", .isSafe = true } }),
      test (seed)
{
    for (auto* button : { &playA, &playB, &playX, &isA, &isB })
        addAndMakeVisible (button);
    playA.onClick = [this] { listenTo (Heard::a); };
    playB.onClick = [this] { listenTo (Heard::b); };
    playX.onClick = [this] { listenTo (Heard::x); };
    isA.onClick = [this] { answer (KnobSetting::a); };
    isB.onClick = [this] { answer (KnobSetting::b); };
    playA.setTooltip ("Play A [A]");
    playB.setTooltip ("Play B [B]");
    playX.setTooltip ("Play X [X]");
    isA.setTooltip ("Say that X is A [1]");
    isB.setTooltip ("Say that X is B [2]");
    onChoice = [this] (int button)
    {
        if (button == showScore)
            showScoreOrStartOver();
    };
    showState();
    startTimerHz (10);
}

juce::String BlindTestDialog::getMessage() const
{
    return "In each round X is A or B, as chance has it. Listen to all three, where the playhead is, as "
           "often as "
           "you like, then say which it is.\nKeys: A, B, X to listen, Space to stop, 1 or 2 to answer, S for "
           "the score.";
}

void BlindTestDialog::timerCallback()
{
    if (ready || isReady == nullptr || ! isReady())
        return;
    ready = true;
    stopTimer();
    showState();
}

void BlindTestDialog::listenTo (Heard what)
{
    if (! ready)
        return;
    heard = what;
    call (onListen, what == Heard::x ? test.x() : what == Heard::b ? KnobSetting::b : KnobSetting::a);
    showState();
}

void BlindTestDialog::answer (KnobSetting said)
{
    if (! ready || showsScore)
        return;
    test.answer (said);
    // The next X is not to be heard in the one before it.
    if (heard == Heard::x)
        listenTo (Heard::a);
    showState();
    juce::AccessibilityHandler::postAnnouncement (scoreText(),
                                                  juce::AccessibilityHandler::AnnouncementPriority::medium);
}

void BlindTestDialog::showScoreOrStartOver()
{
    if (std::exchange (showsScore, ! showsScore))
        test = BlindTest (std::random_device{}());
    else
        juce::AccessibilityHandler::postAnnouncement (scoreText(),
                                                      juce::AccessibilityHandler::AnnouncementPriority::high);
    if (heard == Heard::x)
        listenTo (Heard::a);
    showState();
}

void BlindTestDialog::showState()
{
    const auto show = [this] (ActionButton& button, Heard what)
    {
        button.setEnabled (ready && ! (showsScore && what == Heard::x));
        button.setLook (heard == what ? ButtonLook::playing : ButtonLook::standard);
        button.setToggleState (heard == what, juce::dontSendNotification);
    };
    show (playA, Heard::a);
    show (playB, Heard::b);
    show (playX, Heard::x);
    isA.setEnabled (ready && ! showsScore);
    isB.setEnabled (ready && ! showsScore);
    getButton (showScore).setEnabled (! test.rounds().empty());
    getButton (showScore).setButtonText (showsScore ? "Start over" : "Show score");
    if (! getBounds().isEmpty())
        resized();
    repaint();
}

juce::String BlindTestDialog::scoreText() const
{
    const auto count = static_cast<int> (test.rounds().size());
    if (! ready)
        return juce::String::fromUTF8 ("Measuring how loud A and B are\xe2\x80\xa6");
    if (! showsScore)
        return "Round " + juce::String (count + 1);
    const auto right = test.numRight();
    return juce::String (right) + " of " + juce::String (count)
           + " right. Guessing gets as many with a probability of "
           + percentOf (BlindTest::chanceOf (right, count)) + ".";
}

bool BlindTestDialog::keyPressed (const juce::KeyPress& key)
{
    if (key.getModifiers().isAnyModifierKeyDown())
        return DialogContent::keyPressed (key);
    // The toolkit would leave the dialog, which has the focus itself at first.
    if (key.isKeyCode (juce::KeyPress::tabKey) && hasKeyboardFocus (false))
    {
        playA.grabKeyboardFocus();
        return true;
    }
    const auto code =
        juce::CharacterFunctions::toUpperCase (static_cast<juce::juce_wchar> (key.getKeyCode()));

    for (const auto& [letter, button] : { std::pair<char, juce::Button*>{ 'A', &playA },
                                          { 'B', &playB },
                                          { 'X', &playX },
                                          { '1', &isA },
                                          { '2', &isB },
                                          { 'S', &getButton (showScore) } })
        if (code == static_cast<juce::juce_wchar> (letter))
        {
            if (button->isEnabled())
                call (button->onClick);
            return true;
        }

    if (code != ' ')
        return DialogContent::keyPressed (key);
    call (onPlayOrStop);
    return true;
}

int BlindTestDialog::bodyHeight (int) const
{
    return textTop + textHeight + 2 * (gap + rowHeight) + scoreHeight;
}

void BlindTestDialog::layOutBody (juce::Rectangle<int> body)
{
    body.removeFromTop (textTop + textHeight);
    const auto place = [&] (std::initializer_list<ActionButton*> inRow)
    {
        body.removeFromTop (gap);
        auto row = body.removeFromTop (rowHeight);
        auto left = static_cast<int> (inRow.size());
        for (auto* button : inRow)
        {
            button->setBounds (row.removeFromLeft ((row.getWidth() - (left - 1) * gap) / left));
            row.removeFromLeft (gap);
            --left;
        }
    };
    place ({ &playA, &playX, &playB });
    place ({ &isA, &isB });
    scoreArea = body.withTrimmedTop (gap + 4);
}

void BlindTestDialog::paint (juce::Graphics& g)
{
    DialogContent::paint (g);
    const auto body = bodyArea().withTrimmedTop (textTop);
    layOutText (getMessage(), palette::textMid, static_cast<float> (body.getWidth()))
        .draw (g, body.withHeight (textHeight).toFloat());

    auto area = scoreArea;
    g.setColour (palette::textHigh);
    g.setFont (fonts::inter (13.0f));
    g.drawText (scoreText(), area.removeFromTop (20), juce::Justification::centredLeft, true);
    if (showsScore)
        paintRounds (g, area.withTrimmedTop (4));
}

void BlindTestDialog::paintRounds (juce::Graphics& g, juce::Rectangle<int> area) const
{
    // What X was in each round, and whether that was said; of many rounds the last ones.
    const auto columns =
        static_cast<std::size_t> (std::max (1, (area.getWidth() + cellGap) / (cellWidth + cellGap)));
    const auto& rounds = test.rounds();
    const auto shown = std::min (rounds.size(), 2 * columns);
    for (std::size_t i = 0; i < shown; ++i)
    {
        const auto& round = rounds[rounds.size() - shown + i];
        auto cell =
            juce::Rectangle<int> (area.getX() + static_cast<int> (i % columns) * (cellWidth + cellGap),
                                  area.getY() + static_cast<int> (i / columns) * (cellHeight + cellGap),
                                  cellWidth,
                                  cellHeight)
                .toFloat();
        drawFrame (g, cell, palette::well, palette::line, 5.0f);
        drawIcon (g,
                  round.isRight() ? Icon::tick : Icon::cross,
                  cell.removeFromBottom (16.0f).reduced (2.0f),
                  round.isRight() ? palette::green : palette::textLow);
        g.setColour (palette::textHigh);
        g.setFont (fonts::inter (12.0f));
        g.drawText (letterOf (round.x), cell, juce::Justification::centred, false);
    }
}

} // namespace tessivar
