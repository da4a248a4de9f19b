#include <cmath>
#include <vector>

#include "align/blocks/block_matching.h"
#include "align/blocks/block_run.h"

namespace {

// What the matching of one block works with.
struct IntegerMatching {
    const BlockSearch& search;
    const Image& reference;
    Block block;
    std::vector<Pixel> pixels;  // the block, one run
    std::vector<Pixel> strip;   // for one shift across, the reference columns that face the block, for all shifts down
    bool facesReference;        // the whole block does, at every shift
};

const Pixel* facingPixels(const IntegerMatching& matching, int64_t dy) {
    return matching.strip.data() + (dy - matching.search.shiftMinY) * matching.block.size;
}

float scoreShift(const IntegerMatching& matching, int64_t dx, int64_t dy) {
    const Block& block = matching.block;
    const auto side = static_cast<int32_t>(block.size);
    const Image picture = {.pixels = const_cast<Pixel*>(matching.pixels.data()), .width = side, .height = side};
    return measurePlacement(picture, matching.reference, -(block.facingX + dx), -(block.facingY + dy));
}

void takeShift(const IntegerMatching& matching, BlockMatch& best, float ceiling, int64_t dx, int64_t dy) {
    const Block& block = matching.block;
    const int64_t count = block.size * block.size;
    float score;
    if (matching.facesReference) {
        const Pixel* facing = facingPixels(matching, dy);
        double sum = 0.0;
        if (!staysWithin(sum, findLargestSum(block, best.score, ceiling), matching.pixels.data(), facing, count))
            return;
        CostSum exact;
        addPairs(exact, matching.pixels.data(), facing, static_cast<size_t>(count));
        score = computeScore(exact, count);
    } else {
        score = scoreShift(matching, dx, dy);
    }
    takeBetter(best, score, static_cast<double>(dx), static_cast<double>(dy));
}

}  // namespace

BlockMatch matchBlockIntegerStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                 int64_t y, const BlockMatch& start) {
    if (!hasShifts(search)) return noBlockMatch;
    const Block block = makeBlock(search, current, reference, x, y);
    if (block.size == 0) return matchEmptyBlock(search);
    const int64_t stripWidth = block.size + search.shiftMaxX - search.shiftMinX;
    const int64_t stripHeight = block.size + search.shiftMaxY - search.shiftMinY;
    IntegerMatching matching = {
        .search = search,
        .reference = reference,
        .block = block,
        .pixels = std::vector<Pixel>(static_cast<size_t>(block.size * block.size)),
        .strip = {},
        .facesReference = liesInside(reference, block.facingX + search.shiftMinX, block.facingY + search.shiftMinY,
                                     stripWidth, stripHeight)};
    cutRun(current, block.cornerX, block.cornerY, block.size, block.size, matching.pixels.data());
    if (matching.facesReference) matching.strip.resize(static_cast<size_t>(block.size * stripHeight));
    float ceiling = worstBlockScore;
    if (start.score < worstBlockScore) {
        ceiling = scoreShift(matching, static_cast<int64_t>(start.x), static_cast<int64_t>(start.y));
    }
    BlockMatch best = noBlockMatch;
    for (int64_t dx = search.shiftMinX; dx <= search.shiftMaxX;
         dx = advanceWhole(dx, search.shiftStep, search.shiftMaxX)) {
        if (matching.facesReference) {
            cutRun(reference, block.facingX + dx, block.facingY + search.shiftMinY, block.size, stripHeight,
                   matching.strip.data());
        }
        for (int64_t dy = search.shiftMinY; dy <= search.shiftMaxY;
             dy = advanceWhole(dy, search.shiftStep, search.shiftMaxY)) {
            takeShift(matching, best, ceiling, dx, dy);
        }
    }
    return best;
}
