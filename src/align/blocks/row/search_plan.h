#pragma once

#include <cstdint>
#include <vector>

#include "align/blocks/block_samples.h"
#include "align/blocks/block_search.h"

// What the shifts of a search look at, the same for every block: planned once, for all rows of blocks.
//
// Still and moving. A block faces many places of one of the two pictures, which is called moving here; what stays of
// the other one is called still. AT WHOLE STEPS THE MOVING PICTURE IS THE REFERENCE AND AT FRACTIONAL STEPS IT IS THE
// CURRENT IMAGE: at whole steps a block is cut from the current image once and faces the reference in other places, at
// fractional steps it is sampled anew from the current image at every shift and faces the same place of the reference.
//
// Fractions. With a step of k/n pixels every block pixel shows the current image at a whole offset plus a fraction that
// is, but for the roundings of the running shift and of the offset, a multiple of 1/n. Then many shifts show the same
// samples in other places, and only n fractions occur on each axis, n more before the block's corner, where offsets are
// cut toward zero and fractions are negative.

constexpr int32_t largestFractionsPerPixel = 20;  // n

/// Pixels first to first + count - 1 of a block, which show consecutive pixels of the moving picture: the first one
/// that at offset index from the block's corner, all plus fraction / n. Fraction -n to -1 before the corner, 0 to n - 1
/// else.
struct AxisPiece {
    int64_t first = 0, count = 0;
    int64_t index = 0;
    int32_t fraction = 0;
};

/// One shift of an axis: the pieces before the block's corner and behind it, either of which may be empty, and at
/// fractional steps the samples as the definition has them.
struct AxisShift {
    double shift = 0.0;
    AxisPiece before = {}, behind = {};
    AxisSamples samples = {};  // of samplesPerBlock pixels
};

/// What the pieces of one fraction have in common: the block pixels from the first one on and the offsets that they
/// span.
struct FractionSpan {
    int32_t fraction = 0;
    int64_t pixels = 0;
    int64_t firstOffset = 0, lastOffset = 0;
};

/// All shifts of an axis in the order of the search, the fractions that occur, ascending, and the offsets of them all.
struct ShiftAxis {
    std::vector<AxisShift> shifts;
    std::vector<FractionSpan> fractions;
    int64_t firstOffset = 0, lastOffset = 0;
};

struct SearchPlan {
    BlockSearch search = {};
    int64_t size = 0;             // of a block, pixels a side
    int64_t samplesPerBlock = 0;  // of an axis: some more, so that they fill vectors
    bool sampled = false;         // fractional steps: the current image is the moving one
    // n, 1 when nothing is mixed; 0: there is none up to largestFractionsPerPixel, or the search is too large.
    int32_t fractionsPerPixel = 0;
    bool exact = false;  // fractions and samples are exactly those of the definition, nothing is rounded
    ShiftAxis across, down;
};

[[nodiscard]] SearchPlan planSearch(const BlockSearch& search);
