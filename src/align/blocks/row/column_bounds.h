#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "imageio/image.h"

// Lower bounds of what pairs of pixels cost, by a few operations a pair: enough to rule most shifts of a block out.
//
// Where pixel a of a picture that stays where it is (still) faces pixel b of one that takes many places (moving), the
// difference d of a pair's cost is |a|^2 - 2ab + |b|^2. The squares are summed once a pixel (norms), so that a pair
// costs a product of four bytes a side (factors) and two additions. The bytes on one side must have a sign and fit the
// other's weights of 4, so green and red, which are flat nearly everywhere in gradient images, are clipped to 96 to
// 159; clipping both sides never makes d larger. Blue keeps its range. With k d^2 + d for the cost and 2 k 127 < 1,
//     k (d + 127)^2 - k 127^2 <= cost,
// so the squares of e = d + 127 are all that is summed. A pixel without data has a norm so far below zero that e, which
// is never taken below 127, counts as nothing.

constexpr int32_t squareOffset = 127;  // what e has more than d
constexpr int32_t maskedNorm = -(1 << 28);
constexpr int32_t middleGradient = 128, lowestGradient = -32, highestGradient = 31;  // of green and red, as clipped

/// Sixteen neighbouring pixels of a moving picture.
struct alignas(64) MovingPixels {
    static constexpr size_t count = 16;
    uint32_t factors[count];
    int32_t norms[count];
};

/// Prepares pixels of a still picture.
using PrepareStill = void (*)(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms);

/// Prepares pixels of a moving picture, as many as fill records, which lie stride apart.
using PrepareMoving = void (*)(const Pixel* pixels, size_t count, MovingPixels* moving, size_t stride);

/// Block rows whose squares are summed together at a run of shifts.
constexpr size_t runRows = 4;

/// Sixteen columns of still pixels, rows apart by stride, and where their rows face a moving picture at several shifts:
/// row y at shift s is moving[movingRows[y * shifts + s]]. Runs, which kernels of column_bounds may use: from shift s
/// on, runs[g * shifts + s] shifts, 0 or more, show the runRows rows from g * runRows on one moving row further each,
/// so that they share what they look at.
struct FacingColumns {
    const uint32_t* factors;
    const int32_t* norms;
    size_t stride, rows;
    const MovingPixels* moving;
    const int32_t *movingRows, *runs;
    size_t shifts;
};

/// The sums of e^2 down each column, for each shift: of column i at shift s, sums[s * sumStride + i].
using SumColumns = void (*)(const FacingColumns& columns, float* sums, size_t sumStride);

/// Adds the sums of count columns at a time to totals: of row r, whose columns start at sums + r * sumStride, to
/// totals[r].
using AddRuns = void (*)(const float* sums, size_t sumStride, size_t count, float* totals, size_t rows);

/// Two rows of mixes (level_mixing.h) and what is mixed from them: a row of records for each fraction down, in n-ths.
struct MixedRow {
    int32_t fraction;
    MovingPixels* to;
};
struct RowPair {
    const uint16_t *above, *below;
    bool inside;  // no mix across leaves the levels
    std::span<const MixedRow> rows;
};

/// Mixes count pixels down and prepares them, as many as fill records, which lie stride apart, for n up to
/// largestShortN. A pixel that leaves 0 to 255 in any channel has no data.
using MixRows = void (*)(const RowPair& pair, size_t count, int32_t n, size_t stride);

struct ColumnKernel {
    PrepareStill prepareStill;
    PrepareMoving prepareMoving;
    SumColumns sumColumns;
    AddRuns addRuns;
    MixRows mixRows;  // null: rows are mixed down first, then prepared
};

void prepareStillPlain(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms);

/// The version of the vector level in use.
[[nodiscard]] const ColumnKernel& columnKernel();

/// Blocks are at most so many pixels a side for their sums of squares to be rounded few times.
constexpr int64_t blockSizeLimit = 96;

/// The limit of the sum of squares of that many pairs: what lies above it, summed in single precision by the kernels,
/// has exact costs that sum up to more than costLimit.
[[nodiscard]] double findSquaresLimit(double costLimit, int64_t pairs);
