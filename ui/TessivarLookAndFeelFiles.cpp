#include "ui/Buttons.h"
#include "ui/Palette.h"
#include "ui/TessivarLookAndFeel.h"

// The list of files in the program's own chooser.

namespace tessivar
{
namespace
{

constexpr int controlHeight = 28, gap = 8, fileRowHeight = 28;

} // namespace

void TessivarLookAndFeel::drawFileBrowserRow (juce::Graphics& g,
                                              int width,
                                              int height,
                                              const juce::File&,
                                              const juce::String& name,
                                              juce::Image*,
                                              const juce::String& size,
                                              const juce::String& time,
                                              bool isDirectory,
                                              bool isSelected,
                                              int,
                                              juce::DirectoryContentsDisplayComponent&)
{
    auto row = juce::Rectangle<int> (width, height).toFloat();
    const auto faint = isSelected ? palette::textMid : palette::textLow;
    if (isSelected)
    {
        g.setColour (palette::highlight);
        g.fillRect (row);
    }
    row.reduce (10.0f, 0.0f);
    drawIcon (g,
              isDirectory ? Icon::folder : Icon::file,
              row.removeFromLeft (16.0f).withSizeKeepingCentre (15.0f, 15.0f),
              isDirectory ? palette::iceMid : faint);
    row.removeFromLeft (10.0f);
    if (! isDirectory)
    {
        g.setColour (faint);
        g.setFont (fonts::inter (12.0f));
        g.drawText (time, row.removeFromRight (150.0f), juce::Justification::centredRight, false);
        g.drawText (size, row.removeFromRight (80.0f), juce::Justification::centredRight, false);
        row.removeFromRight (10.0f);
    }
    g.setColour (palette::textHigh);
    g.setFont (fonts::inter (13.0f));
    g.drawText (name, row, juce::Justification::centredLeft, true);
}

juce::Button* TessivarLookAndFeel::createFileBrowserGoUpButton()
{
    return std::make_unique<ActionButton> ("Up").release(); // the browser takes it
}

void TessivarLookAndFeel::layoutFileBrowserComponent (juce::FileBrowserComponent& browser,
                                                      juce::DirectoryContentsDisplayComponent* list,
                                                      juce::FilePreviewComponent*,
                                                      juce::ComboBox* path,
                                                      juce::TextEditor* name,
                                                      juce::Button* goUp)
{
    auto area = browser.getLocalBounds();
    auto top = area.removeFromTop (controlHeight);
    goUp->setBounds (top.removeFromRight (56));
    top.removeFromRight (gap);
    path->setBounds (top);
    area.removeFromTop (gap);

    // A name is typed only where there is no file of that name yet.
    name->setVisible (browser.isSaveMode());
    prepareTextField (*name);
    if (browser.isSaveMode())
    {
        name->setBounds (area.removeFromBottom (controlHeight).withTrimmedLeft (44));
        area.removeFromBottom (gap);
    }
    if (auto* files = dynamic_cast<juce::ListBox*> (list))
    {
        files->setRowHeight (fileRowHeight);
        files->setBounds (area);
    }
}

} // namespace tessivar
