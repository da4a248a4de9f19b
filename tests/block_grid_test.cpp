#include "align/blocks/block_grid.h"

#include <vector>

#include "align/blocks/deformation.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

TEST(LayOutBlocks, KeepsSearchAreasInside) {
    constexpr int32_t limit = INT32_MAX;
    const struct {
        int32_t width, height, grid, searchWidth, shift;
        std::array<int64_t, 4> expected;  // first x and y, columns, rows
    } cases[] = {{100, 80, 10, 8, 2, {11, 11, 8, 6}},
                 {24, 23, 1, 8, 2, {11, 11, 2, 1}},
                 {22, 80, 10, 8, 2, {11, 11, 0, 6}},
                 {0, 0, 10, 8, 2, {11, 11, 0, 0}},
                 {3, 3, 1, 0, 0, {1, 1, 1, 1}},
                 {100, 80, limit, 8, 2, {11, 11, 1, 1}},
                 {9, 9, 1, limit, limit, {4294967295, 4294967295, 0, 0}}};
    for (const auto& [width, height, grid, searchWidth, shift, expected] : cases) {
        const BlockSearch search = {searchWidth, -shift, shift, -shift, shift, 1.0f};
        const BlockLayout layout = layOutBlocks(search, grid, {nullptr, width, height, 0, 0});
        EXPECT_EQ((std::array{layout.firstX, layout.firstY, layout.columns, layout.rows}), expected)
            << width << " x " << height << ", grid " << grid << ", half-size " << searchWidth;
    }
}

// Columns 0, 1, 2 hold 0, 100, 300 in x; row 1 adds 1000.
TEST(InterpolateDisplacement, RunsLinearlyBetweenAnchors) {
    std::array<float, 6> x = {0, 100, 300, 1000, 1100, 1300}, y = {};
    const BlockGrid grid = {x.data(), y.data(), nullptr, 3, 2};
    const struct {
        int32_t x, y, step;
        float expected;
    } cases[] = {{0, 0, 10, 0},    {5, 0, 10, 0},     {6, 0, 10, 10},    {15, 0, 10, 100}, {20, 0, 10, 200},
                 {30, 0, 10, 300}, {40, 0, 10, 300},  {0, 10, 10, 500},  {3, 0, 5, 10},    {7, 0, 5, 80},
                 {99, 0, 10, 300}, {0, 99, 10, 1000}, {15, 10, 10, 600}, {25, 6, 10, 400}};
    for (auto [px, py, step, expected] : cases)
        EXPECT_NEAR(interpolateDisplacement(grid, px, py, step, step).x, expected, 1e-3)
            << "at (" << px << ", " << py << "), step " << step;
}

TEST(DeformImage, EqualsThePlainOne) {
    Random random(11);
    for (int round = 0; round < 2000; ++round) {
        const Image source = makeAnyScene(random, round, false, 70);
        const int32_t columns = pick(random, 1, 5), rows = pick(random, 1, 5);
        const int32_t stepX = pick(random, 1, 20), stepY = pick(random, 1, 20);
        std::vector<float> displacements[2];
        const float largest = std::array{0.0f, 0.4f, 2.0f, 9.0f, 4e9f}[static_cast<size_t>(round % 5)];
        for (std::vector<float>& axis : displacements)
            for (int i = 0; i < columns * rows; ++i)
                axis.push_back(largest * static_cast<float>(pick(random, -10, 10)) / 10);
        const BlockGrid grid = {displacements[0].data(), displacements[1].data(), nullptr, columns, rows};
        const auto trial = testing::Message() << "round " << round << ", " << describe(source) << ", " << columns
                                              << " x " << rows << " blocks, steps " << stepX << " and " << stepY;
        EXPECT_TRUE(sameImage(keep(deformImage(source, grid, stepX, stepY)),
                              keep(plain::deformImage(source, grid, stepX, stepY))))
            << trial;
        const int32_t x = pick(random, 0, 90), y = pick(random, 0, 90);
        const Displacement got = interpolateDisplacement(grid, x, y, stepX, stepY);
        const Displacement expected = plain::interpolateDisplacement(grid, x, y, stepX, stepY);
        EXPECT_EQ(got.x, expected.x) << trial << " at (" << x << ", " << y << ")";
        EXPECT_EQ(got.y, expected.y) << trial << " at (" << x << ", " << y << ")";
    }
}

}  // namespace
