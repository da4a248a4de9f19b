#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "align/blocks/row/column_bounds.h"
#include "align/blocks/row/search_plan.h"
#include "imageio/image.h"

// The pixels that neighbouring blocks of a row compare, laid out for the bounds.

/// Neighbouring blocks and the two pictures, still and moving as search_plan.h says.
struct BlockGroup {
    const Image &still, &moving;
    int64_t stillX, stillY, movingX, movingY;  // the corner of the first block in each
    int64_t spacing, count;                    // of the blocks, in both
};

/// How the blocks lie in the strips for one fraction across: block b begins at column b * pitch, in the still strip
/// with its first pixels, in the moving one with the offsets from firstOffset on. Blocks that lie apart move together.
struct StripShape {
    int64_t pixels, firstOffset, reach, pitch, count;

    bool operator==(const StripShape&) const = default;
};
[[nodiscard]] StripShape shapeStrips(const FractionSpan& across, int64_t spacing, int64_t count);

constexpr auto stripMargin = static_cast<int64_t>(MovingPixels::count);  // columns beside the still pixels

/// The blocks of the still picture: block pixel (x, y) of block b is entry y * stride + stripMargin + b * pitch + x.
struct StillStrip {
    StripShape shape = {};
    size_t stride = 0;
    std::vector<uint32_t> factors;
    std::vector<int32_t> norms;
    std::vector<Pixel> row;  // of runs that lie apart in the picture
};
void fillStillStrip(StillStrip& strip, const SearchPlan& plan, const BlockGroup& group, const StripShape& shape);

/// What the shifts of one fraction across look at, the rows of every fraction down below each other: row offset o at
/// fraction f is row zeroRow[f + n] + o, column offset o of block b is column b * pitch + o - firstOffset.
struct MovingStrip {
    int64_t stride = 0;  // columns, a multiple of MovingPixels::count
    int64_t rows = 0;
    std::vector<int64_t> zeroRow;
    std::vector<MovingPixels> prepared;  // all rows of the first columns, then of the next
    std::vector<uint16_t> mixes;         // across, of all rows and the one below
    std::vector<Pixel> lower, upper;     // of one row
};

/// Numbers the rows, which are the same for every fraction across.
void layOutRows(MovingStrip& strip, const SearchPlan& plan);

void fillMovingStrip(MovingStrip& strip, const SearchPlan& plan, const BlockGroup& group, const StripShape& shape,
                     int32_t fraction);
