#include "align/global/shift_search.h"

#include "plain/plain.h"
#include "scenes.h"

namespace {

std::string describe(bool found, const ShiftMatch& match) {
    return format("%s (%i, %i) %a", found ? "found" : "kept", match.x, match.y, static_cast<double>(match.score));
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

}  // namespace
