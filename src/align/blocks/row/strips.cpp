#include "align/blocks/row/strips.h"

#include <algorithm>

namespace {

// A strip consists of one piece where blocks lie close, and of one a block where they do not.
struct StripPieces {
    int64_t count, width;
};

StripPieces cutStrip(const GroupPlan& plan, int64_t widthOfBlock) {
    const int64_t pitch = computePitch(plan);
    if (pitch < plan.spacing) return {plan.count, widthOfBlock};
    return {1, (plan.count - 1) * pitch + widthOfBlock};
}

int64_t countReach(const GroupPlan& plan) {
    return plan.rightmost - plan.leftmost + 1;
}

void fillPixels(std::vector<Pixel>& pixels, const MovingStrip& strip, const GroupPlan& plan, size_t fractionX,
                size_t fractionY) {
    const StripPieces pieces = cutStrip(plan, countReach(plan));
    const int64_t pitch = computePitch(plan);
    const int64_t last = findLastOffset(fractionY, plan.bottommost);
    for (int64_t offset = findFirstOffset(fractionY, plan.topmost); offset <= last; ++offset) {
        Pixel* row = pixels.data() + (strip.zeroRow[fractionY] + offset) * strip.stride;
        const int64_t y = plan.movingY + offset;
        for (int64_t i = 0; i < pieces.count; ++i) {
            const int64_t x = plan.movingX + i * plan.spacing + plan.leftmost;
            if (plan.sampled) {
                sampleQuarters(plan.moving, x, y, fractionX, fractionY, row + i * pitch, pieces.width);
            } else {
                std::copy_n(rowOf(plan.moving, y) + x, pieces.width, row + i * pitch);
            }
        }
    }
}

}  // namespace

int64_t computePitch(const GroupPlan& plan) {
    return std::min(plan.spacing, countReach(plan));
}

void fillStillStrip(StillStrip& strip, const GroupPlan& plan) {
    const StripPieces pieces = cutStrip(plan, plan.size);
    const int64_t pitch = computePitch(plan);
    strip.stride = static_cast<size_t>((plan.count - 1) * pitch + plan.size + 2 * stripMargin);
    strip.factors.resize(strip.stride * static_cast<size_t>(plan.size));
    strip.norms.resize(strip.factors.size());
    for (int64_t y = 0; y < plan.size; ++y) {
        const Pixel* row = rowOf(plan.still, plan.stillY + y) + plan.stillX;
        for (int64_t i = 0; i < pieces.count; ++i) {
            const size_t to = static_cast<size_t>(y) * strip.stride + static_cast<size_t>(stripMargin + i * pitch);
            columnKernel().prepareStill(row + i * plan.spacing, static_cast<size_t>(pieces.width),
                                        strip.factors.data() + to, strip.norms.data() + to);
        }
    }
}

void fillMovingStrip(MovingStrip& strip, const GroupPlan& plan, const Fractions& across, const Fractions& down) {
    const int64_t width = (plan.count - 1) * computePitch(plan) + countReach(plan);
    constexpr auto lanes = static_cast<int64_t>(MovingPixels::count);
    strip.stride = (width + lanes - 1) / lanes * lanes;
    strip.rows = 0;
    for (size_t f = 0; f < fractionCount; ++f) {
        if (!down[f]) continue;
        const int64_t first = findFirstOffset(f, plan.topmost);
        strip.zeroRow[f] = strip.rows - first;
        strip.rows += std::max<int64_t>(findLastOffset(f, plan.bottommost) - first + 1, 0);
    }
    for (size_t fx = 0; fx < fractionCount; ++fx) {
        if (!across[fx]) continue;
        std::vector<Pixel>& pixels = strip.pixels[fx];
        std::vector<MovingPixels>& prepared = strip.prepared[fx];
        pixels.resize(static_cast<size_t>(strip.rows * strip.stride));
        prepared.resize(pixels.size() / MovingPixels::count);
        for (size_t fy = 0; fy < fractionCount; ++fy) {
            if (down[fy]) fillPixels(pixels, strip, plan, fx, fy);
        }
        for (int64_t row = 0; row < strip.rows; ++row) {
            columnKernel().prepareMoving(pixels.data() + row * strip.stride, static_cast<size_t>(strip.stride),
                                         prepared.data() + row, static_cast<size_t>(strip.rows));
        }
    }
}
