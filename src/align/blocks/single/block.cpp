#include "align/blocks/single/block.h"

#include <algorithm>

#include "align/measure/pair_cost.h"

namespace {

// What a sum of estimates must exceed its limit by so that the exact score is above it.
constexpr double estimateMargin = 1.0 + 2.0 * estimateError;

constexpr int64_t pairsPerLook = 144;  // between two looks at whether a shift has lost

}  // namespace

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

BlockMatch matchEmptyBlock(const BlockSearch& search) {
    return {scoreWithoutPairs, static_cast<float>(search.shiftMinX), static_cast<float>(search.shiftMinY)};
}

bool isWholeStep(float step) {
    return step >= 0x1p31f || static_cast<float>(static_cast<int32_t>(step)) == step;
}

int64_t advanceWhole(int64_t shift, float step, int64_t last) {
    const float next = static_cast<float>(shift) + step;
    if (next >= 0x1p31f || static_cast<int64_t>(next) == shift) return last + 1;
    return static_cast<int64_t>(next);
}

bool liesInside(const Image& image, int64_t x, int64_t y, int64_t width, int64_t height) {
    return x >= 0 && x + width <= image.width && y >= 0 && y + height <= image.height;
}

void cutBlock(const Image& image, int64_t x, int64_t y, int64_t size, Pixel* pixels) {
    for (int64_t v = y; v < y + size; ++v, pixels += size) {
        if (liesInside(image, x, v, size, 1)) {
            std::copy_n(rowOf(image, v) + x, size, pixels);
            continue;
        }
        for (int64_t u = 0; u < size; ++u) {
            pixels[u] = liesInside(image, x + u, v, 1, 1) ? rowOf(image, v)[x + u] : Pixel{};
        }
    }
}

double findLargestSum(const Block& block, float best, float ceiling) {
    return static_cast<double>(std::min(best, ceiling)) * estimateMargin * static_cast<double>(block.size * block.size);
}

bool staysWithin(double& sum, double largestSum, const Pixel* a, const Pixel* b, int64_t count) {
    const EstimateRow estimateRow = rowKernel().estimateRow;
    for (int64_t i = 0; i < count; i += pairsPerLook) {
        sum += estimateRow(a + i, b + i, static_cast<size_t>(std::min(pairsPerLook, count - i)));
        if (sum > largestSum) return false;
    }
    return true;
}

void takeBetter(BlockMatch& best, float score, double dx, double dy) {
    if (score < best.score) best = {score, static_cast<float>(dx), static_cast<float>(dy)};
}
