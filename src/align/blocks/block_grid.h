#pragma once

#include <cstdint>

#include "align/blocks/block_matching.h"
#include "imageio/image.h"

/// One result a block: block (i, j) is entry j * columns + i. Displacements are pixels, in the sense of BlockMatch. The
/// grid owns its arrays; makeBlockGrid makes them, releaseBlockGrid releases them.
struct BlockGrid {
    float* displacementX = nullptr;
    float* displacementY = nullptr;
    float* score = nullptr;  // unmatchedBlockScore: the block was not matched
    int32_t columns = 0, rows = 0;
};
constexpr float unmatchedBlockScore = -10.0f;

/// Where the blocks lie: column i at x = firstX + i * spacing, row j alike, each with its search area inside the picture.
struct BlockLayout {
    int64_t firstX, firstY;
    int64_t spacing;  // pixels, above 0
    int64_t columns, rows;
};

[[nodiscard]] BlockLayout layOutBlocks(const BlockSearch& search, int32_t gridWidth, const Image& image);

/// A grid for that layout, its entries not set yet. Stops the run when memory is short.
[[nodiscard]] BlockGrid makeBlockGrid(const BlockLayout& layout);
void releaseBlockGrid(BlockGrid& grid);

struct Displacement {
    float x, y;
};

/// The displacement at pixel (x, y), linear between the blocks' anchors. Block column i is anchored at (i + 0.5) * stepX,
/// row j alike, which is not where the blocks lie; beyond the outer anchors the outer block's value holds. The grid has
/// at least one block.
[[nodiscard]] Displacement interpolateDisplacement(const BlockGrid& grid, int32_t x, int32_t y, int32_t stepX,
                                                   int32_t stepY);
