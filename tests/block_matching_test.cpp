#include "align/blocks/block_matching.h"

#include <gtest/gtest.h>

#include "align/blocks/gradient_image.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

using Matcher = decltype(&matchBlockIntegerStep);

void expectMatch(const BlockMatch& got, const BlockMatch& expected, const testing::Message& trial) {
    EXPECT_TRUE(sameBits(got.score, expected.score)) << trial << ", score";
    EXPECT_TRUE(sameBits(got.x, expected.x)) << trial << ", x";
    EXPECT_TRUE(sameBits(got.y, expected.y)) << trial << ", y";
}

TEST(BlockMatching, FindsWhatThePlainOneFinds) {
    Random random(9);
    for (int round = 0; round < 700; ++round) {
        const Fill fill = allFills[static_cast<size_t>(round) % allFills.size()];
        const Image current = makeAnyScene(random, fill, false, 30), reference = makeAnyScene(random, fill, true, 30);
        for (const float step : {1.0f, 2.0f, 0.5f, 0.3f, 0.1f, 1.5f, 0.25f}) {
            BlockSearch search = {
                pick(random, 0, round % 10 == 0 ? 9 : 3), pick(random, -3, 0), 0, pick(random, -3, 0), 0, step};
            search.shiftMaxX = search.shiftMinX + pick(random, -1, step < 0.3f ? 2 : 5);
            search.shiftMaxY = search.shiftMinY + pick(random, -1, step < 0.3f ? 2 : 5);
            const int32_t x = pick(random, -4, current.width + 4), y = pick(random, -4, current.height + 4);
            const auto trial = testing::Message()
                               << "round " << round << ", fill " << static_cast<int>(fill) << ", " << describe(current)
                               << " on " << describe(reference) << ", half-size " << search.searchWidth << ", x "
                               << search.shiftMinX << " to " << search.shiftMaxX << ", y " << search.shiftMinY << " to "
                               << search.shiftMaxY << ", step " << step << ", block at (" << x << ", " << y << ")";
            const BlockMatch expected = plain::matchBlockFractionalStep(search, current, reference, x, y);
            for (const BlockMatch& start :
                 {noBlockMatch, expected, plain::matchBlockFractionalStep(search, current, reference, 3, y)})
                expectMatch(matchBlockFractionalStep(search, current, reference, x, y, start), expected, trial);
            if (step < 1.0f || step == 1.5f) continue;
            const BlockMatch whole = plain::matchBlockIntegerStep(search, current, reference, x, y);
            for (const BlockMatch& start :
                 {noBlockMatch, whole, plain::matchBlockIntegerStep(search, current, reference, 3, y)})
                expectMatch(matchBlockIntegerStep(search, current, reference, x, y, start), whole, trial);
        }
    }
}

TEST(BlockMatching, OfKnownBlocks) {
    Random random(10);
    const Image scene = makeScene(random, {Fill::noise, Mask::none}, true, 40, 30);
    const Image moved = {scene.pixels, 40, 30, 2, -1};  // its content lies (2, -1) further left and up than the other's
    const Image flat = makeScene(random, {Fill::flat, Mask::none}, true, 40, 30);
    constexpr float limit = 2147483647.0f;
    const struct {
        const char* what;
        Matcher match;
        BlockSearch search;
        const Image &current, &reference;
        BlockMatch expected;
    } cases[] = {
        {"a known shift", matchBlockIntegerStep, {3, -3, 3, -3, 3, 1}, moved, scene, {0, 2, -1}},
        {"the same in fractions", matchBlockFractionalStep, {3, -3, 3, -3, 3, 0.5f}, moved, scene, {0, 2, -1}},
        {"of equal ones the first", matchBlockIntegerStep, {3, -2, 2, -1, 2, 1}, flat, flat, {0, -2, -1}},
        {"the same in fractions", matchBlockFractionalStep, {3, -2, 2, -1, 2, 0.5f}, flat, flat, {0, -2, -1}},
        {"no candidate", matchBlockIntegerStep, {3, 1, 0, 0, 0, 1}, flat, flat, {1e9f, 0, 0}},
        {"no candidate in fractions", matchBlockFractionalStep, {3, 0, 0, 1, 0, 0.5f}, flat, flat, {1e9f, 0, 0}},
        {"bounds without end",
         matchBlockIntegerStep,
         {1, -INT32_MAX, INT32_MAX, -INT32_MAX, INT32_MAX, 1e9f},
         scene,
         scene,
         {0.05f, -limit, -limit}},
        {"a step too small to count", matchBlockFractionalStep, {1, -1, 1, -1, 1, 1e-30f}, flat, flat, {0, -1, -1}}};
    for (const auto& c : cases) {
        expectMatch(c.match(c.search, c.current, c.reference, 20, 15, noBlockMatch), c.expected,
                    testing::Message() << c.what);
    }
}

TEST(PrepareGradientImage, GivesGreyLevelsAndTheirDifferences) {
    const struct {
        std::array<uint8_t, 4> greys;  // left, right, above, below of the middle pixel
        int horizontal, vertical;
    } cases[] = {{{0, 255, 255, 0}, 1, 255}, {{10, 13, 13, 10}, 127, 129}, {{7, 7, 9, 10}, 128, 128}};
    for (const auto& [greys, horizontal, vertical] : cases) {
        Pixel pixels[9];
        for (Pixel& pixel : pixels) pixel = {10, 20, 31, 9};
        const int places[] = {3, 5, 1, 7};
        for (size_t i = 0; i < 4; ++i) pixels[places[i]] = {greys[i], greys[i], greys[i], 255};
        Image image = {pixels, 3, 3, 0, 0};
        prepareGradientImage(image);
        const auto bytes = [&](int i) {
            return std::array<int, 4>{pixels[i].blue, pixels[i].green, pixels[i].red, pixels[i].weight};
        };
        EXPECT_EQ(bytes(4), (std::array<int, 4>{20, horizontal, vertical, 9}));
        EXPECT_EQ(bytes(0), (std::array<int, 4>{20, 20, 31, 9})) << "the border keeps green and red";
    }
}

}  // namespace
