#include "align/blocks/block_row_matching.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "align/blocks/block_run.h"
#include "align/global/pair_cost.h"

namespace {

constexpr int64_t largestTable = 1 << 20;  // estimates, one a shift and block

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

// Turns sums[i] into the sum of size neighbours from i on, where there are as many; by doubling, so that a few vector
// additions do for every sum.
void sumNeighbours(std::vector<float>& sums, std::vector<float>& doubled, int64_t size) {
    doubled = sums;  // of 1, 2, 4, ... neighbours
    std::fill(sums.begin(), sums.end(), 0.0f);
    const auto width = static_cast<int64_t>(sums.size());
    for (int64_t part = 1, done = 0; part <= size; part *= 2) {
        const float* from = doubled.data();
        if ((size & part) != 0) {
            for (int64_t i = 0; i + done + part <= width; ++i) sums[static_cast<size_t>(i)] += from[i + done];
            done += part;
        }
        if (2 * part > size) break;
        for (int64_t i = 0; i + 2 * part <= width; ++i) doubled[static_cast<size_t>(i)] += from[i + part];
    }
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

// The best of all shifts of one block, whose estimates stand every stride entries. Few estimates leave a shift to
// score.
BlockMatch pickShift(const Block& block, const Image& current, const Image& reference, const std::vector<Shift>& shifts,
                     const float* estimates, size_t stride) {
    size_t likely = 0;
    for (size_t i = 1; i < shifts.size(); ++i) {
        if (estimates[i * stride] < estimates[likely * stride]) likely = i;
    }
    const float ceiling = scoreBlock(block, current, reference, shifts[likely]);
    BlockMatch best = noBlockMatch;
    for (size_t i = 0; i < shifts.size(); ++i) {
        if (static_cast<double>(estimates[i * stride]) > findLargestSum(block, best.score, ceiling)) continue;
        const float score = i == likely ? ceiling : scoreBlock(block, current, reference, shifts[i]);
        takeBetter(best, score, static_cast<double>(shifts[i].x), static_cast<double>(shifts[i].y));
    }
    return best;
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
    return fits && block.size > 0 && block.size <= longestColumn &&
           liesInside(current, block.cornerX, block.cornerY, width, block.size) &&
           liesInside(reference, block.facingX + search.shiftMinX, block.facingY + search.shiftMinY,
                      width + search.shiftMaxX - search.shiftMinX, block.size + search.shiftMaxY - search.shiftMinY);
}

void matchBlockRow(const BlockSearch& search, const Image& current, const Image& reference, int64_t firstX, int64_t y,
                   int64_t spacing, int64_t count, BlockMatch* matches) {
    const Block first = makeBlock(search, current, reference, firstX, y);
    const std::vector<Shift> shifts = listShifts(search);
    const auto width = static_cast<size_t>((count - 1) * spacing + first.size);
    std::vector<float> sums(width), doubled;
    std::vector<float> estimates;  // by shift, then by block
    for (const Shift& shift : shifts) {
        fastestRowKernel().estimateColumns(rowOf(current, first.cornerY) + first.cornerX, current.width,
                                           rowOf(reference, first.facingY + shift.y) + first.facingX + shift.x,
                                           reference.width, first.size, sums.data(), width);
        sumNeighbours(sums, doubled, first.size);
        for (int64_t i = 0; i < count; ++i) estimates.push_back(sums[static_cast<size_t>(i * spacing)]);
    }
    for (int64_t i = 0; i < count; ++i) {
        const Block block = makeBlock(search, current, reference, firstX + i * spacing, y);
        matches[i] = pickShift(block, current, reference, shifts, estimates.data() + i, static_cast<size_t>(count));
    }
}
