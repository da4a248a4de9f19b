#include "align/blocks/block_place.h"
#include "align/blocks/single/single_block.h"
#include "align/measure/difference.h"

namespace {

// The block; beside the picture there is no data.
Image cutBlock(const Image& image, int64_t left, int64_t top, int64_t size) {
    Image block = makeImage(size, size);
    for (int64_t y = 0; y < size; ++y) {
        for (int64_t x = 0; x < size; ++x) {
            if (liesInside(image, left + x, top + y, 1, 1)) rowOf(block, y)[x] = rowOf(image, top + y)[left + x];
        }
    }
    return block;
}

}  // namespace

BlockMatch matchBlockIntegerStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                 int64_t y) {
    const BlockPlace place = placeBlock(search, current, reference, x, y);
    Image block = cutBlock(current, place.currentX, place.currentY, place.size);
    BlockMatch best = noBlockMatch;
    for (int64_t dx = search.shiftMinX; dx <= search.shiftMaxX;
         dx = advanceWhole(dx, search.shiftStep, search.shiftMaxX)) {
        for (int64_t dy = search.shiftMinY; dy <= search.shiftMaxY;
             dy = advanceWhole(dy, search.shiftStep, search.shiftMaxY)) {
            const float score = measurePlacement(block, reference, -place.referenceX - dx, -place.referenceY - dy);
            takeBetter(best, score, static_cast<double>(dx), static_cast<double>(dy));
        }
    }
    releaseImage(block);
    return best;
}
