#include "align/blocks/block_matching.h"

#include "align/global/difference.h"
#include "align/global/sampling.h"

namespace {

// The position of a block's corner in the current image, and the block laid where its content lies in the reference.
struct BlockFrame {
    Image block;
    int64_t cornerX, cornerY;
};

BlockFrame makeBlockFrame(const BlockSearch& search, int64_t x, int64_t y) {
    const int64_t size = 2 * int64_t{search.searchWidth} + 1;
    return {makeImage(size, size), x - search.searchWidth, y - search.searchWidth};
}

void cutBlock(const BlockFrame& frame, const Image& current) {
    for (int64_t by = 0; by < frame.block.height; ++by) {
        Pixel* row = rowOf(frame.block, by);
        const int64_t y = frame.cornerY + by;
        for (int64_t bx = 0; bx < frame.block.width; ++bx) {
            const int64_t x = frame.cornerX + bx;
            const bool inside = x >= 0 && x < current.width && y >= 0 && y < current.height;
            row[bx] = inside ? rowOf(current, y)[x] : Pixel{};
        }
    }
}

// Offsets are cut toward zero: before the block's corner the fraction is negative and the mix extrapolates.
void sampleBlock(const BlockFrame& frame, const Image& current, float shiftX, float shiftY) {
    for (int64_t by = 0; by < frame.block.height; ++by) {
        Pixel* row = rowOf(frame.block, by);
        const float offsetY = static_cast<float>(by) - shiftY;
        const int32_t iy = truncateToInteger(offsetY);
        for (int64_t bx = 0; bx < frame.block.width; ++bx) {
            const float offsetX = static_cast<float>(bx) - shiftX;
            const int32_t ix = truncateToInteger(offsetX);
            row[bx] = samplePixel(current, frame.cornerX + ix, frame.cornerY + iy, offsetX - static_cast<float>(ix),
                                  offsetY - static_cast<float>(iy));
        }
    }
}

void takeBetter(BlockMatch& best, float score, double x, double y) {
    if (score < best.score) best = {score, static_cast<float>(x), static_cast<float>(y)};
}

float scoreBlock(const BlockFrame& frame, const Image& current, const Image& reference, int64_t shiftX, int64_t shiftY) {
    return measurePlacement(frame.block, reference, current.originX - frame.cornerX - shiftX - reference.originX,
                            current.originY - frame.cornerY - shiftY - reference.originY);
}

}  // namespace

BlockMatch matchBlockIntegerStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                 int64_t y) {
    BlockFrame frame = makeBlockFrame(search, x, y);
    cutBlock(frame, current);
    const auto advance = [&search](int64_t shift) {
        return static_cast<int64_t>(static_cast<float>(shift) + search.shiftStep);
    };
    BlockMatch best = {worstBlockScore, 0.0f, 0.0f};
    for (int64_t dx = search.shiftMinX; dx <= search.shiftMaxX; dx = advance(dx)) {
        for (int64_t dy = search.shiftMinY; dy <= search.shiftMaxY; dy = advance(dy)) {
            takeBetter(best, scoreBlock(frame, current, reference, dx, dy), static_cast<double>(dx),
                       static_cast<double>(dy));
        }
    }
    releaseImage(frame.block);
    return best;
}

BlockMatch matchBlockFractionalStep(const BlockSearch& search, const Image& current, const Image& reference, int64_t x,
                                    int64_t y) {
    BlockFrame frame = makeBlockFrame(search, x, y);
    const double step = static_cast<double>(search.shiftStep);
    BlockMatch best = {worstBlockScore, 0.0f, 0.0f};
    for (double dx = search.shiftMinX; dx <= search.shiftMaxX; dx += step) {
        for (double dy = search.shiftMinY; dy <= search.shiftMaxY; dy += step) {
            sampleBlock(frame, current, static_cast<float>(dx), static_cast<float>(dy));
            takeBetter(best, scoreBlock(frame, current, reference, 0, 0), dx, dy);
        }
    }
    releaseImage(frame.block);
    return best;
}
