#include "align/measure/difference.h"

#include <algorithm>

#include "align/measure/pair_cost.h"

namespace {

constexpr int fractionBits = 31;  // the cost of a masked pair, 0.005 in single precision, is a multiple of 2^-31
constexpr double fractionUnits = 0x1p31;
constexpr auto maskedFraction = static_cast<uint64_t>(static_cast<double>(0.5f * maskedPixelCost) * fractionUnits);

// One direction of the overlap: where it starts on each side and how far it goes.
void overlapAxis(int64_t offset, int64_t lengthA, int64_t lengthB, int64_t& startA, int64_t& startB, int64_t& length) {
    startA = std::max<int64_t>(offset, 0);
    startB = std::max<int64_t>(-offset, 0);
    length = std::max<int64_t>(std::min(lengthA - startA, lengthB - startB), 0);
}

}  // namespace

Overlap findOverlap(const Image& a, const Image& b, int64_t offsetX, int64_t offsetY) {
    Overlap overlap{};
    overlapAxis(offsetX, a.width, b.width, overlap.aX, overlap.bX, overlap.width);
    overlapAxis(offsetY, a.height, b.height, overlap.aY, overlap.bY, overlap.height);
    if (overlap.width == 0 || overlap.height == 0) overlap.width = overlap.height = 0;
    return overlap;
}

void addPairs(CostSum& sum, const Pixel* a, const Pixel* b, size_t count) {
    const RowCost cost = rowKernel().sumRow(a, b, count);
    if (cost.sum >= exactSumLimit && count > 1) {  // too much for one exact double: in halves
        addPairs(sum, a, b, count / 2);
        addPairs(sum, a + count / 2, b + count / 2, count - count / 2);
        return;
    }
    const auto whole = static_cast<uint64_t>(cost.sum);
    sum.whole += whole;
    sum.fraction += static_cast<uint64_t>((cost.sum - static_cast<double>(whole)) * fractionUnits);
    addMaskedPairs(sum, cost.maskedPairs);
}

void addMaskedPairs(CostSum& sum, int64_t count) {
    sum.fraction += maskedFraction * static_cast<uint64_t>(count);
}

float computeScore(const CostSum& sum, int64_t pairCount) {
    if (pairCount == 0) return scoreWithoutPairs;
    const uint64_t whole = sum.whole + (sum.fraction >> fractionBits);
    const uint64_t rest = sum.fraction & ((uint64_t{1} << fractionBits) - 1);
    const double total = static_cast<double>(whole) + static_cast<double>(rest) / fractionUnits;
    return static_cast<float>(total / static_cast<double>(static_cast<float>(pairCount)));
}

float measureDifference(const Image& a, const Image& b) {
    return measurePlacement(a, b, int64_t{a.originX} - b.originX, int64_t{a.originY} - b.originY);
}

float measurePlacement(const Image& a, const Image& b, int64_t offsetX, int64_t offsetY) {
    const Overlap overlap = findOverlap(a, b, offsetX, offsetY);
    CostSum sum;
    for (int64_t y = 0; y < overlap.height; ++y) {
        addPairs(sum, rowOf(a, overlap.aY + y) + overlap.aX, rowOf(b, overlap.bY + y) + overlap.bX,
                 static_cast<size_t>(overlap.width));
    }
    return computeScore(sum, overlap.width * overlap.height);
}
