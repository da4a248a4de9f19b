#include "align/blocks/block_row_matching.h"

#include <algorithm>
#include <numeric>
#include <span>
#include <vector>

#include "align/blocks/block_run.h"
#include "align/global/pair_cost.h"

namespace {

constexpr int64_t largestTable = 1 << 20;  // estimates, one a shift and block

constexpr int64_t blocksPerGroup = 16;
constexpr uint8_t fullWeight = 255;

struct Shift {
    int64_t x, y;
};

// All shifts in the order of the search.
std::vector<Shift> listShifts(const BlockSearch& search) {
    std::vector<Shift> shifts;
    for (int64_t x = search.shiftMinX; x <= search.shiftMaxX; x = advanceWhole(x, search.shiftStep, search.shiftMaxX)) {
        for (int64_t y = search.shiftMinY; y <= search.shiftMaxY;
             y = advanceWhole(y, search.shiftStep, search.shiftMaxY)) {
            shifts.push_back({x, y});
        }
    }
    return shifts;
}

float scoreBlock(const Block& block, const Image& current, const Image& reference, const Shift& shift) {
    CostSum sum;
    for (int64_t row = 0; row < block.size; ++row) {
        addPairs(sum, rowOf(current, block.cornerY + row) + block.cornerX,
                 rowOf(reference, block.facingY + shift.y + row) + block.facingX + shift.x,
                 static_cast<size_t>(block.size));
    }
    return computeScore(sum, block.size * block.size);
}

// The best of all shifts of one block, given their estimates, few of which leave a shift to score.
BlockMatch pickShift(const Block& block, const Image& current, const Image& reference, const std::vector<Shift>& shifts,
                     std::span<const float> estimates) {
    const auto likely = static_cast<size_t>(std::min_element(estimates.begin(), estimates.end()) - estimates.begin());
    const float ceiling = scoreBlock(block, current, reference, shifts[likely]);
    BlockMatch best = noBlockMatch;
    for (size_t i = 0; i < shifts.size(); ++i) {
        if (static_cast<double>(estimates[i]) > findLargestSum(block, best.score, ceiling)) continue;
        const float score = i == likely ? ceiling : scoreBlock(block, current, reference, shifts[i]);
        takeBetter(best, score, static_cast<double>(shifts[i].x), static_cast<double>(shifts[i].y));
    }
    return best;
}

// Whether all pixels of that rectangle are full data.
bool isFull(const Image& image, int64_t x, int64_t y, int64_t width, int64_t height) {
    for (int64_t row = y; row < y + height; ++row) {
        const Pixel* pixels = rowOf(image, row) + x;
        uint8_t weights = fullWeight;
        for (int64_t i = 0; i < width; ++i) weights &= pixels[i].weight;
        if (weights != fullWeight) return false;
    }
    return true;
}

// The same for all that the group and its shifts look at.
bool holdsDataThroughout(const BlockSearch& search, const Image& current, const Image& reference, int64_t firstX,
                         int64_t y, int64_t spacing, int64_t count) {
    const Block first = makeBlock(search, current, reference, firstX, y);
    const int64_t width = (count - 1) * spacing + first.size;
    return isFull(current, first.cornerX, first.cornerY, width, first.size) &&
           isFull(reference, first.facingX + search.shiftMinX, first.facingY + search.shiftMinY,
                  width + search.shiftMaxX - search.shiftMinX, first.size + search.shiftMaxY - search.shiftMinY);
}

// Few blocks at a time, so that what all shifts read stays close to the processor.
void matchGroup(const BlockSearch& search, const Image& current, const Image& reference,
                const std::vector<Shift>& shifts, int64_t firstX, int64_t y, int64_t spacing, int64_t count,
                BlockMatch* matches) {
    const Block first = makeBlock(search, current, reference, firstX, y);
    const auto width = static_cast<size_t>((count - 1) * spacing + first.size);
    std::vector<float> sums(width);
    std::vector<float> estimates(shifts.size() * static_cast<size_t>(count));  // by block, then by shift
    for (size_t i = 0; i < shifts.size(); ++i) {
        fastestRowKernel().estimateColumns(rowOf(current, first.cornerY) + first.cornerX, current.width,
                                           rowOf(reference, first.facingY + shifts[i].y) + first.facingX + shifts[i].x,
                                           reference.width, first.size, sums.data(), width);
        for (int64_t b = 0; b < count; ++b) {
            const float* columns = sums.data() + b * spacing;
            estimates[static_cast<size_t>(b) * shifts.size() + i] =
                std::accumulate(columns, columns + first.size, 0.0f);
        }
    }
    for (int64_t b = 0; b < count; ++b) {
        const Block block = makeBlock(search, current, reference, firstX + b * spacing, y);
        const auto ofBlock = std::span(estimates).subspan(static_cast<size_t>(b) * shifts.size(), shifts.size());
        matches[b] = pickShift(block, current, reference, shifts, ofBlock);
    }
}

}  // namespace

bool canMatchBlockRow(const BlockSearch& search, const Image& current, const Image& reference, int64_t firstX,
                      int64_t y, int64_t spacing, int64_t count) {
    if (!hasShifts(search)) return false;
    const Block block = makeBlock(search, current, reference, firstX, y);
    const int64_t width = (count - 1) * spacing + block.size;
    const double shiftsX = static_cast<double>(search.shiftMaxX) - search.shiftMinX;
    const double shiftsY = static_cast<double>(search.shiftMaxY) - search.shiftMinY;
    const double step = static_cast<double>(search.shiftStep);
    const bool fits = (shiftsX / step + 1.0) * (shiftsY / step + 1.0) * static_cast<double>(count) <= largestTable;
    const bool dense = 2 * spacing <= 3 * block.size;  // otherwise too much lies between the blocks
    return fits && dense && block.size > 0 && block.size <= longestColumn &&
           liesInside(current, block.cornerX, block.cornerY, width, block.size) &&
           liesInside(reference, block.facingX + search.shiftMinX, block.facingY + search.shiftMinY,
                      width + search.shiftMaxX - search.shiftMinX, block.size + search.shiftMaxY - search.shiftMinY);
}

void matchBlockRow(const BlockSearch& search, const Image& current, const Image& reference, int64_t firstX, int64_t y,
                   int64_t spacing, int64_t count, BlockMatch* matches) {
    const std::vector<Shift> shifts = listShifts(search);
    for (int64_t i = 0; i < count; i += blocksPerGroup) {
        const int64_t x = firstX + i * spacing, inGroup = std::min(blocksPerGroup, count - i);
        if (holdsDataThroughout(search, current, reference, x, y, spacing, inGroup)) {
            matchGroup(search, current, reference, shifts, x, y, spacing, inGroup, matches + i);
            continue;
        }
        for (int64_t b = i; b < i + inGroup; ++b) {
            const BlockMatch& start = b == 0 ? noBlockMatch : matches[b - 1];
            matches[b] = matchBlockIntegerStep(search, current, reference, firstX + b * spacing, y, start);
        }
    }
}
