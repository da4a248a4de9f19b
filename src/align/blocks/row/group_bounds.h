#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "align/blocks/row/search_plan.h"
#include "align/blocks/row/strips.h"

/// The sums of squares (column_bounds.h, open_bounds.h) of every block of a group at every shift, and the memory they
/// are made in, which is kept from group to group; empty at first.
struct GroupBounds {
    StillStrip still;
    MovingStrip moving;
    std::vector<size_t> downShifts;   // of each place among the sums, the shift down: those of one fraction together
    std::vector<size_t> downPlaces;   // of each shift down, its place
    std::vector<int32_t> movingRows;  // of every row of a block and place down, the first row of a block first
    std::vector<int32_t> runs;        // of every four rows of a block and place down
    std::vector<float> columnSums;    // of one shift across
    std::vector<float> squares;       // by block, then by shift across, then by place down
};

/// Gets ready for the groups of a search.
void prepareBounds(GroupBounds& bounds, const SearchPlan& plan);

/// The blocks of a search that are bounded together at most, for what one shift looks at to stay close to the
/// processor.
[[nodiscard]] int64_t countGroupBlocks(const SearchPlan& plan);

/// Whether the strips of so many blocks are small enough.
[[nodiscard]] bool fitsStrips(const GroupBounds& bounds, const SearchPlan& plan, int64_t spacing, int64_t count);

void boundGroup(GroupBounds& bounds, const SearchPlan& plan, const BlockGroup& group);
