#pragma once

#include "terms/KnobValues.h"

#include <cstdint>
#include <random>
#include <vector>

namespace tessivar
{

/** The rounds of a blind test: in each X is one of two settings, and the listener says which. */
class BlindTest
{
public:
    explicit BlindTest (std::uint64_t seed) : random (seed) { draw(); }

    struct Round
    {
        KnobSetting x = KnobSetting::a, answer = KnobSetting::a;
        [[nodiscard]] bool isRight() const { return x == answer; }
    };

    /** What X is in the present round. */
    [[nodiscard]] KnobSetting x() const { return drawn; }

    /** Ends the round and draws the next X. */
    void answer (KnobSetting said);

    [[nodiscard]] const std::vector<Round>& rounds() const { return past; }
    [[nodiscard]] int numRight() const;

    /** Probability, 0 to 1, that guessing gets at least so many of the rounds right. */
    [[nodiscard]] static double chanceOf (int numRight, int numRounds);

private:
    void draw() { drawn = (random() & 1) != 0 ? KnobSetting::b : KnobSetting::a; }

    std::mt19937_64 random;
    KnobSetting drawn = KnobSetting::a;
    std::vector<Round> past;
};

} // namespace tessivar
