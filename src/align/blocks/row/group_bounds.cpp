#include "align/blocks/row/group_bounds.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "align/blocks/row/column_bounds.h"
#include "align/blocks/row/open_bounds.h"

namespace {

constexpr int64_t blockLimit = 16;         // more blocks share no more work, and their strips leave the nearest memory
constexpr int64_t squaresLimit = 1 << 19;  // sums of squares of a group: four bytes each
constexpr int64_t stripLimit = 1 << 19;    // pixels of the moving strip: eight bytes each

void tabulateRows(GroupBounds& bounds, const SearchPlan& plan) {
    const size_t places = plan.down.shifts.size();
    bounds.movingRows.resize(static_cast<size_t>(plan.size) * places);
    for (size_t s = 0; s < places; ++s) {
        for (const AxisPiece& piece : {plan.down.shifts[s].before, plan.down.shifts[s].behind}) {
            const int64_t zeroRow =
                bounds.moving.zeroRow[static_cast<size_t>(int64_t{piece.fraction} + plan.fractionsPerPixel)];
            for (int64_t y = 0; y < piece.count; ++y) {
                bounds.movingRows[static_cast<size_t>(piece.first + y) * places + bounds.downPlaces[s]] =
                    static_cast<int32_t>(zeroRow + piece.index + y);
            }
        }
    }
}

// How many shifts follow on each other from a place down on (FacingColumns); rows before the corner do not.
void tabulateRuns(GroupBounds& bounds, const SearchPlan& plan) {
    const size_t places = plan.down.shifts.size(), groups = static_cast<size_t>(plan.size) / runRows;
    std::vector<size_t> corners(places);  // the first row behind the corner, by place
    for (size_t s = 0; s < places; ++s) {
        corners[bounds.downPlaces[s]] = static_cast<size_t>(plan.down.shifts[s].before.count);
    }
    bounds.runs.assign(groups * places, 0);
    for (size_t g = 0; g < groups; ++g) {
        const int32_t* first = bounds.movingRows.data() + g * runRows * places;
        int32_t run = 0;
        for (size_t place = places; place-- > 0;) {
            const bool goesOn = place + 1 < places && first[place + 1] == first[place] + 1;
            run = corners[place] > g * runRows ? 0 : goesOn ? run + 1 : 1;
            bounds.runs[g * places + place] = run;
        }
    }
}

// The sums of squares down all columns of the still strip where one piece of a shift across applies.
void sumColumns(GroupBounds& bounds, const SearchPlan& plan, const AxisPiece& piece) {
    constexpr auto lanes = static_cast<int64_t>(MovingPixels::count);
    const SumColumns sum = plan.exact ? columnKernel().sumColumns : openKernel().sumColumns;
    const StripShape& shape = bounds.still.shape;
    const int64_t width = (shape.count - 1) * shape.pitch + shape.pixels;
    const int64_t way = piece.index - piece.first - shape.firstOffset;  // from still columns to moving ones
    const int64_t end = std::min(way + width, bounds.moving.stride);
    for (int64_t x = std::max<int64_t>(way, 0) / lanes * lanes; x < end; x += lanes) {
        const auto at = static_cast<size_t>(x - way + stripMargin);
        sum({.factors = bounds.still.factors.data() + at,
             .norms = bounds.still.norms.data() + at,
             .stride = bounds.still.stride,
             .rows = static_cast<size_t>(plan.size),
             .moving = bounds.moving.prepared.data() + x / lanes * bounds.moving.rows,
             .movingRows = bounds.movingRows.data(),
             .runs = bounds.runs.data(),
             .shifts = plan.down.shifts.size()},
            bounds.columnSums.data() + at, bounds.still.stride);
    }
}

void addPiece(GroupBounds& bounds, const SearchPlan& plan, size_t shiftAcross, const AxisPiece& piece) {
    const size_t places = plan.down.shifts.size(), shifts = plan.across.shifts.size();
    const StripShape& shape = bounds.still.shape;
    sumColumns(bounds, plan, piece);
    for (int64_t b = 0; b < shape.count; ++b) {
        float* ofBlock = bounds.squares.data() + (static_cast<size_t>(b) * shifts + shiftAcross) * places;
        const float* sums = bounds.columnSums.data() + stripMargin + b * shape.pitch + piece.first;
        columnKernel().addRuns(sums, bounds.still.stride, static_cast<size_t>(piece.count), ofBlock, places);
    }
}

}  // namespace

void prepareBounds(GroupBounds& bounds, const SearchPlan& plan) {
    layOutRows(bounds.moving, plan);
    bounds.downShifts.resize(plan.down.shifts.size());
    bounds.downPlaces.resize(plan.down.shifts.size());
    std::iota(bounds.downShifts.begin(), bounds.downShifts.end(), size_t{0});
    const auto showsFirst = [&plan](size_t shift) {
        const AxisPiece& behind = plan.down.shifts[shift].behind;
        return std::pair(behind.fraction, behind.index - behind.first);
    };
    std::stable_sort(bounds.downShifts.begin(), bounds.downShifts.end(),
                     [&](size_t a, size_t b) { return showsFirst(a) < showsFirst(b); });
    for (size_t place = 0; place < bounds.downShifts.size(); ++place) {
        bounds.downPlaces[bounds.downShifts[place]] = place;
    }
    tabulateRows(bounds, plan);
    tabulateRuns(bounds, plan);
}

int64_t countGroupBlocks(const SearchPlan& plan) {
    const auto shifts = static_cast<int64_t>(plan.across.shifts.size() * plan.down.shifts.size());
    return std::clamp<int64_t>(squaresLimit / shifts, 1, blockLimit);
}

bool fitsStrips(const GroupBounds& bounds, const SearchPlan& plan, int64_t spacing, int64_t count) {
    return std::all_of(plan.across.fractions.begin(), plan.across.fractions.end(), [&](const FractionSpan& across) {
        const StripShape shape = shapeStrips(across, spacing, count);
        return bounds.moving.rows * ((count - 1) * shape.pitch + shape.reach) <= stripLimit;
    });
}

void boundGroup(GroupBounds& bounds, const SearchPlan& plan, const BlockGroup& group) {
    const std::vector<AxisShift>& across = plan.across.shifts;
    const size_t places = plan.down.shifts.size();
    bounds.squares.assign(static_cast<size_t>(group.count) * across.size() * places, 0.0f);
    bounds.still.shape = {};
    for (const FractionSpan& span : plan.across.fractions) {
        const StripShape shape = shapeStrips(span, group.spacing, group.count);
        if (shape != bounds.still.shape) {
            fillStillStrip(bounds.still, plan, group, shape);
            bounds.columnSums.resize(bounds.still.stride * places);
        }
        fillMovingStrip(bounds.moving, plan, group, shape, span.fraction);
        for (size_t s = 0; s < across.size(); ++s) {
            for (const AxisPiece& piece : {across[s].before, across[s].behind}) {
                if (piece.count > 0 && piece.fraction == span.fraction) addPiece(bounds, plan, s, piece);
            }
        }
    }
}
