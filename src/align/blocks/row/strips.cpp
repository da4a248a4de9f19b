#include "align/blocks/row/strips.h"

#include <algorithm>
#include <bit>

#include "align/blocks/row/level_mixing.h"
#include "align/blocks/row/open_bounds.h"
#include "align/blocks/row/short_divisor.h"

namespace {

// A strip consists of one run of pixels where blocks lie close, and of one a block where they do not.
struct StripRuns {
    int64_t count, width;
};

StripRuns cutStrip(const StripShape& shape, int64_t spacing, int64_t widthOfBlock) {
    if (shape.pitch < spacing) return {shape.count, widthOfBlock};
    return {1, (shape.count - 1) * shape.pitch + widthOfBlock};
}

// Lays the runs of a row out as the strip has them.
void gatherRow(const Pixel* from, const StripRuns& runs, int64_t spacing, int64_t pitch, Pixel* to) {
    for (int64_t i = 0; i < runs.count; ++i) std::copy_n(from + i * spacing, runs.width, to + i * pitch);
}

void prepareRow(MovingStrip& strip, bool exact, int64_t row) {
    const auto count = static_cast<size_t>(strip.stride), rows = static_cast<size_t>(strip.rows);
    MovingPixels* to = strip.prepared.data() + row;
    if (!exact) {
        openKernel().prepareMoving(strip.lower.data(), strip.upper.data(), count, to, rows);
        return;
    }
    columnKernel().prepareMoving(strip.lower.data(), count, to, rows);
}

// Leaves no data where exact samples are not known: outside 0 to 255.
void dropUnknown(MovingStrip& strip) {
    for (size_t i = 0; i < strip.lower.size(); ++i) {
        const auto low = std::bit_cast<uint32_t>(strip.lower[i]), high = std::bit_cast<uint32_t>(strip.upper[i]);
        strip.lower[i] = std::bit_cast<Pixel>(low == high ? low : 0);
    }
}

void copyRows(MovingStrip& strip, const SearchPlan& plan, const BlockGroup& group, const StripShape& shape) {
    const StripRuns runs = cutStrip(shape, group.spacing, shape.reach);
    for (int64_t offset = plan.down.firstOffset; offset <= plan.down.lastOffset; ++offset) {
        const Pixel* from = rowOf(group.moving, group.movingY + offset) + group.movingX + shape.firstOffset;
        gatherRow(from, runs, group.spacing, shape.pitch, strip.lower.data());
        prepareRow(strip, true, strip.zeroRow[1] + offset);
    }
}

void mixRows(MovingStrip& strip, const SearchPlan& plan, const BlockGroup& group, const StripShape& shape,
             int32_t fraction) {
    const int32_t n = plan.fractionsPerPixel;
    const StripRuns runs = cutStrip(shape, group.spacing, shape.reach);
    const int64_t mixesPerRow = strip.stride * static_cast<int64_t>(sizeof(Pixel));
    const auto width = static_cast<size_t>((shape.count - 1) * shape.pitch + shape.reach);
    const int64_t firstOffset = plan.down.firstOffset, lastOffset = plan.down.lastOffset;
    strip.mixes.resize(static_cast<size_t>((lastOffset - firstOffset + 2) * mixesPerRow));
    for (int64_t offset = firstOffset; offset <= lastOffset + 1; ++offset) {
        const Pixel* from = rowOf(group.moving, group.movingY + offset) + group.movingX + shape.firstOffset;
        uint16_t* to = strip.mixes.data() + (offset - firstOffset) * mixesPerRow;
        const Pixel *left = from, *right = from + 1;
        if (runs.count > 1) {
            gatherRow(left, runs, group.spacing, shape.pitch, strip.lower.data());
            gatherRow(right, runs, group.spacing, shape.pitch, strip.upper.data());
            left = strip.lower.data();
            right = strip.upper.data();
        }
        mixingKernel().mixAcross(left, right, width, fraction, n, to);
    }
    const MixRows mixAtOnce = n > largestShortN ? nullptr : plan.exact ? columnKernel().mixRows : openKernel().mixRows;
    std::vector<MixedRow> rows;
    for (int64_t offset = firstOffset; offset <= lastOffset; ++offset) {
        const uint16_t* above = strip.mixes.data() + (offset - firstOffset) * mixesPerRow;
        rows.clear();
        for (const FractionSpan& down : plan.down.fractions) {
            if (offset < down.firstOffset || offset > down.lastOffset) continue;
            const int64_t row = strip.zeroRow[static_cast<size_t>(int64_t{down.fraction} + n)] + offset;
            if (mixAtOnce != nullptr) {
                rows.push_back({down.fraction, strip.prepared.data() + row});
                continue;
            }
            const bool inside = fraction >= 0 && down.fraction >= 0;
            mixingKernel().mixDown(above, above + mixesPerRow, static_cast<size_t>(mixesPerRow),
                                   {.fraction = down.fraction, .n = n, .exact = plan.exact, .inside = inside},
                                   reinterpret_cast<uint8_t*>(strip.lower.data()),
                                   reinterpret_cast<uint8_t*>(strip.upper.data()));
            if (plan.exact && !inside) dropUnknown(strip);
            prepareRow(strip, plan.exact, row);
        }
        if (mixAtOnce == nullptr) continue;
        mixAtOnce({.above = above, .below = above + mixesPerRow, .inside = fraction >= 0, .rows = rows},
                  static_cast<size_t>(strip.stride), n, static_cast<size_t>(strip.rows));
    }
}

}  // namespace

StripShape shapeStrips(const FractionSpan& across, int64_t spacing, int64_t count) {
    const int64_t reach = across.lastOffset - across.firstOffset + 1;
    return {.pixels = across.pixels,
            .firstOffset = across.firstOffset,
            .reach = reach,
            .pitch = std::min(spacing, std::max(reach, across.pixels)),
            .count = count};
}

void fillStillStrip(StillStrip& strip, const SearchPlan& plan, const BlockGroup& group, const StripShape& shape) {
    const StripRuns runs = cutStrip(shape, group.spacing, shape.pixels);
    const PrepareStill prepare = plan.exact ? columnKernel().prepareStill : openKernel().prepareStill;
    strip.shape = shape;
    strip.stride = static_cast<size_t>((shape.count - 1) * shape.pitch + shape.pixels + 2 * stripMargin);
    strip.factors.resize(strip.stride * static_cast<size_t>(plan.size));
    strip.norms.resize(strip.factors.size());
    const size_t width = strip.stride - 2 * static_cast<size_t>(stripMargin);
    strip.row.resize(width);
    for (int64_t y = 0; y < plan.size; ++y) {
        const Pixel* from = rowOf(group.still, group.stillY + y) + group.stillX;
        if (runs.count > 1) gatherRow(from, runs, group.spacing, shape.pitch, strip.row.data());
        const size_t to = static_cast<size_t>(y) * strip.stride + static_cast<size_t>(stripMargin);
        prepare(runs.count > 1 ? strip.row.data() : from, width, strip.factors.data() + to, strip.norms.data() + to);
    }
}

void layOutRows(MovingStrip& strip, const SearchPlan& plan) {
    strip.rows = 0;
    strip.zeroRow.assign(2 * static_cast<size_t>(plan.fractionsPerPixel), 0);
    for (const FractionSpan& down : plan.down.fractions) {
        strip.zeroRow[static_cast<size_t>(int64_t{down.fraction} + plan.fractionsPerPixel)] =
            strip.rows - down.firstOffset;
        strip.rows += down.lastOffset - down.firstOffset + 1;
    }
}

void fillMovingStrip(MovingStrip& strip, const SearchPlan& plan, const BlockGroup& group, const StripShape& shape,
                     int32_t fraction) {
    constexpr auto lanes = static_cast<int64_t>(MovingPixels::count);
    const int64_t width = (shape.count - 1) * shape.pitch + shape.reach;
    strip.stride = (width + lanes - 1) / lanes * lanes;
    strip.lower.resize(static_cast<size_t>(strip.stride));
    strip.upper.resize(static_cast<size_t>(strip.stride));
    strip.prepared.resize(static_cast<size_t>(strip.rows * strip.stride / lanes));
    if (plan.fractionsPerPixel == 1) {
        copyRows(strip, plan, group, shape);
    } else {
        mixRows(strip, plan, group, shape, fraction);
    }
}
