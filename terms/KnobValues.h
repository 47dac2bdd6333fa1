#pragma once

namespace tessivar
{

/** The two settings of a track that the A/B switch chooses from. */
enum class KnobSetting
{
    a,
    b
};

constexpr KnobSetting otherSetting (KnobSetting setting)
{
    return setting == KnobSetting::a ? KnobSetting::b : KnobSetting::a;
}

/** Ends of the knobs; both start at 0. Users read a value as a percentage of its maximum. */
inline constexpr float focusMaximum = 5.0f, fineMaximum = 1.0f;

/** The values of the two knobs in one setting. */
struct KnobValues
{
    float focus = 0.0f; // 0..focusMaximum
    float fine = 0.0f;  // 0..fineMaximum

    bool operator== (const KnobValues&) const = default;

    /** Clamped to the ranges; not a number counts as 0. */
    [[nodiscard]] constexpr KnobValues sanitised() const
    {
        constexpr auto within = [] (float value, float maximum) {
            return ! (value >= 0.0f) ? 0.0f : value > maximum ? maximum : value;
        };

        return { within (focus, focusMaximum), within (fine, fineMaximum) };
    }
};

/** Where the knobs stand before anybody or an analysis turns them, in the window and on the command line. */
inline constexpr KnobValues startKnobsA{ 2.5f, 0.0f }, startKnobsB{ 0.0f, 0.0f };

} // namespace tessivar
