#pragma once

#include <cstdint>

#include "align/blocks/block_search.h"
#include "align/blocks/row/group_bounds.h"
#include "align/blocks/row/search_plan.h"
#include "align/blocks/row/shift_choice.h"
#include "imageio/image.h"

// The blocks of a row matched together, in groups: what the shifts look at is planned once (search_plan), the pixels
// are laid out in strips (strips, level_mixing), every shift of every block gets a lower bound of its cost
// (group_bounds on column_bounds or open_bounds), and the few shifts that remain are scored (shift_choice).

/// A search planned, and the memory that it works in.
struct RowMatching {
    SearchPlan plan;
    GroupBounds bounds;
    ScoringWork scoring;
};
[[nodiscard]] RowMatching prepareRowMatching(const BlockSearch& search);

/// Neighbouring blocks of one row of the layout: the position of the first one in the current image, the way to the
/// next.
struct BlockRow {
    int64_t firstX, y;
    int64_t spacing, count;
};

/// The matches of these blocks, one a block. A block whose search area would leave the reference stays unmatched.
/// Neighbours share their work where they can.
void matchBlockRow(RowMatching& matching, const Image& current, const Image& reference, const BlockRow& row,
                   BlockMatch* matches);
