#pragma once

#include <cstdint>

/// 16 bits hold every product of a mix down as far as this n: 2 n 255 n.
constexpr int32_t largestShortN = 11;
static_assert(2 * 255 * largestShortN * largestShortN <= 0xFFFF);

/// Division of a 16-bit number by n^2: the high half of its product with the factor, shifted right.
struct ShortDivisor {
    uint16_t factor;
    int32_t shift;
};

[[nodiscard]] constexpr ShortDivisor makeShortDivisor(int32_t n) {
    const uint32_t square = static_cast<uint32_t>(n * n);
    int32_t shift = 0;
    while (((uint32_t{1} << (17 + shift)) + square - 1) / square < 0x10000) ++shift;
    const uint32_t factor = ((uint32_t{1} << (16 + shift)) + square - 1) / square;
    return {static_cast<uint16_t>(factor), shift};
}

// The factor is too large by less than 1 / 2^(16 + shift), which must not carry a quotient up to the next one as far as
// levels go; beyond them the quotient only has to stay beyond.
constexpr bool dividesLevels(int32_t n) {
    const ShortDivisor divisor = makeShortDivisor(n);
    const int64_t square = int64_t{n} * n, excess = divisor.factor * square - (int64_t{1} << (16 + divisor.shift));
    return excess >= 0 && 256 * square * excess < int64_t{1} << (16 + divisor.shift);
}
static_assert(dividesLevels(2) && dividesLevels(3) && dividesLevels(4) && dividesLevels(5) && dividesLevels(6) &&
              dividesLevels(7) && dividesLevels(8) && dividesLevels(9) && dividesLevels(10) && dividesLevels(11));
