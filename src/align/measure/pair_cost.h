#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "imageio/image.h"

/// A facing pair without data on either side costs half of this.
constexpr float maskedPixelCost = 0.01f;

/// 1 / 255 in single precision: how the square of d weighs in a pair's cost.
constexpr float squareWeight = 0.003921569f;

/// What the facing pairs of one row cost. The sum runs over the pairs with data on both sides: each costs
/// d + d x d x squareWeight in single precision, where d = blue difference squared + 4 x (green and red differences
/// squared). Every such cost is 0, or a multiple of 2^-23 from 1 on: below 2^30 a double holds any sum of them exactly,
/// so the order of the additions changes nothing, and every version below gives the same bits.
struct RowCost {
    double sum = 0.0;
    int64_t maskedPairs = 0;  // pairs with no data on one side
};

/// From here on RowCost::sum may be rounded.
constexpr double exactSumLimit = 1 << 30;

/// The cost of count pairs (a[i], b[i]).
using SumRow = RowCost (*)(const Pixel* a, const Pixel* b, size_t count);

/// About the sum of the same costs: RowCost::sum with a relative error below estimateError. Faster than the exact sum,
/// and enough to see that a placement loses.
using EstimateRow = double (*)(const Pixel* a, const Pixel* b, size_t count);
constexpr double estimateError = 0x1p-16;

/// What a sum of estimates must exceed a limit by, as a factor, so that the exact score lies above the limit's: the
/// error of the estimates, and as much again, which covers the roundings of score and pair count, 2^-24 each.
constexpr double estimateMargin = 1.0 + 2.0 * estimateError;

/// What a sum of estimates must exceed another by, as a factor, so that its exact score is the higher one: the errors
/// of both, and as much again for the roundings.
constexpr double comparisonMargin = 1.0 + 4.0 * estimateError;

struct RowKernel {
    SumRow sumRow;
    EstimateRow estimateRow;
};

/// The version of the vector level in use.
[[nodiscard]] const RowKernel& rowKernel();
