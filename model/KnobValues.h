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

/** The values of the two knobs in one setting. */
struct KnobValues
{
    float focus = 0.0f; // 0..5
    float fine = 0.0f;  // 0..1

    bool operator== (const KnobValues&) const = default;

    /** Clamped to the ranges; not a number counts as 0. */
    [[nodiscard]] KnobValues sanitised() const;
};

/** Where the knobs stand before anybody or an analysis turns them, in the window and on the command line. */
inline constexpr KnobValues startKnobsA{ 2.5f, 0.0f }, startKnobsB{ 0.0f, 0.0f };

} // namespace tessivar
