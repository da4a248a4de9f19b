#pragma once

#include <cstdint>

#include "align/blocks/block_search.h"
#include "align/measure/difference.h"
#include "imageio/image.h"

// What all ways of matching a block share. A shift is scored exactly only when an estimate cannot rule it out.

/// A block of the current image and what it faces when nothing is shifted.
struct Block {
    int64_t size;              // pixels a side
    int64_t cornerX, cornerY;  // in the current image
    int64_t facingX, facingY;  // in the reference
};

[[nodiscard]] Block makeBlock(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                              int64_t y);

[[nodiscard]] bool hasShifts(const BlockSearch& search);

/// The match of a block without pixels: every shift scores the same, so it is the first one.
[[nodiscard]] BlockMatch matchEmptyBlock(const BlockSearch& search);

/// Whether blocks are matched at whole steps: the step is its own integer part.
[[nodiscard]] bool isWholeStep(float step);

/// The next value of a running whole shift, cut to a whole number of single precision; beyond last when the step does
/// not change it or leads out of 32 bits.
[[nodiscard]] int64_t advanceWhole(int64_t shift, float step, int64_t last);

/// Whether that rectangle lies in the picture.
[[nodiscard]] bool liesInside(const Image& image, int64_t x, int64_t y, int64_t width, int64_t height);

/// Copies the square of size pixels a side from (x, y) on, row by row without gaps; beside the picture there is no
/// data.
void cutBlock(const Image& image, int64_t x, int64_t y, int64_t size, Pixel* pixels);

/// The sum of estimates (of staysWithin) beyond which a shift of the block scores above the lower one of two scores.
[[nodiscard]] double findLargestSum(const Block& block, float best, float ceiling);

/// Adds the estimated costs of a run of pairs to sum and returns whether it stays within largestSum.
[[nodiscard]] bool staysWithin(double& sum, double largestSum, const Pixel* a, const Pixel* b, int64_t count);

/// The better one of best and a score at that shift, the former when they are equal.
void takeBetter(BlockMatch& best, float score, double dx, double dy);
