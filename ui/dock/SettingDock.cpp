#include "ui/dock/SettingDock.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{

LayerBars::LayerBars() : DockSection ("Layers", false, true)
{
    setTooltip ("What each layer still carries: Focus takes the worst match away first");
}

void LayerBars::setState (const DockState& newState)
{
    available = newState.available;
    layers = newState.layers;
    repaint();
}

void LayerBars::paint (juce::Graphics& g)
{
    DockSection::paint (g);
    constexpr float top = 38.0f, height = 90.0f, width = 19.0f, restWidth = 23.0f, gap = 5.0f;
    auto x = static_cast<float> (contentLeft());
    for (std::size_t i = 0; i < layers.size(); ++i)
    {
        const auto isRest = i + 1 == layers.size();
        const juce::Rectangle<float> bar (x, top, isRest ? restWidth : width, height);
        paintBar (g, bar, layers[i]);
        g.setColour (available ? palette::textLow : palette::textDisabled);
        g.setFont (fonts::inter (11.0f));
        g.drawText (isRest ? juce::String ("Rest") : juce::String (i + 1),
                    bar.withY (top + height + 5.0f).withHeight (16.0f).expanded (6.0f, 0.0f),
                    juce::Justification::centred,
                    false);
        x += width + gap;
    }
    const juce::Rectangle<float> ends (static_cast<float> (contentLeft()),
                                       top + height + 24.0f,
                                       x - gap + restWidth - width - static_cast<float> (contentLeft()),
                                       16.0f);
    g.setColour (palette::textLow);
    g.drawText ("Best match", ends, juce::Justification::centredLeft, false);
    g.drawText ("Worst", ends, juce::Justification::centredRight, false);
}

void LayerBars::paintBar (juce::Graphics& g, juce::Rectangle<float> bar, const LayerWeight& weight) const
{
    if (! available)
    {
        g.setColour (palette::line);
        g.drawRoundedRectangle (bar.reduced (0.5f), 3.0f, 1.0f);
        return;
    }
    juce::Graphics::ScopedSaveState saved (g);
    juce::Path shape;
    shape.addRoundedRectangle (bar, 3.0f);
    g.setColour (juce::Colour (0xff2a1a14));
    g.fillPath (shape);
    g.setColour (palette::emberFill.withAlpha (0.6f));
    g.drawRoundedRectangle (bar.reduced (0.5f), 3.0f, 1.0f);

    g.reduceClipRegion (shape);
    const auto total = layerBarHeight (weight.kept + weight.blendedBack) * bar.getHeight();
    const auto kept = layerBarHeight (weight.kept) * bar.getHeight();
    g.setColour (juce::Colour (0xff6b4a3e));
    g.fillRect (bar.withTop (bar.getBottom() - total));
    g.setGradientFill (juce::ColourGradient::vertical (palette::ice, palette::iceMid, bar));
    g.fillRect (bar.withTop (bar.getBottom() - kept));
}

SettingDock::SettingDock (const ResourceImages& images)
    : focus (images, focusSectionSettings()), fine (images, fineSectionSettings())
{
    setTitle ("Setting, Focus, Fine and listening");
    setFocusContainerType (FocusContainerType::keyboardFocusContainer);
    for (auto* section : std::initializer_list<DockSection*>{ &setting, &focus, &fine, &layers, &listen })
        addAndMakeVisible (*section);

    setting.onChoose = [this] (KnobSetting letter, bool wholeGroup)
    { call (onChooseSetting, letter, wholeGroup); };
    setting.onCopy = [this] { call (onCopy); };
    setting.onReset = [this] { call (onReset); };
    setting.onPresets = [this] (juce::Point<int> place) { call (onPresets, place); };
    setting.onEqualLoudness = [this] { call (onEqualLoudness); };
    setting.onBlindTest = [this] { call (onBlindTest); };
    listen.onChange = [this] (ListenMode mode)
    {
        state.listening = mode;
        call (onListeningChange, mode);
    };
    wireKnobs();
    setState (state);
}

void SettingDock::wireKnobs()
{
    const auto wire =
        [this] (KnobSection& section, float KnobValues::*knob, const std::function<void (float)>& onChange)
    {
        section.onGestureStart = [this] { call (onGestureStart); };
        section.onGestureEnd = [this] { call (onGestureEnd); };
        section.onCopyToOther = [this] { call (onCopy); };
        section.onValueChange = [this, knob, &onChange] (double value)
        {
            auto& shown = state.settings[static_cast<std::size_t> (state.sounding)].*knob;
            shown = static_cast<float> (value);
            setting.setState (state);
            call (onChange, shown);
        };
    };
    wire (focus, &KnobValues::focus, onFocusChange);
    wire (fine, &KnobValues::fine, onFineChange);
}

void SettingDock::setState (const DockState& newState)
{
    state = newState;
    setting.setState (state);
    layers.setState (state);
    listen.setState (state);
    showKnobs();
}

void SettingDock::showKnobs()
{
    const auto other = otherSetting (state.sounding);
    const auto show = [&] (KnobSection& section, float KnobValues::*knob, std::optional<float> suggested)
    {
        KnobSection::State shown{ state.available,
                                  static_cast<double> (state.valuesOf (state.sounding).*knob),
                                  static_cast<double> (state.defaults.*knob),
                                  static_cast<double> (state.valuesOf (other).*knob),
                                  letterOf (other),
                                  {} };
        if (suggested.has_value())
            shown.suggestedValue = static_cast<double> (*suggested);
        section.setState (shown);
    };
    show (focus, &KnobValues::focus, state.suggestedFocus);
    show (fine, &KnobValues::fine, {});
}

void SettingDock::setCompact (bool shouldBeCompact)
{
    compact = shouldBeCompact;
    for (auto* section : std::initializer_list<DockSection*>{ &setting, &focus, &fine, &listen })
        section->setCompact (compact);
    layers.setVisible (! compact);
    resized();
}

void SettingDock::fadeTick()
{
    focus.fadeTick();
    fine.fadeTick();
}

void SettingDock::paint (juce::Graphics& g)
{
    const auto area = getLocalBounds().toFloat();
    g.setGradientFill (
        juce::ColourGradient::vertical (juce::Colour (0xff1a1f25), juce::Colour (0xff13171b), area));
    g.fillAll();
    g.setColour (juce::Colour (0xff22282e));
    g.fillRect (area.withHeight (1.0f));
}

void SettingDock::resized()
{
    const auto layout = dockLayout (getLocalBounds(), compact);
    setting.setBounds (layout.setting);
    focus.setBounds (layout.focus);
    fine.setBounds (layout.fine);
    layers.setBounds (layout.layers);
    listen.setBounds (layout.listen);
}

} // namespace tessivar
