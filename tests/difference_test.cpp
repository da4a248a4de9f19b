#include "align/measure/difference.h"

#include <cmath>

#include "core/vector_level.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

TEST(MeasureDifference, OfOnePairIsItsCost) {
    const struct {
        const char* what;
        Pixel a, b;
        float score;
    } cases[] = {{"equal colours", {9, 8, 7, 1}, {9, 8, 7, 255}, 0.0f},
                 {"blue by 1: d = 1", {9, 8, 7, 255}, {10, 8, 7, 255}, 1.0039216f},
                 {"green by 1: d = 4", {9, 8, 7, 255}, {9, 7, 7, 255}, 4.0627451f},
                 {"red by 1: d = 4", {9, 8, 7, 255}, {9, 8, 8, 255}, 4.0627451f},
                 {"blue by 16: a sum halfway between two floats", {20, 0, 0, 1}, {4, 0, 0, 1}, 513.00390625f},
                 {"masked left", {9, 8, 7, 0}, {200, 8, 7, 255}, 0.005f},
                 {"masked right", {9, 8, 7, 3}, {200, 8, 7, 0}, 0.005f}};
    for (auto [what, a, b, score] : cases) {
        EXPECT_EQ(measureDifference({&a, 1, 1, 0, 0}, {&b, 1, 1, 0, 0}), score) << what;
        EXPECT_EQ(measureDifference({&b, 1, 1, 5, 5}, {&a, 1, 1, 5, 5}), score) << what << ", exchanged";
        EXPECT_EQ(measureDifference({&a, 1, 1, 0, 0}, {&b, 1, 1, 1, 0}), 0.05f) << what << ", side by side";
        EXPECT_EQ(measureDifference({&a, 1, 1, 0, 0}, {&b, 1, 1, 0, -1}), 0.05f) << what << ", stacked";
        EXPECT_EQ(measureDifference({&a, 1, 1, INT32_MIN, 0}, {&b, 1, 1, INT32_MAX, 0}), 0.05f) << what << ", far";
    }
    EXPECT_EQ(measureDifference({}, {}), 0.05f) << "no pixels";
}

// A cost next to which others are small. Its sum with many of them is no double, so that it must be cut into halves.
TEST(AddPairs, IsExactBeyondADouble) {
    Random random(31);
    for (int round = 0; round < 200; ++round) {
        const int32_t count = pick(random, 2, 100), large = pick(random, 0, count - 1);
        const Image a = keep(makeImage(count, 1)), b = keep(makeImage(count, 1));
        uint64_t expected = 0;  // in units of 2^-31
        for (int32_t i = 0; i < count; ++i) {
            a.pixels[i] = {static_cast<uint8_t>(pick(random, 0, 9)), 0, 0, 255};
            b.pixels[i] = i == large ? Pixel{255, 255, 255, 255} : Pixel{0, 0, 0, 255};
            expected += static_cast<uint64_t>(std::ldexp(plain::computePairCost(a.pixels[i], b.pixels[i]), 31));
        }
        for (const VectorLevel level : listVectorLevels()) {
            setVectorLevel(level);
            CostSum sum;
            addPairs(sum, a.pixels, b.pixels, countPixels(a));
            EXPECT_EQ((sum.whole << 31) + sum.fraction, expected) << nameOf(level) << ", " << count << " pairs";
        }
    }
}

// 16785409 pairs are divided as 16785408, which single precision holds: the quotient rounds up.
TEST(MeasureDifference, DividesByTheCountInSinglePrecision) {
    CostSum sum;
    addMaskedPairs(sum, 16785409);
    EXPECT_EQ(computeScore(sum, 16785409), std::nextafter(0.005f, 1.0f));
}

}  // namespace
