#pragma once

#include <cstdint>

#include "align/blocks/block_search.h"
#include "imageio/image.h"

// One block by itself: for steps whose fractions have no common measure, for blocks at the border and for large ones.

/// The shift at which the block of current around (x, y) fits reference best, the first of equal ones, x before y. Both
/// are gradient images. For whole steps: only the block's place in the reference changes.
[[nodiscard]] BlockMatch matchBlockIntegerStep(const BlockSearch& search, const Image& current, const Image& reference,
                                               int64_t x, int64_t y);

/// The same for any step: the block stays where it is, and every shift samples it anew from current. start is the match
/// of another block of the same search, or noBlockMatch: a good guess changes the time, never the result.
[[nodiscard]] BlockMatch matchBlockFractionalStep(const BlockSearch& search, const Image& current,
                                                  const Image& reference, int64_t x, int64_t y,
                                                  const BlockMatch& start);
