#pragma once

#include <cstdint>

/// How blocks are searched. Shifts are pixels, bounds included; the step is above 0.
struct BlockSearch {
    int32_t halfSize;  // S: a block is 2S + 1 pixels square, its position in its centre
    int32_t shiftMinX, shiftMaxX, shiftMinY, shiftMaxY;
    float shiftStep;
};

/// The shift found for a block: current content at offset u from the current image's origin belongs at u + (x, y) from
/// the reference's. When nothing scores below worstBlockScore, that score and the shift (0, 0).
struct BlockMatch {
    float score;
    float x, y;
};
constexpr float worstBlockScore = 1e9f;
constexpr BlockMatch noBlockMatch = {worstBlockScore, 0.0f, 0.0f};

/// The match of a block that would leave the reference, which is not searched.
constexpr BlockMatch unmatchedBlock = {-10.0f, 0.0f, 0.0f};

/// Whether blocks are matched at whole steps: the step is its own integer part.
[[nodiscard]] inline bool isWholeStep(float step) {
    return step >= 0x1p31f || static_cast<float>(static_cast<int32_t>(step)) == step;
}

/// The next value of a running whole shift, cut to a whole number of single precision; beyond last when the step does
/// not change it or leads out of 32 bits.
[[nodiscard]] inline int64_t advanceWhole(int64_t shift, float step, int64_t last) {
    const float next = static_cast<float>(shift) + step;
    if (next >= 0x1p31f || static_cast<int64_t>(next) == shift) return last + 1;
    return static_cast<int64_t>(next);
}

/// The next value of any other running shift, kept in double precision; beyond last when the step does not change it.
[[nodiscard]] inline double advanceFractional(double shift, double step, double last) {
    return shift + step == shift ? last + 1.0 : shift + step;
}

/// The better one of best and a score at that shift, the former when they are equal.
inline void takeBetter(BlockMatch& best, float score, double dx, double dy) {
    if (score < best.score) best = {score, static_cast<float>(dx), static_cast<float>(dy)};
}
