#include "align/blocks/block_grid.h"

#include "scenes.h"

namespace {

TEST(LayOutBlocks, KeepsSearchAreasInside) {
    constexpr int32_t limit = INT32_MAX;
    const struct {
        int32_t width, height, grid, searchWidth, shift;
        std::array<int64_t, 4> expected;  // first x and y, columns, rows
    } cases[] = {{100, 80, 10, 8, 2, {11, 11, 8, 6}},
                 {24, 23, 1, 8, 2, {11, 11, 2, 1}},
                 {0, 0, 10, 8, 2, {11, 11, 0, 0}},
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

}  // namespace
