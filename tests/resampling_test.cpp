#include "align/global/resampling.h"

#include <gtest/gtest.h>

#include "plain/plain.h"
#include "scenes.h"

namespace {

constexpr float degree = 0.017453292f;

// Pixel (x, y) holds its own column in blue and its row in green.
Image makeCoordinates(int32_t width, int32_t height) {
    Image image = keep(makeImage(width, height));
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            rowOf(image, y)[x] = {static_cast<uint8_t>(x), static_cast<uint8_t>(y), 0, 255};
    image.originX = width / 2;
    image.originY = height / 2;
    return image;
}

TEST(MakeAlignedImage, HasTheBoundingBoxOfTheTurnedSource) {
    const struct {
        int32_t width, height;
        float angle, shiftX, shiftY;
        const char* expected;
    } cases[] = {{100, 80, 0.0f, 0, 0, "100 x 80 with origin (50, 40)"},
                 {100, 80, 10 * degree, 0, 0, "112 x 96 with origin (56, 48)"},
                 {100, 80, -10 * degree, 0, 0, "112 x 96 with origin (56, 48)"},
                 {640, 480, 2 * degree, 7, -4, "656 x 502 with origin (328, 251)"},
                 {640, 480, -2 * degree, 7, -4, "656 x 502 with origin (328, 251)"}};
    for (auto [width, height, angle, shiftX, shiftY, expected] : cases) {
        EXPECT_EQ(describe(keep(makeAlignedImage(makeCoordinates(width, height), angle, shiftX, shiftY))), expected)
            << width << " x " << height << " turned by " << angle;
    }
}

TEST(Resampling, TakesThePixelsExpected) {
    const Image source = makeCoordinates(100, 80);
    const Image shifted = keep(makeAlignedImage(source, 0, 3, -2));
    const Image mixed = keep(makeAlignedImage(source, 0, 0.5f, 0));
    const Image reduced = keep(makeScaledCopy(source, 0.125f));
    const Image window = keep(makeRotatedWindow({source.pixels, 100, 80, 10, 10}, 4, 4, 0));
    EXPECT_EQ(describe(reduced), "12 x 10 with origin (6, 5)");
    EXPECT_EQ(describe(window), "4 x 4 with origin (2, 2)");
    const struct {
        const char* what;
        const Image& image;
        int32_t x, y;
        std::array<int, 4> expected;
    } cases[] = {{"shifted", shifted, 10, 20, {13, 18, 0, 255}},
                 {"shifted, above", shifted, 10, 1, {0, 0, 0, 0}},
                 {"shifted, last", shifted, 96, 2, {99, 0, 0, 255}},
                 {"shifted, beside", shifted, 97, 20, {0, 0, 0, 0}},
                 {"mean, truncated", mixed, 7, 5, {7, 5, 0, 255}},
                 {"last column", mixed, 99, 5, {99, 5, 0, 255}},
                 {"reduced", reduced, 11, 9, {88, 72, 0, 255}},
                 {"window", window, 3, 2, {11, 10, 0, 255}},
                 {"odd row", window, 3, 1, {0, 0, 0, 0}}};
    for (const auto& c : cases) {
        const Pixel p = rowOf(c.image, c.y)[c.x];
        EXPECT_EQ((std::array<int, 4>{p.blue, p.green, p.red, p.weight}), c.expected) << c.what;
    }
}

TEST(Resampling, EqualsThePlainOne) {
    Random random(4);
    for (int round = 0; round < 400; ++round) {
        const Image source = makeAnyScene(random, round % 2 == 0 ? Fill::noise : Fill::disc, false, 50);
        const float angles[] = {0, 1e-4f, 2 * degree, 45 * degree, 1.5f, -3.1f, 1e6f};
        const float angle = angles[pick(random, 0, 6)] * (round % 3 == 0 ? -1.0f : 1.0f);
        const auto width = pick(random, 0, 60), height = pick(random, 0, 60);
        const float factor = round % 2 == 0 ? 0.125f : static_cast<float>(pick(random, 1, 300)) / 100;
        const float shiftX = static_cast<float>(pick(random, -40, 40)) / (round % 5 == 0 ? 8 : 1);
        const auto shiftY = static_cast<float>(pick(random, -40, 40));
        const auto trial = testing::Message() << "round " << round << ", " << describe(source) << ", angle " << angle
                                              << ", window " << width << " x " << height << ", factor " << factor
                                              << ", shift " << shiftX << " " << shiftY;
        EXPECT_TRUE(sameImage(keep(makeRotatedWindow(source, width, height, angle)),
                              keep(plain::makeRotatedWindow(source, width, height, angle))))
            << trial;
        EXPECT_TRUE(sameImage(keep(makeScaledCopy(source, factor)), keep(plain::makeScaledCopy(source, factor))))
            << trial;
        EXPECT_TRUE(sameImage(keep(makeAlignedImage(source, angle, shiftX, shiftY)),
                              keep(plain::makeAlignedImage(source, angle, shiftX, shiftY))))
            << trial;
    }
}

}  // namespace
