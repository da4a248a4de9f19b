#pragma once

#include <cstdint>
#include <vector>

#include "align/blocks/row/group_bounds.h"

/// Memory that shifts are scored in, kept from block to block; empty at first.
struct ScoringWork {
    std::vector<int32_t> columns;         // of the moving picture, of one shift across
    std::vector<Pixel> still, candidate;  // the pixels of a block, row after row
    std::vector<uint16_t> mixes;          // of a piece of a block: across, and the row below
    std::vector<Pixel> lower, upper;      // its levels
    std::vector<float> lowest;            // bound of each shift across
};

/// The matches of the blocks of a group, one a block: the shifts that their sums of squares leave are scored exactly,
/// the likeliest ones first, whose sums are used up.
void chooseShifts(ScoringWork& work, const SearchPlan& plan, const BlockGroup& group, GroupBounds& bounds,
                  BlockMatch* matches);
