#include "align/global/shift_search.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "align/global/difference.h"
#include "align/global/pair_cost.h"

namespace {

// Every shift has its exact score, but few shifts need all of their pairs read: costs are never negative and the number
// of pairs is known beforehand, so a placement is given up as soon as the costs summed so far cannot score below the
// best. The search begins where the best is likely, and reads those rows first that tell placements apart best.

// A score is rounded to single precision once, a relative error of 2^-24, and so is the number of pairs; a sum that
// exceeds its limit by this factor gives a score above the best whatever the roundings.
constexpr double roundingMargin = 1.0 + 0x1p-20;

// The candidates of one axis that leave an overlap: steps first to last of all 0 to count - 1.
struct AxisRange {
    int64_t min, step, count;
    int64_t first, last;

    [[nodiscard]] bool overlapsAtFirst() const { return first == 0 && last >= 0; }
    [[nodiscard]] int64_t at(int64_t i) const { return min + i * step; }
};

struct ShiftSearch {
    const Image& moving;
    const Image& fixed;
    AxisRange x, y;
    std::vector<int64_t> dataRows;       // rows of moving that hold data, the most telling first
    std::vector<int64_t> maskedRowsTo;   // entry y: rows above row y that hold none
    ShiftMatch best;
    bool found = false;
};

// Rounds toward minus infinity; the divisor is positive.
int64_t divideDown(int64_t a, int64_t b) {
    return a / b - (a % b < 0 ? 1 : 0);
}

// Moved by s, an axis of length a with its origin at offset from that of b overlaps it for -b < offset + s < a.
AxisRange makeAxisRange(int64_t min, int64_t max, int64_t step, int64_t offset, int64_t a, int64_t b) {
    const int64_t count = max < min ? 0 : (max - min) / step + 1;
    if (a == 0 || b == 0) return {min, step, count, 0, -1};
    const int64_t lowest = 1 - b - offset, highest = a - 1 - offset;
    return {min, step, count, std::max<int64_t>(0, -divideDown(min - lowest, step)),
            std::min(count - 1, divideDown(highest - min, step))};
}

// How much a row differs from itself two columns on: what a row of plain sky does not.
double measureContrast(const Image& image, int64_t y) {
    const auto width = static_cast<size_t>(image.width);
    return width < 3 ? 0.0 : sumRow(rowOf(image, y), rowOf(image, y) + 2, width - 2).sum;
}

void listRows(ShiftSearch& search) {
    const Image& moving = search.moving;
    std::vector<double> contrast(static_cast<size_t>(moving.height));
    search.maskedRowsTo.assign(1, 0);
    for (int64_t y = 0; y < moving.height; ++y) {
        const Pixel* row = rowOf(moving, y);
        const bool hasData = std::any_of(row, row + moving.width, [](Pixel pixel) { return pixel.weight != 0; });
        search.maskedRowsTo.push_back(search.maskedRowsTo.back() + (hasData ? 0 : 1));
        if (!hasData) continue;
        search.dataRows.push_back(y);
        contrast[static_cast<size_t>(y)] = measureContrast(moving, y);
    }
    std::stable_sort(search.dataRows.begin(), search.dataRows.end(), [&contrast](int64_t a, int64_t b) {
        return contrast[static_cast<size_t>(a)] > contrast[static_cast<size_t>(b)];
    });
}

// The score of a placement, or infinity as soon as it must be above limit.
float scoreShift(const ShiftSearch& search, int64_t x, int64_t y, float limit) {
    const Image& moving = search.moving;
    const Image& fixed = search.fixed;
    const Overlap overlap = findOverlap(moving, fixed, x + moving.originX - fixed.originX, y + moving.originY - fixed.originY);
    const int64_t pairCount = overlap.width * overlap.height;
    const double largestSum = static_cast<double>(limit) * static_cast<double>(pairCount) * roundingMargin;
    CostSum sum;
    for (const int64_t row : search.dataRows) {
        const int64_t v = row - overlap.aY;
        if (v < 0 || v >= overlap.height) continue;
        addPairs(sum, rowOf(moving, row) + overlap.aX, rowOf(fixed, overlap.bY + v) + overlap.bX,
                 static_cast<size_t>(overlap.width));
        if (static_cast<double>(sum.whole) > largestSum) return HUGE_VALF;
    }
    const auto top = static_cast<size_t>(overlap.aY), bottom = static_cast<size_t>(overlap.aY + overlap.height);
    addMaskedPairs(sum, (search.maskedRowsTo[bottom] - search.maskedRowsTo[top]) * overlap.width);
    return computeScore(sum, pairCount);
}

void take(ShiftSearch& search, float score, int64_t x, int64_t y) {
    ShiftMatch& best = search.best;
    const bool earlier = x < best.x || (x == best.x && y < best.y);
    if (score < best.score || (score == best.score && search.found && earlier)) {
        best = {score, static_cast<int32_t>(x), static_cast<int32_t>(y)};
        search.found = true;
    }
}

void tryShift(ShiftSearch& search, int64_t i, int64_t j) {
    const int64_t x = search.x.at(i), y = search.y.at(j);
    take(search, scoreShift(search, x, y, search.best.score), x, y);
}

// Placements without a facing pair all score the same: only the first of them in the order of the search counts.
void tryFirstWithoutOverlap(ShiftSearch& search) {
    const AxisRange &x = search.x, &y = search.y;
    if (x.count == 0 || y.count == 0) return;
    int64_t i = 0, j = 0;
    if (x.overlapsAtFirst() && y.overlapsAtFirst()) {
        if (y.last + 1 < y.count) {
            j = y.last + 1;
        } else if (x.last + 1 < x.count) {
            i = x.last + 1;
        } else {
            return;
        }
    }
    take(search, scoreWithoutPairs, x.at(i), y.at(j));
}

// Downhill from the candidate nearest to the start, in strides of 8, 4, 2 and 1 candidates.
void descend(ShiftSearch& search) {
    const AxisRange &x = search.x, &y = search.y;
    int64_t i = std::clamp((search.best.x - x.min) / x.step, x.first, x.last);
    int64_t j = std::clamp((search.best.y - y.min) / y.step, y.first, y.last);
    tryShift(search, i, j);
    constexpr std::array<std::array<int64_t, 2>, 4> directions = {{{-1, 0}, {1, 0}, {0, -1}, {0, 1}}};
    for (int64_t stride = 8; stride > 0; stride /= 2) {
        for (bool better = true; better;) {
            const float score = search.best.score;
            int64_t nextI = i, nextJ = j;
            for (const auto& [di, dj] : directions) {
                const int64_t tryI = std::clamp(i + di * stride, x.first, x.last);
                const int64_t tryJ = std::clamp(j + dj * stride, y.first, y.last);
                const float before = search.best.score;
                tryShift(search, tryI, tryJ);
                if (search.best.score < before) {
                    nextI = tryI;
                    nextJ = tryJ;
                }
            }
            better = search.best.score < score;
            i = nextI;
            j = nextJ;
        }
    }
}

}  // namespace

bool searchShift(const Image& moving, const Image& fixed, const ShiftRange& range, ShiftMatch& best) {
    ShiftSearch search = {
        .moving = moving,
        .fixed = fixed,
        .x = makeAxisRange(range.minX, range.maxX, range.step, int64_t{moving.originX} - fixed.originX, moving.width,
                           fixed.width),
        .y = makeAxisRange(range.minY, range.maxY, range.step, int64_t{moving.originY} - fixed.originY, moving.height,
                           fixed.height),
        .dataRows = {},
        .maskedRowsTo = {},
        .best = best,
    };
    tryFirstWithoutOverlap(search);
    if (search.x.first <= search.x.last && search.y.first <= search.y.last) {
        listRows(search);
        descend(search);
        for (int64_t i = search.x.first; i <= search.x.last; ++i) {
            for (int64_t j = search.y.first; j <= search.y.last; ++j) tryShift(search, i, j);
        }
    }
    if (search.found) best = search.best;
    return search.found;
}
