#include "align/blocks/block_search.h"
#include "align/blocks/single/block.h"

namespace {

void takeShift(const Block& block, const Image& pixels, const Image& reference, BlockMatch& best, float ceiling,
               int64_t dx, int64_t dy) {
    const int64_t x = block.facingX + dx, y = block.facingY + dy;
    if (liesInside(reference, x, y, block.size, block.size)) {
        const double largestSum = findLargestSum(block, best.score, ceiling);
        double sum = 0.0;
        for (int64_t row = 0; row < block.size; ++row) {
            if (!staysWithin(sum, largestSum, rowOf(pixels, row), rowOf(reference, y + row) + x, block.size)) return;
        }
    }
    takeBetter(best, measurePlacement(pixels, reference, -x, -y), static_cast<double>(dx), static_cast<double>(dy));
}

}  // namespace

BlockMatch matchBlockIntegerStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                 int64_t y, const BlockMatch& start) {
    if (!hasShifts(search)) return noBlockMatch;
    const Block block = makeBlock(search, current, reference, x, y);
    if (block.size == 0) return matchEmptyBlock(search);
    Image pixels = makeUnfilledImage(block.size, block.size);
    cutBlock(current, block.cornerX, block.cornerY, block.size, pixels.pixels);
    BlockMatch reached = noBlockMatch;
    if (start.score < worstBlockScore) {
        takeShift(block, pixels, reference, reached, worstBlockScore, static_cast<int64_t>(start.x),
                  static_cast<int64_t>(start.y));
    }
    BlockMatch best = noBlockMatch;
    for (int64_t dx = search.shiftMinX; dx <= search.shiftMaxX;
         dx = advanceWhole(dx, search.shiftStep, search.shiftMaxX)) {
        for (int64_t dy = search.shiftMinY; dy <= search.shiftMaxY;
             dy = advanceWhole(dy, search.shiftStep, search.shiftMaxY)) {
            takeShift(block, pixels, reference, best, reached.score, dx, dy);
        }
    }
    releaseImage(pixels);
    return best;
}
