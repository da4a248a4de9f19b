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

}  // namespace

BlockLayout layOutBlocks(const BlockSearch& search, int32_t spacing, const Image& image) {
    const int64_t half = search.halfSize;
    BlockLayout layout = {.firstX = half - search.shiftMinX + 1,
                          .firstY = half - search.shiftMinY + 1,
                          .spacing = spacing,
                          .columns = 0,
                          .rows = 0};
    layout.columns = countPositions(layout.firstX, image.width - half - search.shiftMaxX - 1, spacing);
    layout.rows = countPositions(layout.firstY, image.height - half - search.shiftMaxY - 1, spacing);
    return layout;
}

BlockGrid makeBlockGrid(const BlockLayout& layout) {
    constexpr int64_t sideLimit = 1 << 24;  // blocks; no picture that fits in memory comes near
    if (layout.columns > sideLimit || layout.rows > sideLimit) stopForMemory();
    const auto entries = static_cast<size_t>(layout.columns * layout.rows);
    BlockGrid grid = {.displacements = new (std::nothrow) Displacement[entries],
                      .columns = static_cast<int32_t>(layout.columns),
                      .rows = static_cast<int32_t>(layout.rows)};
    if (grid.displacements == nullptr) stopForMemory();
    return grid;
}

void releaseBlockGrid(BlockGrid& grid) {
    delete[] grid.displacements;
    grid = {};
}

BlockCell findBlockCell(int32_t position, int32_t spacing, int32_t blocks) {
    const int64_t half = spacing / 2, last = blocks - 1;
    if (position <= half) return {0, std::min<int64_t>(1, last), 0.0f};
    const int64_t near = (position - half) / spacing;
    if (near > last) return {last, last, 0.0f};
    const double anchor = 0.5 * static_cast<double>(spacing) + static_cast<double>(near * spacing);
    return {near, std::min(near + 1, last), static_cast<float>((position - anchor) / spacing)};
}

CellDisplacements findCorners(const BlockGrid& grid, const BlockCell& column, const BlockCell& row) {
    const Displacement *near = grid.displacements + row.near * grid.columns,
                       *far = grid.displacements + row.far * grid.columns;
    return {near[column.near], near[column.far], far[column.near], far[column.far]};
}
