#include "align/blocks/row/row_group.h"

#include <algorithm>
#include <array>
#include <span>

#include "align/blocks/row/column_bounds.h"
#include "align/blocks/row/quarter_samples.h"
#include "align/blocks/single/block.h"

namespace {

constexpr int64_t largestSize = 96;  // of blocks, so that a sum of squares is rounded few times
constexpr double mostShifts = 1 << 14;
constexpr double largestStrip = 1 << 19;  // pixels of the moving strip
constexpr int64_t mostBlocks = 16;        // in the strips: what all shifts look at stays close to the processor

GroupPlan planGroup(const BlockSearch& search, const Image& current, const Image& reference, const BlockGroup& group) {
    const Block block = makeBlock(search, current, reference, group.firstX, group.y);
    const bool sampled = !isWholeStep(search.shiftStep);
    return {.still = sampled ? reference : current,
            .moving = sampled ? current : reference,
            .stillX = sampled ? block.facingX : block.cornerX,
            .stillY = sampled ? block.facingY : block.cornerY,
            .movingX = sampled ? block.cornerX : block.facingX,
            .movingY = sampled ? block.cornerY : block.facingY,
            .size = block.size,
            .spacing = group.spacing,
            .count = group.count,
            .leftmost = sampled ? std::min<int64_t>(-int64_t{search.shiftMaxX}, 0) : search.shiftMinX,
            .rightmost = block.size - 1 + (sampled ? -int64_t{search.shiftMinX} : search.shiftMaxX),
            .topmost = sampled ? std::min<int64_t>(-int64_t{search.shiftMaxY}, 0) : search.shiftMinY,
            .bottommost = block.size - 1 + (sampled ? -int64_t{search.shiftMinY} : search.shiftMaxY),
            .sampled = sampled};
}

// All shifts of one axis in the order of the search.
std::vector<double> listShifts(const BlockSearch& search, int32_t first, int32_t last) {
    std::vector<double> shifts;
    if (isWholeStep(search.shiftStep)) {
        for (int64_t shift = first; shift <= last; shift = advanceWhole(shift, search.shiftStep, last)) {
            shifts.push_back(static_cast<double>(shift));
        }
    } else {
        for (double shift = first; shift <= last; shift += static_cast<double>(search.shiftStep)) {
            shifts.push_back(shift);
        }
    }
    return shifts;
}

using AxisPieces = std::array<AxisPiece, 2>;

// All shifts of a search, and the pieces that a block's columns and rows fall into at each.
struct GroupShifts {
    std::vector<double> x, y;
    std::vector<AxisPieces> columns, rows;
};

std::vector<AxisPieces> cutAll(const GroupPlan& plan, const std::vector<double>& shifts) {
    std::vector<AxisPieces> all;
    all.reserve(shifts.size());
    for (const double shift : shifts) {
        all.push_back(plan.sampled ? cutIntoPieces(plan.size, shift)
                                   : AxisPieces{{{0, plan.size, static_cast<int64_t>(shift), zeroFraction}, {}}});
    }
    return all;
}

GroupShifts listGroupShifts(const BlockSearch& search, const GroupPlan& plan) {
    GroupShifts shifts = {.x = listShifts(search, search.shiftMinX, search.shiftMaxX),
                          .y = listShifts(search, search.shiftMinY, search.shiftMaxY),
                          .columns = {},
                          .rows = {}};
    shifts.columns = cutAll(plan, shifts.x);
    shifts.rows = cutAll(plan, shifts.y);
    return shifts;
}

Fractions findFractions(const std::vector<AxisPieces>& all) {
    Fractions found{};
    for (const AxisPieces& pieces : all) {
        for (const AxisPiece& piece : pieces) {
            if (piece.count > 0) found[piece.fraction] = true;
        }
    }
    return found;
}

void tabulateRows(std::vector<int32_t>& table, const MovingStrip& strip, int64_t size,
                  const std::vector<AxisPieces>& rows) {
    table.resize(static_cast<size_t>(size) * rows.size());
    for (size_t s = 0; s < rows.size(); ++s) {
        for (const AxisPiece& piece : rows[s]) {
            for (int64_t y = 0; y < piece.count; ++y) {
                table[static_cast<size_t>(piece.first + y) * rows.size() + s] =
                    static_cast<int32_t>(strip.zeroRow[piece.fraction] + piece.index + y);
            }
        }
    }
}

// The sums of squares down all columns of the still strip where one piece of a shift across applies.
void sumColumns(GroupWork& work, const GroupPlan& plan, const AxisPiece& piece, size_t shiftsDown) {
    constexpr auto lanes = static_cast<int64_t>(MovingPixels::count);
    const int64_t width = (plan.count - 1) * computePitch(plan) + plan.size;
    const int64_t way = piece.index - piece.first - plan.leftmost;  // from still columns to moving ones
    for (int64_t x = way / lanes * lanes; x < way + width; x += lanes) {
        const auto at = static_cast<size_t>(x - way + stripMargin);
        columnKernel().sumColumns({.factors = work.still.factors.data() + at,
                                   .norms = work.still.norms.data() + at,
                                   .stride = work.still.stride,
                                   .rows = static_cast<size_t>(plan.size),
                                   .moving = work.moving.prepared[piece.fraction].data() + x / lanes * work.moving.rows,
                                   .movingRows = work.movingRows.data(),
                                   .shifts = shiftsDown},
                                  work.columnSums.data() + at, work.still.stride);
    }
}

// The sums of squares of every block at every shift.
void sumSquares(GroupWork& work, const GroupPlan& plan, const GroupShifts& shifts) {
    const std::vector<AxisPieces>& columns = shifts.columns;
    const size_t stride = work.still.stride, shiftsDown = shifts.rows.size();
    work.columnSums.resize(stride * shiftsDown);
    work.squares.assign(static_cast<size_t>(plan.count) * columns.size() * shiftsDown, 0.0f);
    for (size_t s = 0; s < columns.size(); ++s) {
        for (const AxisPiece& piece : columns[s]) {
            if (piece.count == 0) continue;
            sumColumns(work, plan, piece, shiftsDown);
            for (int64_t b = 0; b < plan.count; ++b) {
                float* ofBlock = work.squares.data() + (static_cast<size_t>(b) * columns.size() + s) * shiftsDown;
                const float* sums = work.columnSums.data() + stripMargin + b * computePitch(plan) + piece.first;
                columnKernel().addRuns(sums, stride, static_cast<size_t>(piece.count), ofBlock, shiftsDown);
            }
        }
    }
}

float scoreShift(GroupWork& work, const GroupPlan& plan, int64_t b, const AxisPieces& columns, const AxisPieces& rows) {
    const MovingStrip& strip = work.moving;
    for (const AxisPiece& row : rows) {
        for (const AxisPiece& column : columns) {
            if (row.count == 0 || column.count == 0) continue;
            const Pixel* from = strip.pixels[column.fraction].data() +
                                (strip.zeroRow[row.fraction] + row.index) * strip.stride + b * computePitch(plan) +
                                column.index - plan.leftmost;
            Pixel* to = work.candidate.data() + row.first * plan.size + column.first;
            for (int64_t y = 0; y < row.count; ++y, from += strip.stride, to += plan.size) {
                std::copy_n(from, column.count, to);
            }
        }
    }
    CostSum sum;
    addPairs(sum, work.block.data(), work.candidate.data(), work.block.size());
    return computeScore(sum, plan.size * plan.size);
}

// The matches of the blocks from the sums of squares, which leave few shifts to score.
void pickShifts(GroupWork& work, const GroupPlan& plan, const GroupShifts& shifts, BlockMatch* matches) {
    const int64_t pairs = plan.size * plan.size;
    const size_t down = shifts.rows.size(), count = shifts.columns.size() * down;
    work.block.resize(static_cast<size_t>(pairs));
    work.candidate.resize(static_cast<size_t>(pairs));
    for (int64_t b = 0; b < plan.count; ++b) {
        cutBlock(plan.still, plan.stillX + b * plan.spacing, plan.stillY, plan.size, work.block.data());
        const auto squares = std::span(work.squares).subspan(static_cast<size_t>(b) * count, count);
        const auto likely = static_cast<size_t>(std::min_element(squares.begin(), squares.end()) - squares.begin());
        const auto score = [&](size_t shift) {
            return scoreShift(work, plan, b, shifts.columns[shift / down], shifts.rows[shift % down]);
        };
        const float ceiling = score(likely);
        const double largest = findLargestSquares(static_cast<double>(ceiling) * static_cast<double>(pairs), pairs);
        matches[b] = noBlockMatch;
        for (size_t shift = 0; shift < count; ++shift) {
            if (static_cast<double>(squares[shift]) > largest) continue;
            takeBetter(matches[b], shift == likely ? ceiling : score(shift), shifts.x[shift / down],
                       shifts.y[shift % down]);
        }
    }
}

// What the moving strip holds at most.
double countStripPixels(const GroupPlan& plan) {
    const auto reachAcross = static_cast<double>(plan.rightmost - plan.leftmost + 1);
    const auto reachDown = static_cast<double>(plan.bottommost - plan.topmost + 1);
    const auto between = static_cast<double>((std::min(mostBlocks, plan.count) - 1) * computePitch(plan));
    return (between + reachAcross) * reachDown * (plan.sampled ? double{fractionCount * fractionCount} : 1.0);
}

}  // namespace

bool canMatchGroup(const BlockSearch& search, const Image& current, const Image& reference, const BlockGroup& group) {
    const double step = static_cast<double>(search.shiftStep);
    const double shiftsAcross = (static_cast<double>(search.shiftMaxX) - search.shiftMinX) / step + 1.0;
    const double shiftsDown = (static_cast<double>(search.shiftMaxY) - search.shiftMinY) / step + 1.0;
    if (!hasShifts(search) || shiftsAcross * shiftsDown > mostShifts) return false;
    if (!isWholeStep(search.shiftStep) && !hasQuarterFractions(step)) return false;
    const GroupPlan plan = planGroup(search, current, reference, group);
    if (plan.size < 1 || plan.size > largestSize || countStripPixels(plan) > largestStrip) return false;
    const int64_t way = (plan.count - 1) * plan.spacing, neighbours = plan.sampled ? 1 : 0;
    return liesInside(plan.still, plan.stillX, plan.stillY, way + plan.size, plan.size) &&
           liesInside(plan.moving, plan.movingX + plan.leftmost, plan.movingY + plan.topmost,
                      way + plan.rightmost - plan.leftmost + 1 + neighbours,
                      plan.bottommost - plan.topmost + 1 + neighbours);
}

void matchGroup(GroupWork& work, const BlockSearch& search, const Image& current, const Image& reference,
                const BlockGroup& group, BlockMatch* matches) {
    GroupPlan plan = planGroup(search, current, reference, group);
    const GroupShifts shifts = listGroupShifts(search, plan);
    for (int64_t first = 0; first < group.count; first += mostBlocks) {
        plan.count = std::min(mostBlocks, group.count - first);
        fillStillStrip(work.still, plan);
        fillMovingStrip(work.moving, plan, findFractions(shifts.columns), findFractions(shifts.rows));
        tabulateRows(work.movingRows, work.moving, plan.size, shifts.rows);
        sumSquares(work, plan, shifts);
        pickShifts(work, plan, shifts, matches + first);
        plan.stillX += plan.count * plan.spacing;
        plan.movingX += plan.count * plan.spacing;
    }
}
