#include "align/global/shift_search.h"

#include <algorithm>
#include <cmath>

#include "plain/plain.h"
#include "scenes.h"

namespace {

std::string describe(bool found, const ShiftMatch& match) {
    return format("%s (%i, %i) %a", found ? "found" : "kept", match.x, match.y, static_cast<double>(match.score));
}

TEST(SearchShift, FindsWhatThePlainOneFinds) {
    Random random(5);
    for (int round = 0; round < 1500; ++round) {
        const int32_t side = round % 50 == 0 ? 140 : 26;
        Image moving = makeAnyScene(random, round, false, side);
        const Image fixed = makeAnyScene(random, round, true, side);
        if (round % 4 == 0) moving = keep(plain::makeRotatedWindow(moving, moving.width, moving.height, 0.1f));
        ShiftRange range = {pick(random, -9, 0), 0, pick(random, -9, 0), 0, pick(random, 1, 3)};
        range.maxX = range.minX + pick(random, -1, 15);
        range.maxY = range.minY + pick(random, -1, 15);
        ShiftMatch expected = {1e24f, 0, 0};
        const bool found = plain::searchShift(moving, fixed, range, expected);
        const float tie = expected.score, above = std::nextafter(tie, INFINITY);
        const float guess = guessShift(moving, fixed, range, {1e24f, pick(random, -20, 20), 0}).score;
        for (const float ceiling : {INFINITY, above, tie, guess})
            for (const ShiftMatch start :
                 {ShiftMatch{1e24f, 0, 0}, ShiftMatch{tie, -99, 5}, ShiftMatch{above, 99, 5}}) {
                const bool better = found && start.score > tie;
                ShiftMatch best = start;
                const bool got = searchShift(moving, fixed, range, ceiling, best);
                EXPECT_EQ(describe(got, best), describe(better, better ? expected : start))
                    << "round " << round << ", " << describe(moving) << " on " << describe(fixed) << ", from ("
                    << range.minX << ", " << range.minY << ") to (" << range.maxX << ", " << range.maxY << "), step "
                    << range.step << ", ceiling " << ceiling << ", score to beat " << start.score;
            }
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
        const ShiftRange range = {-9, 9, -6, 6, pick(random, 1, 2)};
        ShiftMatch expected = {1e24f, 0, 0}, best = expected;
        const bool found = plain::searchShift(moving, fixed, range, expected);
        const float ceiling = guessShift(moving, fixed, range, best).score;
        EXPECT_EQ(describe(searchShift(moving, fixed, range, ceiling, best), best), describe(found, expected))
            << "round " << round << ", " << describe(moving) << " on " << describe(fixed);
    }
}

// Shifts without overlap all score 0.05, and the first of them wins: only those with overlap need a look.
TEST(SearchShift, EndsSoonOnHugeRanges) {
    Random random(6);
    const Image whole = makeScene(random, Fill::noise, Mask::none, true, 40, 30);
    const Image part = keep(makeImage(9, 7));
    for (int32_t y = 0; y < 7; ++y) std::copy_n(rowOf(whole, y + 5) + 6, 9, rowOf(part, y));
    const Image other = makeScene(random, Fill::noise, Mask::none, false, 9, 7);
    constexpr int64_t limit = INT32_MAX;
    constexpr int32_t start = -INT32_MAX;
    const struct {
        const char* what;
        const Image& moving;
        ShiftRange range;
        ShiftMatch expected;
    } cases[] = {{"a part of it, cut at (6, 5)", part, {-limit, limit, -limit, limit, 1}, {0, -6, -5}},
                 {"the same off the step's grid", part, {-limit, limit, -limit, limit, 4}, {0.05f, start, start}},
                 {"the same, x = -2147483646 + 3 k", part, {-limit + 1, limit, -5, limit, 3}, {0, -6, -5}},
                 {"something else, overlap in y", other, {0, limit, 0, 6, 1}, {0.05f, 9, 0}}};
    for (const auto& c : cases) {
        ShiftMatch best = {1e24f, 0, 0};
        const Image moving = {c.moving.pixels, 9, 7, 0, 0};
        const bool found = searchShift(moving, whole, c.range, INFINITY, best);
        EXPECT_EQ(describe(found, best), describe(true, c.expected)) << c.what;
    }
}

}  // namespace
