#include "align/global/shift_search.h"

#include <cmath>

#include "align/global/box_bounds.h"
#include "align/measure/difference.h"
#include "core/vector_level.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

std::string describe(bool found, const ShiftMatch& match) {
    return format("%s (%i, %i) %a", found ? "found" : "kept", match.x, match.y, static_cast<double>(match.score));
}

void comparePlain(const Image& moving, const Image& fixed, const ShiftRange& range, int round) {
    const ShiftMatch none = {1e24f, 0, 0};
    ShiftMatch expected = none;
    const bool found = plain::searchShift(moving, fixed, range, expected);
    for (const VectorLevel level : listVectorLevels()) {
        setVectorLevel(level);
        ShiftMatch best = none;
        const float ceiling = guessShift(moving, fixed, range, best).score;
        EXPECT_EQ(describe(searchShift(moving, fixed, range, ceiling, best), best), describe(found, expected))
            << nameOf(level) << ", round " << round << ", " << describe(moving) << " on " << describe(fixed);
    }
}

// Bright points in both pictures, some of them the same: what is read first decides, and counts once where points meet.
TEST(SearchShift, OfStarsFindsWhatThePlainOneFinds) {
    Random random(16);
    for (int round = 0; round < 24; ++round) {
        const auto mask = static_cast<Mask>(round % 3);
        Image moving = makeScene(random, Fill::nearlyEqual, mask, false, 150, 40);
        const Image fixed = makeScene(random, Fill::nearlyEqual, Mask::scattered, true, 170, 44);
        for (int star = 0; star < 12; ++star) {
            const int32_t x = pick(random, 8, 140), y = pick(random, 8, 30),
                          apart = star % 3 == 0 ? 0 : pick(random, 1, 9);
            for (int32_t v = 0; v < 3; ++v) {
                const auto light = static_cast<uint8_t>(pick(random, 90, 255));
                rowOf(moving, y + v)[x] = rowOf(fixed, y + v)[x + apart] = {light, light, light, 255};
            }
        }
        comparePlain(moving, fixed, {-9, 9, -6, 6, pick(random, 1, 2)}, round);
    }
}

// Light that changes slowly, with noise, and here and there no data.
Image makeSlope(Random& random, int32_t width, int32_t height, bool evenRowsOnly) {
    Image image = keep(makeImage(width, height));
    const double steepness = pick(random, 1, 30) * 0.1;
    const int32_t noise = pick(random, 0, 12);
    const bool hasHoles = pick(random, 0, 2) == 0;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const double light = 128 + 60 * std::sin(0.1 * steepness * x) + 60 * std::cos(0.07 * steepness * y);
            const auto level = [&](int32_t least) {
                return static_cast<uint8_t>(std::max(least, static_cast<int32_t>(light) + pick(random, -noise, noise)));
            };
            const bool hole = (hasHoles && pick(random, 0, 300) == 0) || (evenRowsOnly && y % 2 == 1);
            rowOf(image, y)[x] = {level(0), level(9), level(60), static_cast<uint8_t>(hole ? 0 : 255)};
        }
    }
    return image;
}

TEST(SearchShift, OfSlopesFindsWhatThePlainOneFinds) {
    Random random(18);
    for (int round = 0; round < 24; ++round) {
        Image moving = makeSlope(random, pick(random, 60, 130), pick(random, 20, 50), round % 2 == 1);
        const Image fixed = makeSlope(random, 150, 60, false);
        moving.originX = pick(random, -20, 20);
        comparePlain(moving, fixed, {-40, 40, -9, 9, pick(random, 1, 3)}, round);
    }
}

// What boxes rule out costs too much; and they rule most placements out.
TEST(BoxBounds, ExceedALimitOnlyIfTheCostsDo) {
    Random random(17);
    int ruledOut = 0, tried = 0;
    for (int round = 0; round < 30; ++round) {
        const int32_t rowStep = 1 + round % 2, width = pick(random, 16, 120), height = pick(random, 8, 60);
        const Image moving = makeSlope(random, width, height, rowStep == 2), fixed = makeSlope(random, 140, 70, false);
        const Area reach = {.left = pick(random, 0, 9), .right = 140 - pick(random, 0, 9), .top = 0, .bottom = 70};
        const PlacementRow row = {
            .firstX = pick(random, -30, 30), .y = pick(random, -9, 9), .step = pick(random, 1, 3)};
        std::vector<float> limits, costs, bounds;
        for (int64_t k = 0; k < 37; ++k) {
            const Overlap overlap = findOverlap(moving, fixed, -(row.firstX + k * row.step), -row.y);
            CostSum sum;
            for (int64_t v = 0; v < overlap.height; ++v) {
                addPairs(sum, rowOf(moving, overlap.aY + v) + overlap.aX, rowOf(fixed, overlap.bY + v) + overlap.bX,
                         static_cast<size_t>(overlap.width));
            }
            costs.push_back(static_cast<float>(sum.whole + 1));
            limits.push_back(costs.back() * 0.1f * static_cast<float>(pick(random, 1, 10)));
        }
        for (const VectorLevel level : listVectorLevels()) {
            setVectorLevel(level);
            boundPlacements(prepareBoxes(moving, fixed, reach, rowStep), row, limits, bounds);
            for (size_t k = 0; k < limits.size(); ++k) {
                const bool isOut = bounds[k] > limits[k] * boxMargin;
                EXPECT_TRUE(!isOut || limits[k] < costs[k]) << nameOf(level) << ", round " << round << ", place " << k;
                EXPECT_LE(bounds[k], costs[k] * boxMargin) << nameOf(level) << ", round " << round << ", place " << k;
                ruledOut += isOut ? 1 : 0;
                ++tried;
            }
        }
    }
    EXPECT_GT(ruledOut, tried / 8);
}

}  // namespace
