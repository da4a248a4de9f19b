#include "align/blocks/block_grid.h"

#include "scenes.h"

namespace {

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
