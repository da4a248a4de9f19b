#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <vector>

#include "align/blocks/block_matching.h"
#include "align/blocks/block_run.h"
#include "align/blocks/block_samples.h"
#include "align/global/row_sampling.h"

namespace {

// What the matching of one block works with.
struct FractionalMatching {
    const BlockSearch& search;
    const Image& current;
    const Image& reference;
    Block block;
    float ceiling;              // a score that some shift reaches
    bool facesReference;        // the whole block does
    std::vector<Pixel> facing;  // then: the reference pixels that face it, one run
    Image pixels;               // the block as last sampled
};

// The next value of a running shift; beyond last when the step does not change it.
double advance(double shift, double step, double last) {
    return shift + step == shift ? last + 1.0 : shift + step;
}

void sampleBlockRow(const FractionalMatching& matching, const AxisSamples& columns, const AxisSamples& rows,
                    size_t by) {
    fastestSampling().sampleFractions(matching.current, columns.position.data(), columns.fraction.data(),
                                      rows.position[by], rows.fraction[by],
                                      rowOf(matching.pixels, static_cast<int64_t>(by)), columns.position.size());
}

float scoreSampledBlock(const FractionalMatching& matching) {
    return measurePlacement(matching.pixels, matching.reference, -matching.block.facingX, -matching.block.facingY);
}

// Any step: every shift samples the block row by row, until it has lost when all of the block faces the reference.
void takeShiftByRows(const FractionalMatching& matching, BlockMatch& best, double dx, double dy) {
    const Block& block = matching.block;
    AxisSamples columns, rows;
    sampleAxis(columns, block.cornerX, block.size, static_cast<float>(dx));
    sampleAxis(rows, block.cornerY, block.size, static_cast<float>(dy));
    const double largestSum = findLargestSum(block, best.score, matching.ceiling);
    double sum = 0.0;
    for (size_t by = 0; by < rows.position.size(); ++by) {
        sampleBlockRow(matching, columns, rows, by);
        if (!matching.facesReference) continue;
        const int64_t first = static_cast<int64_t>(by) * block.size;
        if (!staysWithin(sum, largestSum, matching.pixels.pixels + first, matching.facing.data() + first, block.size)) {
            return;
        }
    }
    takeBetter(best, scoreSampledBlock(matching), dx, dy);
}

// The block of one shift across, for all shifts down: strips of block rows for each fraction down, put together from
// patches when first asked for.
struct Strip {
    bool made = false;
    int64_t top = 0;  // offset of its first row from the block's corner
    std::vector<Pixel> pixels;
};
using Strips = std::array<Strip, 7>;

void makeStrip(Strip& strip, BlockPatches& patches, std::span<const AxisPiece> columns, size_t fractionY,
               int64_t size) {
    for (const AxisPiece& piece : columns) {
        if (piece.count == 0) continue;
        const Patch& patch = patchOf(patches, piece.fraction, fractionY);
        const int64_t height = static_cast<int64_t>(patch.pixels.size()) / patch.stride;  // the same for every piece
        strip.top = patch.top;
        strip.pixels.resize(static_cast<size_t>(height * size));
        const Pixel* from = patch.pixels.data() + (piece.index - patch.left);
        Pixel* to = strip.pixels.data() + piece.first;
        for (int64_t row = 0; row < height; ++row, from += patch.stride, to += size) {
            std::copy_n(from, piece.count, to);
        }
    }
    strip.made = true;
}

// Steps of whole quarters: the block of a shift down is one piece or two of strips that the shifts share.
void takeShiftByStrips(const FractionalMatching& matching, Strips& strips, BlockPatches& patches,
                       std::span<const AxisPiece> columns, BlockMatch& best, double dx, double dy) {
    const int64_t size = matching.block.size;
    const double largestSum = findLargestSum(matching.block, best.score, matching.ceiling);
    const auto rows = cutIntoPieces(size, dy);
    std::array<const Pixel*, 2> runs{};
    double sum = 0.0;
    for (size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].count == 0) continue;
        Strip& strip = strips[rows[i].fraction];
        if (!strip.made) makeStrip(strip, patches, columns, rows[i].fraction, size);
        runs[i] = strip.pixels.data() + (rows[i].index - strip.top) * size;
        const Pixel* facing = matching.facing.data() + rows[i].first * size;
        if (!staysWithin(sum, largestSum, runs[i], facing, rows[i].count * size)) return;
    }
    CostSum exact;
    for (size_t i = 0; i < rows.size(); ++i) {
        const Pixel* facing = matching.facing.data() + rows[i].first * size;
        addPairs(exact, runs[i], facing, static_cast<size_t>(rows[i].count * size));
    }
    takeBetter(best, computeScore(exact, size * size), dx, dy);
}

BlockPatches surroundBlock(const FractionalMatching& matching) {
    const BlockSearch& search = matching.search;
    const Block& block = matching.block;
    return {.source = matching.current,
            .cornerX = block.cornerX,
            .cornerY = block.cornerY,
            .leftmost = std::min<int64_t>(-int64_t{search.shiftMaxX}, 0),
            .rightmost = block.size - 1 - search.shiftMinX,
            .topmost = std::min<int64_t>(-int64_t{search.shiftMaxY}, 0),
            .bottommost = block.size - 1 - search.shiftMinY};
}

BlockMatch findBestShift(const FractionalMatching& matching) {
    const BlockSearch& search = matching.search;
    const double step = static_cast<double>(search.shiftStep);
    const bool byStrips = matching.facesReference && hasQuarterFractions(step);
    BlockPatches patches = surroundBlock(matching);
    Strips strips;
    BlockMatch best = noBlockMatch;
    for (double dx = search.shiftMinX; dx <= search.shiftMaxX; dx = advance(dx, step, search.shiftMaxX)) {
        const auto columns = cutIntoPieces(matching.block.size, dx);
        for (Strip& strip : strips) strip.made = false;
        for (double dy = search.shiftMinY; dy <= search.shiftMaxY; dy = advance(dy, step, search.shiftMaxY)) {
            if (byStrips) {
                takeShiftByStrips(matching, strips, patches, columns, best, dx, dy);
            } else {
                takeShiftByRows(matching, best, dx, dy);
            }
        }
    }
    return best;
}

}  // namespace

BlockMatch matchBlockFractionalStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                    int64_t y, const BlockMatch& start) {
    if (!hasShifts(search)) return noBlockMatch;
    const Block block = makeBlock(search, current, reference, x, y);
    if (block.size == 0) return matchEmptyBlock(search);
    FractionalMatching matching = {
        .search = search,
        .current = current,
        .reference = reference,
        .block = block,
        .ceiling = worstBlockScore,
        .facesReference = liesInside(reference, block.facingX, block.facingY, block.size, block.size),
        .facing = {},
        .pixels = makeUnfilledImage(block.size, block.size)};
    if (matching.facesReference) {
        matching.facing.resize(static_cast<size_t>(block.size * block.size));
        cutRun(reference, block.facingX, block.facingY, block.size, block.size, matching.facing.data());
    }
    if (start.score < worstBlockScore) {
        BlockMatch reached = noBlockMatch;
        takeShiftByRows(matching, reached, static_cast<double>(start.x), static_cast<double>(start.y));
        matching.ceiling = reached.score;
    }
    const BlockMatch best = findBestShift(matching);
    releaseImage(matching.pixels);
    return best;
}
