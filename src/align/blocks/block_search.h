#pragma once

#include <cstdint>

#include "imageio/image.h"

/// How blocks are searched. Shifts are pixels, bounds included; the step is above 0.
struct BlockSearch {
    int32_t searchWidth;  // half-size S: a block is 2S + 1 pixels square, its position in its centre
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

/// The shift at which the block of current around (x, y) fits reference best, the first of equal ones, x before y. Both
/// are gradient images. For whole steps: only the block's place in the reference changes. start is the match of another
/// block of the same search, or none (worstBlockScore): a good guess changes the time, never the result.
[[nodiscard]] BlockMatch matchBlockIntegerStep(const BlockSearch& search, const Image& current, const Image& reference,
                                               int64_t x, int64_t y, const BlockMatch& start);

/// The same for any step: the block stays where it is, and every shift samples it anew from current.
[[nodiscard]] BlockMatch matchBlockFractionalStep(const BlockSearch& search, const Image& current,
                                                  const Image& reference, int64_t x, int64_t y,
                                                  const BlockMatch& start);
