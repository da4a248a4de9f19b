#include "align/blocks/block_grid.h"

#include "scenes.h"

namespace {

// Columns 0, 1, 2 hold 0, 100, 300 in x; row 1 adds 1000.
TEST(BlockGrid, RunsLinearlyBetweenAnchors) {
    Displacement displacements[] = {{0, 0}, {100, 0}, {300, 0}, {1000, 0}, {1100, 0}, {1300, 0}};
    const BlockGrid grid = {displacements, 3, 2};
    const struct {
        int32_t x, y, spacing;
        float expected;
    } cases[] = {{0, 0, 10, 0},    {5, 0, 10, 0},     {6, 0, 10, 10},    {15, 0, 10, 100}, {20, 0, 10, 200},
                 {30, 0, 10, 300}, {40, 0, 10, 300},  {0, 10, 10, 500},  {3, 0, 5, 10},    {7, 0, 5, 80},
                 {99, 0, 10, 300}, {0, 99, 10, 1000}, {15, 10, 10, 600}, {25, 6, 10, 400}};
    for (auto [x, y, spacing, expected] : cases) {
        const BlockCell column = findBlockCell(x, spacing, grid.columns), row = findBlockCell(y, spacing, grid.rows);
        const CellDisplacements corners = findCorners(grid, column, row);
        EXPECT_NEAR(mixDisplacements(corners, column.fraction, row.fraction).x, expected, 1e-3)
            << "at (" << x << ", " << y << "), spacing " << spacing;
    }
}

}  // namespace
