#include "align/blocks/row/search_plan.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <iterator>

#include "align/blocks/row/column_bounds.h"

namespace {

// Shifts of a search that are matched together. Their sums of squares take four bytes a shift and block.
constexpr double shiftLimit = 1 << 17;

constexpr double roundingUnit = 0x1p-24;  // of single precision

std::vector<double> listShifts(const BlockSearch& search, int32_t first, int32_t last) {
    std::vector<double> shifts;
    if (isWholeStep(search.shiftStep)) {
        for (int64_t shift = first; shift <= last; shift = advanceWhole(shift, search.shiftStep, last)) {
            shifts.push_back(static_cast<double>(shift));
        }
    } else {
        const double step = static_cast<double>(search.shiftStep);
        for (double shift = first; shift <= last; shift = advanceFractional(shift, step, last)) shifts.push_back(shift);
    }
    return shifts;
}

// How far the fractions that occur are from multiples of 1/n.
struct Deviation {
    double before = 0.0, behind = 0.0;
};

// Puts pixel b of a block into its piece; false when it does not continue the piece.
bool extendPiece(AxisPiece& piece, int64_t b, int64_t index, int32_t fraction) {
    if (piece.count == 0) piece = {.first = b, .count = 0, .index = index, .fraction = fraction};
    if (piece.first + piece.count != b || piece.index + piece.count != index || piece.fraction != fraction)
        return false;
    ++piece.count;
    return true;
}

// Cuts an axis into its two pieces at a shift; false when its pixels do not fall into two.
bool cutShift(AxisShift& shift, int64_t size, int32_t n, Deviation& deviation) {
    shift.before = shift.behind = {};
    for (size_t b = 0; b < static_cast<size_t>(size); ++b) {
        const double fraction = static_cast<double>(shift.samples.fraction[b]);
        auto parts = static_cast<int32_t>(std::lround(fraction * n));
        double& furthest = parts < 0 ? deviation.before : deviation.behind;
        furthest = std::max(furthest, std::abs(fraction - static_cast<double>(parts) / n));
        int64_t index = shift.samples.position[b];
        if (parts == n) {  // nearly the next pixel, where the mix is the same
            ++index;
            parts = 0;
        }
        AxisPiece& piece = parts < 0 ? shift.before : shift.behind;
        if (!extendPiece(piece, static_cast<int64_t>(b), index, parts)) return false;
    }
    return true;
}

bool cutAxis(ShiftAxis& axis, int64_t size, int32_t n, Deviation& deviation) {
    return std::all_of(axis.shifts.begin(), axis.shifts.end(),
                       [&](AxisShift& shift) { return cutShift(shift, size, n, deviation); });
}

// How far a mix in single precision at the fractions that occur can be from the same mix at the multiples of 1/n, in
// levels. The weights of two neighbours add up to 1 at fractions from 0 to 1, and without their signs to at most 3 at
// fractions from -1 to 0, so a fraction that is off by t moves the mix by at most 255 t times such a sum of the other
// axis. Four roundings a term and three additions, and one rounding more for what is neglected here.
double boundMixError(const Deviation& across, const Deviation& down) {
    constexpr double before = 3.0, behind = 1.0;
    const auto bound = [](double deviationX, double sumX, double deviationY, double sumY) {
        return 255.0 * (deviationX * sumY + deviationY * sumX + 8.0 * roundingUnit * sumX * sumY);
    };
    return std::max(
        {bound(across.behind, behind, down.behind, behind), bound(across.before, before, down.behind, behind),
         bound(across.behind, behind, down.before, before), bound(across.before, before, down.before, before)});
}

// Finds the smallest n at which every mix is known: a mix at multiples of 1/n is a multiple of 1/n^2, so it is a whole
// number or at least 1/n^2 away from one.
void findFractions(SearchPlan& plan) {
    for (int32_t n = 1; n <= largestFractionsPerPixel; ++n) {
        Deviation across, down;
        if (!cutAxis(plan.across, plan.size, n, across) || !cutAxis(plan.down, plan.size, n, down)) continue;
        if (boundMixError(across, down) >= 1.0 / (n * n)) continue;
        // Multiples of 1/n^2 with n a power of two are numbers of single precision, which then rounds nothing.
        const bool rounded = across.before + across.behind + down.before + down.behind > 0.0;
        plan.exact = !rounded && std::has_single_bit(static_cast<uint32_t>(n));
        if (n == 1 && !plan.exact) continue;  // nearly whole fractions are mixed, as halves are
        plan.fractionsPerPixel = n;
        return;
    }
}

void cutAtWholeSteps(ShiftAxis& axis, int64_t size) {
    for (AxisShift& shift : axis.shifts) {
        shift.behind = {.first = 0, .count = size, .index = static_cast<int64_t>(shift.shift), .fraction = 0};
    }
}

void addToSpan(FractionSpan& span, const AxisPiece& piece) {
    const int64_t lastOffset = piece.index + piece.count - 1;
    if (span.pixels == 0) span = {piece.fraction, 0, piece.index, lastOffset};
    span.pixels = std::max(span.pixels, piece.first + piece.count);
    span.firstOffset = std::min(span.firstOffset, piece.index);
    span.lastOffset = std::max(span.lastOffset, lastOffset);
}

void spanFractions(ShiftAxis& axis, int32_t n) {
    std::vector<FractionSpan> spans(2 * static_cast<size_t>(n));
    FractionSpan whole;
    for (const AxisShift& shift : axis.shifts) {
        for (const AxisPiece& piece : {shift.before, shift.behind}) {
            if (piece.count == 0) continue;
            addToSpan(spans[static_cast<size_t>(int64_t{piece.fraction} + n)], piece);
            addToSpan(whole, piece);
        }
    }
    std::copy_if(spans.begin(), spans.end(), std::back_inserter(axis.fractions),
                 [](const FractionSpan& span) { return span.pixels > 0; });
    axis.firstOffset = whole.firstOffset;
    axis.lastOffset = whole.lastOffset;
}

ShiftAxis makeAxis(const SearchPlan& plan, int32_t first, int32_t last) {
    ShiftAxis axis;
    for (const double shift : listShifts(plan.search, first, last)) {
        axis.shifts.push_back({.shift = shift});
        if (plan.sampled) sampleAxis(axis.shifts.back().samples, plan.samplesPerBlock, shift);
    }
    return axis;
}

}  // namespace

SearchPlan planSearch(const BlockSearch& search) {
    constexpr int64_t lanes = 16;
    SearchPlan plan;
    plan.search = search;
    plan.size = 2 * int64_t{search.halfSize} + 1;
    plan.samplesPerBlock = (plan.size + lanes - 1) / lanes * lanes;
    plan.sampled = !isWholeStep(search.shiftStep);
    const double step = static_cast<double>(search.shiftStep);
    const double across = (static_cast<double>(search.shiftMaxX) - search.shiftMinX) / step + 1.0;
    const double down = (static_cast<double>(search.shiftMaxY) - search.shiftMinY) / step + 1.0;
    const bool fits = plan.size >= 1 && plan.size <= blockSizeLimit && across * down <= shiftLimit;
    if (!fits || !(across >= 1.0 && down >= 1.0)) return plan;
    plan.across = makeAxis(plan, search.shiftMinX, search.shiftMaxX);
    plan.down = makeAxis(plan, search.shiftMinY, search.shiftMaxY);
    if (plan.sampled) {
        findFractions(plan);
        if (plan.fractionsPerPixel == 0) return plan;
    } else {
        cutAtWholeSteps(plan.across, plan.size);
        cutAtWholeSteps(plan.down, plan.size);
        plan.fractionsPerPixel = 1;
        plan.exact = true;
    }
    spanFractions(plan.across, plan.fractionsPerPixel);
    spanFractions(plan.down, plan.fractionsPerPixel);
    return plan;
}
