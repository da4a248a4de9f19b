#pragma once

#include <cstdint>

#include "align/blocks/block_grid.h"
#include "align/blocks/block_matching.h"
#include "imageio/image.h"

/// The matches of neighbouring blocks of one row of the layout, at whole steps: as matchBlockIntegerStep gives them one
/// by one, but every shift is estimated for all of them in one pass over their rows. firstX and y are the position of
/// the first block, spacing the way to the next, all within the picture (canMatchBlockRow).
void matchBlockRow(const BlockSearch& search, const Image& current, const Image& reference, int64_t firstX, int64_t y,
                   int64_t spacing, int64_t count, BlockMatch* matches);

/// Whether those blocks and their search areas lie in the two pictures, the shifts are few enough for a table, and the
/// blocks dense enough to gain by it.
[[nodiscard]] bool canMatchBlockRow(const BlockSearch& search, const Image& current, const Image& reference,
                                    int64_t firstX, int64_t y, int64_t spacing, int64_t count);
