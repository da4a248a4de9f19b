#include "align/blocks/block_grid.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>

#include "core/fatal_error.h"

namespace {

int64_t countPositions(int64_t first, int64_t limit, int64_t spacing) {
    return first < limit ? (limit - first - 1) / spacing + 1 : 0;
}

float* makeEntries(int64_t count) {
    float* entries = new (std::nothrow) float[static_cast<size_t>(count)];
    if (entries == nullptr) stopForMemory();
    return entries;
}

}  // namespace

BlockLayout layOutBlocks(const BlockSearch& search, int32_t gridWidth, const Image& image) {
    const int64_t half = search.searchWidth;
    BlockLayout layout = {.firstX = half - search.shiftMinX + 1,
                          .firstY = half - search.shiftMinY + 1,
                          .spacing = gridWidth,
                          .columns = 0,
                          .rows = 0};
    layout.columns = countPositions(layout.firstX, image.width - half - search.shiftMaxX - 1, gridWidth);
    layout.rows = countPositions(layout.firstY, image.height - half - search.shiftMaxY - 1, gridWidth);
    return layout;
}

BlockGrid makeBlockGrid(const BlockLayout& layout) {
    constexpr int64_t largestSide = 1 << 24;  // blocks; no picture that fits in memory comes near
    if (layout.columns > largestSide || layout.rows > largestSide) stopForMemory();
    const int64_t entries = (layout.columns + 1) * (layout.rows + 1);
    return {.displacementX = makeEntries(entries),
            .displacementY = makeEntries(entries),
            .score = makeEntries(entries),
            .columns = static_cast<int32_t>(layout.columns),
            .rows = static_cast<int32_t>(layout.rows)};
}

void releaseBlockGrid(BlockGrid& grid) {
    delete[] grid.displacementX;
    delete[] grid.displacementY;
    delete[] grid.score;
    grid = {};
}

BlockCell findBlockCell(int32_t position, int32_t step, int32_t blocks) {
    const int64_t half = step / 2, last = blocks - 1;
    if (position <= half) return {0, std::min<int64_t>(1, last), 0.0f};
    const int64_t near = (position - half) / step;
    if (near > last) return {last, last, 0.0f};
    const double anchor = 0.5 * static_cast<double>(step) + static_cast<double>(near * step);
    return {near, std::min(near + 1, last), static_cast<float>((position - anchor) / step)};
}

CellDisplacements findCorners(const BlockGrid& grid, const BlockCell& column, const BlockCell& row) {
    const auto at = [&grid](int64_t i, int64_t j) {
        const int64_t entry = j * grid.columns + i;
        return Displacement{grid.displacementX[entry], grid.displacementY[entry]};
    };
    return {at(column.near, row.near), at(column.far, row.near), at(column.near, row.far), at(column.far, row.far)};
}

Displacement interpolateDisplacement(const BlockGrid& grid, int32_t x, int32_t y, int32_t stepX, int32_t stepY) {
    const BlockCell column = findBlockCell(x, stepX, grid.columns), row = findBlockCell(y, stepY, grid.rows);
    return mixDisplacements(findCorners(grid, column, row), column.fraction, row.fraction);
}
