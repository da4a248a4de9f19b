#pragma once

#include <cstddef>
#include <cstdint>

#include "imageio/image.h"

// The four-pixel mix at multiples of 1/n, in whole numbers: across first, in n-ths of a level, then down. Where the mix
// is a whole level, roundings of the true fractions may cut it to the level or to the one next to it toward zero: both
// are given. What leaves 0 to 255, where only the low eight bits of a level stay, counts as any level.

/// A mix across, in n-ths of a level, that leaves 0 to 255 n.
constexpr uint16_t unknownMix = 0xFFFF;

/// Mixes count pixels with their right neighbours: four mixes a pixel.
using MixAcross = void (*)(const Pixel* left, const Pixel* right, size_t count, int32_t fraction, int32_t n,
                           uint16_t* mixes);

/// Mixes count values of a row with those of the row below, and cuts the mixes to levels. Exact: no rounding has moved
/// them, so that both levels are the same, except where any level is meant: 0 and 255.
struct DownMix {
    int32_t fraction, n;
    bool exact;
    bool inside;  // no fraction below 0, across or down: no mix leaves the levels
};
using MixDown = void (*)(const uint16_t* above, const uint16_t* below, size_t count, const DownMix& mix, uint8_t* lower,
                         uint8_t* upper);

struct MixingKernel {
    MixAcross mixAcross;
    MixDown mixDown;
};

/// The version of the vector level in use.
[[nodiscard]] const MixingKernel& mixingKernel();
