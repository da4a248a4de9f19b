#pragma once

#include <cstdint>
#include <vector>

#include "align/blocks/block_search.h"
#include "align/blocks/row/strips.h"
#include "imageio/image.h"

/// Neighbouring blocks of one row of the layout: the position of the first one in the current image, the way to the
/// next.
struct BlockGroup {
    int64_t firstX, y;
    int64_t spacing, count;
};

/// Memory that the matching of groups works in, kept from group to group; empty at first.
struct GroupWork {
    StillStrip still;
    MovingStrip moving;
    std::vector<int32_t> movingRows;      // of every row of a block and shift down, the first one of a block outermost
    std::vector<float> columnSums;        // of one shift across
    std::vector<float> squares;           // by block, then by shift across, then down
    std::vector<Pixel> block, candidate;  // what is scored, as runs
};

/// Whether the blocks of a group can be matched together: the step is whole or a multiple of a quarter, the shifts are
/// not too many, and everything that they look at lies in the two pictures.
[[nodiscard]] bool canMatchGroup(const BlockSearch& search, const Image& current, const Image& reference,
                                 const BlockGroup& group);

/// The matches of such a group, one a block, as the matchers give them one by one. Each shift is tried for all blocks
/// at once by lower bounds (column_bounds.h), which leave few shifts to score.
void matchGroup(GroupWork& work, const BlockSearch& search, const Image& current, const Image& reference,
                const BlockGroup& group, BlockMatch* matches);
