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

// The cell of one axis: between the anchors of blocks near and far, at fraction of the way.
struct Cell {
    int64_t near, far;
    float fraction;
};

Cell findCell(int64_t position, int64_t step, int64_t blocks) {
    const int64_t half = step / 2;
    Cell cell = {0, 0, 0.0f};
    if (position > half) {
        cell.near = (position - half) / step;
        const double anchor = 0.5 * static_cast<double>(step) + static_cast<double>(cell.near * step);
        cell.fraction = static_cast<float>((static_cast<double>(position) - anchor) / static_cast<double>(step));
        if (cell.near >= blocks) cell = {blocks - 1, 0, 0.0f};
    }
    cell.far = std::min(cell.near + 1, blocks - 1);
    return cell;
}

}  // namespace

BlockLayout layOutBlocks(const BlockSearch& search, int32_t gridWidth, const Image& image) {
    const int64_t half = search.searchWidth;
    BlockLayout layout = {
        .firstX = half - search.shiftMinX + 1, .firstY = half - search.shiftMinY + 1, .spacing = gridWidth, .columns = 0, .rows = 0};
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

Displacement interpolateDisplacement(const BlockGrid& grid, int32_t x, int32_t y, int32_t stepX, int32_t stepY) {
    const Cell column = findCell(x, stepX, grid.columns), row = findCell(y, stepY, grid.rows);
    const float fx = column.fraction, fy = row.fraction;
    const int64_t topLeft = row.near * grid.columns + column.near, topRight = row.near * grid.columns + column.far;
    const int64_t bottomLeft = row.far * grid.columns + column.near, bottomRight = row.far * grid.columns + column.far;
    const auto mix = [=](const float* entries) {
        return (1.0f - fx) * (1.0f - fy) * entries[topLeft] + fx * (1.0f - fy) * entries[topRight] +
               (1.0f - fx) * fy * entries[bottomLeft] + fx * fy * entries[bottomRight];
    };
    return {mix(grid.displacementX), mix(grid.displacementY)};
}
