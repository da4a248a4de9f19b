#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "align/blocks/row/level_mixing.h"
#include "align/blocks/row/open_bounds.h"
#include "align/blocks/row/search_plan.h"
#include "align/blocks/row/short_divisor.h"
#include "core/vector_level.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

// Two rows mixed at multiples of 1/n, into the two levels of each byte.
struct LevelRow {
    std::vector<Pixel> lower, upper;
};

LevelRow mixTwoRows(const Image& rows, int32_t n, int32_t across, int32_t down, bool exact = false) {
    const auto count = static_cast<size_t>(rows.width) - 1, values = count * sizeof(Pixel);
    LevelRow mixed = {std::vector<Pixel>(count), std::vector<Pixel>(count)};
    std::vector<uint16_t> above(values), below(values);
    mixingKernel().mixAcross(rowOf(rows, 0), rowOf(rows, 0) + 1, count, across, n, above.data());
    mixingKernel().mixAcross(rowOf(rows, 1), rowOf(rows, 1) + 1, count, across, n, below.data());
    mixingKernel().mixDown(above.data(), below.data(), values,
                           {.fraction = down, .n = n, .exact = exact, .inside = across >= 0 && down >= 0},
                           reinterpret_cast<uint8_t*>(mixed.lower.data()),
                           reinterpret_cast<uint8_t*>(mixed.upper.data()));
    return mixed;
}

std::array<uint8_t, 4> bytesOf(Pixel pixel) {
    return {pixel.blue, pixel.green, pixel.red, pixel.weight};
}

// Fractions off by what roundings do, to either side.
TEST(MixingKernels, GiveTheLevelOrTheOneNextToIt) {
    Random random(31);
    for (int round = 0; round < 4000; ++round) {
        const int32_t n = pick(random, 2, largestFractionsPerPixel), width = pick(random, 2, 70);
        const int32_t across = pick(random, -n, n - 1), down = pick(random, -n, n - 1);
        const Image rows =
            makeScene(random, static_cast<Fill>(round % fillCount), static_cast<Mask>(round % 3), false, width, 2);
        const auto off = [&](int32_t fraction) {
            return static_cast<float>(fraction) / static_cast<float>(n) +
                   static_cast<float>(pick(random, -2, 2)) * 6e-8f;
        };
        const float fx = off(across), fy = off(down);
        setVectorLevel(VectorLevel::plain);
        const LevelRow plainRow = mixTwoRows(rows, n, across, down);
        int wide = 0;
        for (const VectorLevel level : listVectorLevels()) {
            setVectorLevel(level);
            const LevelRow row = mixTwoRows(rows, n, across, down);
            for (size_t i = 0; i < row.lower.size(); ++i) {
                const Pixel sample = plain::samplePixel(rows, static_cast<int64_t>(i), 0, fx, fy);
                const auto lower = bytesOf(row.lower[i]), upper = bytesOf(row.upper[i]), truth = bytesOf(sample);
                EXPECT_EQ(lower, bytesOf(plainRow.lower[i])) << nameOf(level) << ", round " << round;
                EXPECT_EQ(upper, bytesOf(plainRow.upper[i])) << nameOf(level) << ", round " << round;
                for (size_t k = 0; k < truth.size(); ++k) {
                    const bool any = lower[k] == 0 && upper[k] == 255;
                    EXPECT_TRUE(any || ((truth[k] == lower[k] || truth[k] == upper[k]) && upper[k] - lower[k] <= 1))
                        << nameOf(level) << ", round " << round << ", byte " << k << " of pixel " << i << ": "
                        << int{truth[k]} << " at (" << across << ", " << down << ") / " << n << ", between "
                        << int{lower[k]} << " and " << int{upper[k]};
                    wide += any;
                }
            }
        }
        EXPECT_TRUE(wide == 0 || across < 0 || down < 0) << "round " << round << ": a mix between levels is a level";
    }
}

// Of an exact mix, what is not known in any channel has no data.
void dropUnknown(LevelRow& row) {
    for (size_t i = 0; i < row.lower.size(); ++i)
        if (bytesOf(row.lower[i]) != bytesOf(row.upper[i])) row.lower[i] = {};
}

// The same records as mixing down first and preparing then, for several fractions of one pair of rows.
TEST(MixingKernels, MixDownAndPrepareAtOnce) {
    Random random(33);
    for (int round = 0; round < 3000; ++round) {
        const bool exact = round % 2 == 0;
        const int32_t n = exact ? 1 << pick(random, 1, 3) : pick(random, 2, largestShortN),
                      across = pick(random, -n, n - 1);
        const auto count = static_cast<size_t>(pick(random, 1, 4)) * MovingPixels::count, records = count / 16;
        const Image rows = makeScene(random, static_cast<Fill>(round % fillCount), static_cast<Mask>(round % 3), false,
                                     static_cast<int32_t>(count) + 1, 2);
        const int32_t fractions[] = {pick(random, -n, n - 1), pick(random, -n, n - 1), pick(random, 0, n - 1)};
        constexpr size_t stride = std::size(fractions);
        for (const VectorLevel level : listVectorLevels()) {
            setVectorLevel(level);
            const MixRows mixRows = exact ? columnKernel().mixRows : openKernel().mixRows;
            if (mixRows == nullptr) continue;
            std::vector<MovingPixels> got(stride * records), expected(stride * records);
            std::vector<MixedRow> to;
            for (size_t k = 0; k < stride; ++k) {
                LevelRow mixed = mixTwoRows(rows, n, across, fractions[k], exact);
                if (exact) {
                    dropUnknown(mixed);
                    columnKernel().prepareMoving(mixed.lower.data(), count, &expected[k], stride);
                } else {
                    openKernel().prepareMoving(mixed.lower.data(), mixed.upper.data(), count, &expected[k], stride);
                }
                to.push_back({fractions[k], &got[k]});
            }
            std::vector<uint16_t> above(count * sizeof(Pixel)), below(above.size());
            mixingKernel().mixAcross(rowOf(rows, 0), rowOf(rows, 0) + 1, count, across, n, above.data());
            mixingKernel().mixAcross(rowOf(rows, 1), rowOf(rows, 1) + 1, count, across, n, below.data());
            mixRows({above.data(), below.data(), across >= 0, to}, count, n, stride);
            for (size_t i = 0; i < got.size() * MovingPixels::count; ++i) {
                const MovingPixels &a = got[i / MovingPixels::count], &b = expected[i / MovingPixels::count];
                const size_t at = i % MovingPixels::count;
                EXPECT_EQ(a.norms[at], b.norms[at]) << nameOf(level) << ", round " << round << ", " << i;
                if (exact && b.norms[at] == maskedNorm) continue;  // nothing looks at what it shows
                EXPECT_EQ(a.factors[at], b.factors[at]) << nameOf(level) << ", round " << round << ", " << i;
            }
        }
    }
}

// Lower and upper levels one apart or far, and between them what the pair may cost.
TEST(OpenKernels, BoundTheCostOfEveryLevelBetween) {
    Random random(32);
    constexpr int32_t lanes = MovingPixels::count, rows = 17, shifts = 13, height = rows + shifts - 1;
    for (int round = 0; round < 20 * fillCount; ++round) {
        const auto fill = static_cast<Fill>(round % fillCount);
        const Image still = makeScene(random, fill, Mask::scattered, false, lanes, rows);
        const Image lower = makeScene(random, fill, Mask::patch, true, lanes, height), upper = keep(copyImage(lower));
        Image moving = keep(copyImage(lower));
        const int32_t widest = round % 3 == 0 ? 255 : 1;
        const auto widen = [&](uint8_t& top, uint8_t& between) {
            top = static_cast<uint8_t>(std::min(top + pick(random, 0, widest), 255));
            between = static_cast<uint8_t>(pick(random, between, top));
        };
        for (size_t i = 0; i < countPixels(lower); ++i) {
            widen(upper.pixels[i].blue, moving.pixels[i].blue);
            widen(upper.pixels[i].green, moving.pixels[i].green);
            widen(upper.pixels[i].red, moving.pixels[i].red);
        }
        std::vector<float> plainSums;
        for (const VectorLevel level : listVectorLevels()) {
            setVectorLevel(level);
            std::vector<uint32_t> factors(countPixels(still));
            std::vector<int32_t> norms(countPixels(still)), table;
            std::vector<MovingPixels> prepared(height);
            openKernel().prepareStill(still.pixels, countPixels(still), factors.data(), norms.data());
            for (int32_t y = 0; y < height; ++y)
                openKernel().prepareMoving(rowOf(lower, y), rowOf(upper, y), lanes, &prepared[size_t(y)], 1);
            for (int32_t y = 0; y < rows; ++y)
                for (int32_t s = 0; s < shifts; ++s) table.push_back(y + s);
            std::vector<int32_t> runs;
            for (size_t y = 0; y + runRows <= rows; y += runRows)
                for (int32_t s = 0; s < shifts; ++s) runs.push_back(round % 2 == 0 ? shifts - s : 0);
            std::vector<float> sums(shifts * lanes);
            openKernel().sumColumns(
                {factors.data(), norms.data(), lanes, rows, prepared.data(), table.data(), runs.data(), shifts},
                sums.data(), lanes);
            if (level == VectorLevel::plain) plainSums = sums;
            for (int32_t s = 0; s < shifts; ++s) {
                double cost = 0.0, sum = 0.0;
                for (int32_t i = 0; i < lanes; ++i) {
                    const float column = sums[static_cast<size_t>(s * lanes + i)];
                    EXPECT_NEAR(column / plainSums[static_cast<size_t>(s * lanes + i)], 1.0f, 1e-5f);
                    sum += static_cast<double>(column);
                    for (int32_t y = 0; y < rows; ++y) {
                        const Pixel p = rowOf(still, y)[i], q = rowOf(moving, y + s)[i];
                        if (p.weight != 0 && q.weight != 0) cost += static_cast<double>(plain::computePairCost(p, q));
                    }
                }
                EXPECT_LE(sum, findSquaresLimit(cost, rows * lanes)) << nameOf(level) << ", round " << round;
                if (fill != Fill::nearlyEqual || widest > 1) continue;
                EXPECT_GE(sum, rows * lanes * 127.0 * 127.0 * (1 - 1e-5)) << nameOf(level) << ", round " << round;
            }
        }
    }
}

// A block of 7 pixels at steps of 0.7, which in single precision is a little less.
TEST(SearchPlan, CutsAnAxis) {
    const SearchPlan plan = planSearch({3, -6, 7, 0, 0, 0.7f});
    EXPECT_EQ(plan.fractionsPerPixel, 10);
    EXPECT_FALSE(plan.exact);
    const struct {
        double shift;
        AxisPiece before, behind;
    } cases[] = {{-6.0, {}, {0, 7, 6, 0}},
                 {-1.8, {}, {0, 7, 1, 8}},
                 {1.0, {0, 1, 0, -10}, {1, 6, 0, 0}},  // just less: pixel 0 is a whole one before the next, not -1
                 {4.5, {0, 5, -4, -5}, {5, 2, 0, 5}}};
    const auto same = [](const AxisPiece& a, const AxisPiece& b) {
        return a.count == b.count &&
               (a.count == 0 || (a.first == b.first && a.index == b.index && a.fraction == b.fraction));
    };
    for (const auto& c : cases) {
        const auto& shifts = plan.across.shifts;
        const auto found = std::find_if(shifts.begin(), shifts.end(),
                                        [&c](const AxisShift& s) { return std::abs(s.shift - c.shift) < 0.1; });
        ASSERT_NE(found, shifts.end());
        EXPECT_TRUE(same(found->before, c.before)) << "shift " << c.shift;
        EXPECT_TRUE(same(found->behind, c.behind)) << "shift " << c.shift;
    }
    EXPECT_TRUE(planSearch({8, -4, 4, -4, 4, 0.25f}).exact);
    EXPECT_EQ(planSearch({8, -4, 4, -4, 4, 0.33f}).fractionsPerPixel, 0);
    EXPECT_EQ(planSearch({16, -4, 4, -4, 4, 0.05f}).fractionsPerPixel, 20);
}

}  // namespace
