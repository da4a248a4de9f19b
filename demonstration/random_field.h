#pragma once

#include <cstdint>

// Random numbers and random fields of our own, from integers and the four operations alone: every processor and library
// makes the same pictures, which the distributions and the maths functions of the standard library do not promise.

/// A sequence of random numbers; equal states give equal sequences.
struct RandomSequence {
    uint64_t state = 0;
};

/// The next number of the sequence, even over 0 to 1.
[[nodiscard]] double takeRandom(RandomSequence& sequence);

/// The next number of the sequence, bell-shaped about 0 with a standard deviation of 1 (the sum of twelve even ones).
[[nodiscard]] double takeRandomError(RandomSequence& sequence);

/// A smooth random field, -1 to 1, whose hills are about one unit of x, y and z apart; each seed gives another field.
[[nodiscard]] double sampleNoiseField(uint32_t seed, double x, double y, double z = 0.0);
