#include "align/global/resampling.h"

#include <cmath>

#include "plain/plain.h"
#include "scenes.h"

namespace {

constexpr float degree = 0.017453292f;

// Pixel (x, y) holds its own column in blue and its row in green.
TEST(Resampling, TakesThePixelsExpected) {
    Image source = keep(makeImage(100, 80));
    for (int32_t i = 0; i < 8000; ++i)
        source.pixels[i] = {static_cast<uint8_t>(i % 100), static_cast<uint8_t>(i / 100), 0, 255};
    source.originX = 50;
    source.originY = 40;
    const Image shifted = keep(makeAlignedImage(source, 0, 3, -2)), half = keep(makeAlignedImage(source, 0, 0.5f, 0));
    const Image reduced = keep(makeScaledCopy(source, 0.125f));
    const Image window = keep(makeRotatedWindow({source.pixels, 100, 80, 10, 10}, 4, 4, 0));
    EXPECT_EQ(describe(shifted), "100 x 80 with origin (50, 40)");
    EXPECT_EQ(describe(reduced), "12 x 10 with origin (6, 5)");
    EXPECT_EQ(describe(window), "4 x 4 with origin (2, 2)");
    const struct {
        const char* what;
        const Image& image;
        int32_t x, y;
        Pixel expected;
    } cases[] = {{"shifted", shifted, 10, 20, {13, 18, 0, 255}}, {"last column", shifted, 96, 2, {99, 0, 0, 255}},
                 {"a mean, cut", half, 7, 5, {7, 5, 0, 255}},    {"reduced", reduced, 11, 9, {88, 72, 0, 255}},
                 {"window", window, 3, 2, {11, 10, 0, 255}},     {"odd row", window, 3, 1, {}}};
    for (auto [what, image, x, y, expected] : cases)
        EXPECT_TRUE(sameImage({rowOf(image, y) + x, 1, 1, 0, 0}, {&expected, 1, 1, 0, 0})) << what;
    for (const float angle : {10 * degree, -10 * degree})
        EXPECT_EQ(describe(keep(makeAlignedImage(source, angle, 7, -4))), "112 x 96 with origin (56, 48)") << angle;
}

TEST(Resampling, EqualsThePlainOne) {
    Random random(4);
    constexpr float angles[] = {0, 1e-4f, 2 * degree, 45 * degree, 1.5f, -3.1f, 1e6f, -1e-4f, -2 * degree};
    for (int round = 0; round < 1500; ++round) {
        Image source = makeAnyScene(random, round, false, 50);
        float angle = angles[round % 9];
        if (round % 4 == 0) {  // a turn that brings a corner next to a whole number, where each rounding counts
            source.originX = source.originY = 0;
            const int32_t side = round % 8 == 0 ? source.height : source.width;
            angle = std::asin(static_cast<float>(pick(random, -side, side)) / static_cast<float>(side));
        }
        if (round % 18 == 9) source.originX = 20000001;  // beyond what single precision counts: no copy of pixels
        const auto width = pick(random, 0, 60), height = pick(random, 0, 60);
        const float factor = round % 2 == 0 ? 0.125f : static_cast<float>(pick(random, 1, 300)) / 100;
        const float x = static_cast<float>(pick(random, -40, 40)) / (round % 5 == 0 ? 8 : 1);
        const auto y = static_cast<float>(pick(random, -40, 40));
        const auto trial = testing::Message() << "round " << round << ", " << describe(source) << ", angle " << angle
                                              << ", factor " << factor << ", shift (" << x << ", " << y << ")";
        EXPECT_TRUE(sameImage(keep(makeRotatedWindow(source, width, height, angle)),
                              keep(plain::makeRotatedWindow(source, width, height, angle))))
            << trial;
        EXPECT_TRUE(sameImage(keep(makeScaledCopy(source, factor)), keep(plain::makeScaledCopy(source, factor))))
            << trial;
        EXPECT_TRUE(
            sameImage(keep(makeAlignedImage(source, angle, x, y)), keep(plain::makeAlignedImage(source, angle, x, y))))
            << trial;
    }
}

}  // namespace
