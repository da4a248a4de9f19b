#include "align/blocks/block_grid.h"

#include <gtest/gtest.h>

#include <vector>

#include "align/blocks/deformation.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

TEST(LayOutBlocks, KeepsSearchAreasInside) {
    const struct {
        int32_t width, height, grid, searchWidth, shift;
        std::array<int64_t, 4> expected;  // first x and y, columns, rows
    } cases[] = {{100, 80, 10, 8, 2, {11, 11, 8, 6}},
                 {24, 23, 1, 8, 2, {11, 11, 2, 1}},
                 {22, 80, 10, 8, 2, {11, 11, 0, 6}},
                 {22, 23, 16, 8, 2, {11, 11, 0, 1}},
                 {0, 0, 10, 8, 2, {11, 11, 0, 0}},
                 {3, 3, 1, 0, 0, {1, 1, 1, 1}},
                 {100, 80, 2147483647, 8, 2, {11, 11, 1, 1}},
                 {9, 9, 1, 2147483647, 2147483647, {4294967295, 4294967295, 0, 0}}};
    for (const auto& c : cases) {
        const BlockSearch search = {c.searchWidth, -c.shift, c.shift, -c.shift, c.shift, 1.0f};
        const BlockLayout layout = layOutBlocks(search, c.grid, {nullptr, c.width, c.height, 0, 0});
        EXPECT_EQ((std::array{layout.firstX, layout.firstY, layout.columns, layout.rows}), c.expected)
            << c.width << " x " << c.height << ", grid " << c.grid << ", half-size " << c.searchWidth;
    }
}

// Columns 0, 1, 2 hold 0, 100, 300 in x, rows 0, 1 add 0, 1000.
TEST(InterpolateDisplacement, RunsLinearlyBetweenAnchors) {
    std::array<float, 6> x = {0, 100, 300, 1000, 1100, 1300}, y = {};
    const BlockGrid grid = {x.data(), y.data(), nullptr, 3, 2};
    const struct {
        int32_t x, y, step;
        float expected;
    } cases[] = {{0, 0, 10, 0},      {5, 0, 10, 0},    {6, 0, 10, 10},   {15, 0, 10, 100}, {20, 0, 10, 200},
                 {30, 0, 10, 300},   {40, 0, 10, 300}, {99, 0, 10, 300}, {0, 10, 10, 500}, {15, 14, 10, 1000},
                 {15, 99, 10, 1100}, {3, 0, 5, 10},    {7, 0, 5, 80}};
    for (const auto& c : cases) {
        EXPECT_NEAR(interpolateDisplacement(grid, c.x, c.y, c.step, c.step).x, c.expected, 1e-3)
            << "at (" << c.x << ", " << c.y << "), step " << c.step;
    }
}

TEST(DeformImage, EqualsThePlainOne) {
    Random random(11);
    for (int round = 0; round < 500; ++round) {
        const Image source = makeAnyScene(random, round % 2 == 0 ? Fill::noise : Fill::disc, false, 70);
        const int32_t columns = pick(random, 1, 5), rows = pick(random, 1, 5);
        std::vector<float> x, y;
        const float largest = std::array{0.4f, 2.0f, 9.0f, 4e9f}[static_cast<size_t>(round % 4)];
        for (int i = 0; i < columns * rows; ++i) {
            x.push_back(largest * static_cast<float>(pick(random, -10, 10)) / 10);
            y.push_back(largest * static_cast<float>(pick(random, -10, 10)) / 10);
        }
        const BlockGrid grid = {x.data(), y.data(), nullptr, columns, rows};
        const int32_t stepX = pick(random, 1, 20), stepY = pick(random, 1, 20);
        const auto trial = testing::Message() << "round " << round << ", " << describe(source) << ", " << columns
                                              << " x " << rows << " blocks, steps " << stepX << " " << stepY;
        EXPECT_TRUE(sameImage(keep(deformImage(source, grid, stepX, stepY)),
                              keep(plain::deformImage(source, grid, stepX, stepY))))
            << trial;
        const int32_t px = pick(random, 0, 90), py = pick(random, 0, 90);
        const Displacement got = interpolateDisplacement(grid, px, py, stepX, stepY);
        const Displacement expected = plain::interpolateDisplacement(grid, px, py, stepX, stepY);
        EXPECT_TRUE(sameBits(got.x, expected.x) && sameBits(got.y, expected.y)) << trial << " at " << px << " " << py;
    }
}

// Pixel x holds 10 x; two rows, so that the first mixes and the last copies.
TEST(DeformImage, ByAConstantDisplacement) {
    const struct {
        float displacement;
        std::array<int, 4> first, last;  // blue of the two rows; -1: no data
    } cases[] = {{0, {0, 10, 20, 30}, {0, 10, 20, 30}},
                 {1, {-1, 0, 10, 20}, {-1, 0, 10, 20}},
                 {-1, {10, 20, 30, -1}, {10, 20, 30, -1}},
                 {0.5f, {-1, 5, 15, 25}, {-1, 0, 10, 20}}};
    for (const auto& c : cases) {
        std::array<Pixel, 8> pixels;
        for (size_t i = 0; i < 8; ++i) pixels[i] = {static_cast<uint8_t>(i % 4 * 10), 0, 0, 255};
        float x = c.displacement, y = 0;
        const Image bent = keep(deformImage({pixels.data(), 4, 2, 0, 0}, {&x, &y, nullptr, 1, 1}, 2, 2));
        for (size_t i = 0; i < 8; ++i) {
            const int expected = i < 4 ? c.first[i] : c.last[i - 4],
                      got = bent.pixels[i].weight == 0 ? -1 : bent.pixels[i].blue;
            EXPECT_EQ(got, expected) << "displacement " << c.displacement << ", pixel " << i;
        }
    }
}

}  // namespace
