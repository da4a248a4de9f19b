#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "align/blocks/row/column_bounds.h"
#include "align/blocks/row/quarter_samples.h"
#include "imageio/image.h"

// The pixels that a group of blocks compares, laid out for column bounds.

/// What a group compares. One of the two pictures stays where it is (still), the other one takes many places (moving):
/// at whole steps the current image faces the reference in other places, at others the reference faces the current
/// image sampled anew.
struct GroupPlan {
    const Image &still, &moving;
    int64_t stillX, stillY, movingX, movingY;  // the corner of the first block in each
    int64_t size;                              // pixels a side of a block
    int64_t spacing, count;                    // of the blocks, in both
    // The offsets from a block's corner that the shifts look at in the moving picture; to sample them, one more.
    int64_t leftmost, rightmost, topmost, bottommost;
    bool sampled;
};

/// The way from one block to the next in the strips: as in the pictures, less what lies between far blocks.
[[nodiscard]] int64_t computePitch(const GroupPlan& plan);

constexpr auto stripMargin = static_cast<int64_t>(MovingPixels::count);  // columns beside the still pixels

/// The blocks of the still picture: block pixel (x, y) of block b is entry y * stride + stripMargin + b * pitch + x.
struct StillStrip {
    size_t stride = 0;
    std::vector<uint32_t> factors;
    std::vector<int32_t> norms;
};
void fillStillStrip(StillStrip& strip, const GroupPlan& plan);

/// What the shifts look at, by the fraction across, the rows of every fraction down below each other: row offset o at
/// fraction f is row zeroRow[f] + o, column offset o of block b is column b * pitch + o - leftmost.
struct MovingStrip {
    int64_t stride = 0;  // a multiple of MovingPixels::count
    int64_t rows = 0;
    std::array<int64_t, fractionCount> zeroRow = {};
    std::array<std::vector<Pixel>, fractionCount> pixels;           // row by row
    std::array<std::vector<MovingPixels>, fractionCount> prepared;  // the same, all rows of the first columns first
};
using Fractions = std::array<bool, fractionCount>;
void fillMovingStrip(MovingStrip& strip, const GroupPlan& plan, const Fractions& across, const Fractions& down);
