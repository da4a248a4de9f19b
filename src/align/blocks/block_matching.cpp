#include "align/blocks/block_matching.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <vector>

#include "align/blocks/block_samples.h"
#include "align/global/difference.h"
#include "align/global/pair_cost.h"
#include "align/global/row_sampling.h"

namespace {

// The pixels of a block and those that face it lie in runs without gaps, whatever their rows in the pictures: a block's
// rows are too short to fill wide vectors one by one. A shift is scored exactly only when an estimate cannot rule it
// out.

// What a sum of estimates must exceed its limit by so that the exact score is above it.
constexpr double estimateMargin = 1.0 + 2.0 * estimateError;

constexpr int64_t pairsPerLook = 144;  // between two looks at whether a shift has lost

struct Block {
    int64_t size;              // pixels a side
    int64_t cornerX, cornerY;  // in the current image
    int64_t facingX, facingY;  // the reference pixel that faces the corner when nothing is shifted
};

Block makeBlock(const BlockSearch& search, const Image& current, const Image& reference, int64_t x, int64_t y) {
    const int64_t cornerX = x - search.searchWidth, cornerY = y - search.searchWidth;
    return {.size = std::max<int64_t>(2 * int64_t{search.searchWidth} + 1, 0),
            .cornerX = cornerX,
            .cornerY = cornerY,
            .facingX = cornerX - current.originX + reference.originX,
            .facingY = cornerY - current.originY + reference.originY};
}

bool hasShifts(const BlockSearch& search) {
    return search.shiftMinX <= search.shiftMaxX && search.shiftMinY <= search.shiftMaxY;
}

// A picture to hold the block.
Image makeBlockImage(const Block& block) {
    return makeUnfilledImage(block.size, block.size);
}

bool liesInside(const Image& image, int64_t x, int64_t y, int64_t width, int64_t height) {
    return x >= 0 && x + width <= image.width && y >= 0 && y + height <= image.height;
}

// The picture from (x, y) on, width x height pixels, as one run; beside the picture there is no data.
void cutRun(const Image& image, int64_t x, int64_t y, int64_t width, int64_t height, Pixel* run) {
    for (int64_t v = y; v < y + height; ++v, run += width) {
        if (liesInside(image, x, v, width, 1)) {
            std::copy_n(rowOf(image, v) + x, width, run);
            continue;
        }
        for (int64_t u = 0; u < width; ++u)
            run[u] = liesInside(image, x + u, v, 1, 1) ? rowOf(image, v)[x + u] : Pixel{};
    }
}

// Adds the estimated costs of a run of pairs to sum and returns whether it stays within largestSum.
bool staysWithin(double& sum, double largestSum, const Pixel* a, const Pixel* b, int64_t count) {
    const EstimateRow estimateRow = fastestRowKernel().estimateRow;
    for (int64_t i = 0; i < count; i += pairsPerLook) {
        sum += estimateRow(a + i, b + i, static_cast<size_t>(std::min(pairsPerLook, count - i)));
        if (sum > largestSum) return false;
    }
    return true;
}

// The sum of estimates beyond which a shift scores above the best so far, or above the score known to be reached.
double findLargestSum(const Block& block, const BlockMatch& best, float ceiling) {
    return static_cast<double>(std::min(best.score, ceiling)) * estimateMargin *
           static_cast<double>(block.size * block.size);
}

// The score of the block's pixels where they face the reference moved by (dx, dy).
float scoreBlock(const Block& block, const Image& pixels, const Image& reference, int64_t dx, int64_t dy) {
    return measurePlacement(pixels, reference, -(block.facingX + dx), -(block.facingY + dy));
}

void takeBetter(BlockMatch& best, float score, double dx, double dy) {
    if (score < best.score) best = {score, static_cast<float>(dx), static_cast<float>(dy)};
}

// The next value of a running shift; one past the end when the step no longer changes it.
double advance(double shift, double step, double last) {
    return shift + step == shift ? last + 1.0 : shift + step;
}

// The block of one shift across, for all fractions down: strips of block rows, put together from patches.
struct Strips {
    struct Strip {
        bool made = false;
        int64_t top = 0;
        std::vector<Pixel> pixels;
    };
    std::array<Strip, 7> byFraction;
};

const Pixel* stripFrom(Strips& strips, BlockPatches& patches, std::span<const AxisPiece> columns, int64_t size,
                       const AxisPiece& rows) {
    Strips::Strip& strip = strips.byFraction[rows.fraction];
    if (!strip.made) {
        for (const AxisPiece& piece : columns) {
            if (piece.count == 0) continue;
            const Patch& patch = patchOf(patches, piece.fraction, rows.fraction);
            const int64_t height = static_cast<int64_t>(patch.pixels.size()) / patch.stride;  // the same for all pieces
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
    return strip.pixels.data() + (rows.index - strip.top) * size;
}

// What the matching of one block at fractional steps works with.
struct FractionalMatching {
    const BlockSearch& search;
    const Image& current;
    const Image& reference;
    Block block;
    bool facesReference;        // the whole block does
    Image pixels;               // the block as last sampled
    std::vector<Pixel> facing;  // the reference pixels that face it, when all do
};

// One row of the block moved by a shift.
void sampleBlockRow(const FractionalMatching& matching, const AxisSamples& columns, const AxisSamples& rows,
                    size_t by) {
    const Block& block = matching.block;
    fastestSampling().sampleFractions(
        matching.current, columns.position.data(), columns.fraction.data(), rows.position[by], rows.fraction[by],
        rowOf(matching.pixels, static_cast<int64_t>(by)), static_cast<size_t>(block.size));
}

float scoreShift(const FractionalMatching& matching, float dx, float dy) {
    const Block& block = matching.block;
    AxisSamples columns, rows;
    sampleAxis(columns, block.cornerX, block.size, dx);
    sampleAxis(rows, block.cornerY, block.size, dy);
    for (size_t by = 0; by < rows.position.size(); ++by) sampleBlockRow(matching, columns, rows, by);
    return scoreBlock(block, matching.pixels, matching.reference, 0, 0);
}

// Steps of whole quarters: every shift is first estimated from strips of samples that the shifts share.
BlockMatch matchByPatches(const FractionalMatching& matching, float ceiling) {
    const BlockSearch& search = matching.search;
    const int64_t size = matching.block.size;
    BlockPatches patches = {.source = matching.current,
                            .cornerX = matching.block.cornerX,
                            .cornerY = matching.block.cornerY,
                            .leftmost = std::min<int64_t>(-int64_t{search.shiftMaxX}, 0),
                            .rightmost = size - 1 - search.shiftMinX,
                            .topmost = std::min<int64_t>(-int64_t{search.shiftMaxY}, 0),
                            .bottommost = size - 1 - search.shiftMinY};
    const double step = static_cast<double>(search.shiftStep);
    BlockMatch best = noBlockMatch;
    Strips strips;
    for (double dx = search.shiftMinX; dx <= search.shiftMaxX; dx = advance(dx, step, search.shiftMaxX)) {
        const auto columns = cutIntoPieces(size, dx);
        for (Strips::Strip& strip : strips.byFraction) strip.made = false;
        for (double dy = search.shiftMinY; dy <= search.shiftMaxY; dy = advance(dy, step, search.shiftMaxY)) {
            const double largestSum = findLargestSum(matching.block, best, ceiling);
            double sum = 0.0;
            bool lost = false;
            for (const AxisPiece& piece : cutIntoPieces(size, dy)) {
                if (piece.count == 0 || lost) continue;
                const Pixel* strip = stripFrom(strips, patches, columns, size, piece);
                lost = !staysWithin(sum, largestSum, strip, matching.facing.data() + piece.first * size,
                                    piece.count * size);
            }
            if (!lost) takeBetter(best, scoreShift(matching, static_cast<float>(dx), static_cast<float>(dy)), dx, dy);
        }
    }
    return best;
}

// Any step: every shift samples the block row by row, until it has lost when all of the block faces the reference.
BlockMatch matchByRows(const FractionalMatching& matching, float ceiling) {
    const BlockSearch& search = matching.search;
    const Block& block = matching.block;
    const double step = static_cast<double>(search.shiftStep);
    BlockMatch best = noBlockMatch;
    AxisSamples columns, rows;
    for (double dx = search.shiftMinX; dx <= search.shiftMaxX; dx = advance(dx, step, search.shiftMaxX)) {
        sampleAxis(columns, block.cornerX, block.size, static_cast<float>(dx));
        for (double dy = search.shiftMinY; dy <= search.shiftMaxY; dy = advance(dy, step, search.shiftMaxY)) {
            sampleAxis(rows, block.cornerY, block.size, static_cast<float>(dy));
            const double largestSum = findLargestSum(block, best, ceiling);
            double sum = 0.0;
            bool lost = false;
            for (size_t by = 0; by < rows.position.size() && !lost; ++by) {
                sampleBlockRow(matching, columns, rows, by);
                if (!matching.facesReference) continue;
                const int64_t row = static_cast<int64_t>(by);
                lost = !staysWithin(sum, largestSum, rowOf(matching.pixels, row),
                                    rowOf(matching.reference, block.facingY + row) + block.facingX, block.size);
            }
            if (!lost) takeBetter(best, scoreBlock(block, matching.pixels, matching.reference, 0, 0), dx, dy);
        }
    }
    return best;
}

}  // namespace

BlockMatch matchBlockIntegerStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                 int64_t y, const BlockMatch& start) {
    if (!hasShifts(search)) return noBlockMatch;
    const Block block = makeBlock(search, current, reference, x, y);
    Image pixels = makeBlockImage(block);
    cutRun(current, block.cornerX, block.cornerY, block.size, block.size, pixels.pixels);
    const int64_t stripHeight = block.size + search.shiftMaxY - search.shiftMinY;
    const bool facesReference =
        liesInside(reference, block.facingX + search.shiftMinX, block.facingY + search.shiftMinY,
                   block.size + search.shiftMaxX - search.shiftMinX, stripHeight);
    std::vector<Pixel> strip(facesReference ? static_cast<size_t>(block.size * stripHeight) : 0);
    float ceiling = worstBlockScore;
    if (start.score < worstBlockScore) {
        ceiling = scoreBlock(block, pixels, reference, static_cast<int64_t>(start.x), static_cast<int64_t>(start.y));
    }
    const auto next = [&search](int64_t shift, int64_t last) {
        const auto value = static_cast<int64_t>(static_cast<float>(shift) + search.shiftStep);
        return value == shift ? last + 1 : value;
    };
    BlockMatch best = noBlockMatch;
    for (int64_t dx = search.shiftMinX; dx <= search.shiftMaxX; dx = next(dx, search.shiftMaxX)) {
        if (facesReference) {
            cutRun(reference, block.facingX + dx, block.facingY + search.shiftMinY, block.size, stripHeight,
                   strip.data());
        }
        for (int64_t dy = search.shiftMinY; dy <= search.shiftMaxY; dy = next(dy, search.shiftMaxY)) {
            double sum = 0.0;
            const bool lost = facesReference && !staysWithin(sum, findLargestSum(block, best, ceiling), pixels.pixels,
                                                             strip.data() + (dy - search.shiftMinY) * block.size,
                                                             block.size * block.size);
            if (lost) continue;
            takeBetter(best, scoreBlock(block, pixels, reference, dx, dy), static_cast<double>(dx),
                       static_cast<double>(dy));
        }
    }
    releaseImage(pixels);
    return best;
}

BlockMatch matchBlockFractionalStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                    int64_t y, const BlockMatch& start) {
    if (!hasShifts(search)) return noBlockMatch;
    const Block block = makeBlock(search, current, reference, x, y);
    FractionalMatching matching = {
        .search = search,
        .current = current,
        .reference = reference,
        .block = block,
        .facesReference = liesInside(reference, block.facingX, block.facingY, block.size, block.size),
        .pixels = makeBlockImage(block),
        .facing = {}};
    float ceiling = worstBlockScore;
    if (start.score < worstBlockScore) ceiling = scoreShift(matching, start.x, start.y);
    const bool byPatches = matching.facesReference && block.size > 0 && hasQuarterFractions(search.shiftStep);
    if (byPatches) {
        matching.facing.resize(static_cast<size_t>(block.size * block.size));
        cutRun(reference, block.facingX, block.facingY, block.size, block.size, matching.facing.data());
    }
    const BlockMatch best = byPatches ? matchByPatches(matching, ceiling) : matchByRows(matching, ceiling);
    releaseImage(matching.pixels);
    return best;
}
