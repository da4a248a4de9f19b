#pragma once

#include <cstdint>

#include "align/blocks/block_search.h"
#include "imageio/image.h"

/// Pixels, in the sense of BlockMatch.
struct Displacement {
    float x, y;
};

/// The displacements of the blocks: that of block (i, j) is entry j * columns + i. The grid owns the array;
/// makeBlockGrid makes it, releaseBlockGrid releases it.
struct BlockGrid {
    Displacement* displacements = nullptr;
    int32_t columns = 0, rows = 0;
};

/// Where the blocks lie: column i at x = firstX + i * spacing, row j alike, each with its search area inside the
/// picture.
struct BlockLayout {
    int64_t firstX, firstY;
    int64_t spacing;  // pixels, above 0
    int64_t columns, rows;
};

[[nodiscard]] BlockLayout layOutBlocks(const BlockSearch& search, int32_t spacing, const Image& image);

/// A grid for that layout, its entries not set yet. Stops the run when memory is short.
[[nodiscard]] BlockGrid makeBlockGrid(const BlockLayout& layout);
void releaseBlockGrid(BlockGrid& grid);

// The displacement at a pixel is linear between the blocks' anchors. Block column i is anchored at (i + 0.5) * spacing,
// row j alike, which is not where the blocks lie; beyond the outer anchors the outer block's value holds.

/// Where a pixel lies on one axis: between the anchors of blocks near and far, at fraction of the way. With an odd
/// spacing fractions begin a little below 0.
struct BlockCell {
    int64_t near, far;
    float fraction;
};
[[nodiscard]] BlockCell findBlockCell(int32_t position, int32_t spacing, int32_t blocks);

/// The displacements of the four blocks around a cell.
struct CellDisplacements {
    Displacement topLeft, topRight, bottomLeft, bottomRight;
};
[[nodiscard]] CellDisplacements findCorners(const BlockGrid& grid, const BlockCell& column, const BlockCell& row);

/// Their mix in single precision: the weights first, then the terms in the order of the corners.
[[nodiscard]] inline Displacement mixDisplacements(const CellDisplacements& corners, float fx, float fy) {
    const float topLeft = (1.0f - fx) * (1.0f - fy), topRight = fx * (1.0f - fy);
    const float bottomLeft = (1.0f - fx) * fy, bottomRight = fx * fy;
    return {topLeft * corners.topLeft.x + topRight * corners.topRight.x + bottomLeft * corners.bottomLeft.x +
                bottomRight * corners.bottomRight.x,
            topLeft * corners.topLeft.y + topRight * corners.topRight.y + bottomLeft * corners.bottomLeft.y +
                bottomRight * corners.bottomRight.y};
}
