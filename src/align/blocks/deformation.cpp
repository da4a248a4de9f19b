#include "align/blocks/deformation.h"

#include <cstddef>
#include <vector>

#include "align/global/row_sampling.h"

namespace {

// The positions that the pixels of row y show, x and y apart. Between two neighbouring anchors the displacement depends
// on the fraction alone, so a row is taken cell by cell.
void findPositions(const BlockGrid& grid, const std::vector<BlockCell>& cells, const BlockCell& row, int32_t y,
                   std::vector<float>& positionX, std::vector<float>& positionY) {
    for (size_t first = 0, end; first < cells.size(); first = end) {
        const BlockCell& cell = cells[first];
        const CellDisplacements corners = findCorners(grid, cell, row);
        for (end = first; end < cells.size() && cells[end].near == cell.near && cells[end].far == cell.far; ++end) {
            const Displacement displacement = mixDisplacements(corners, cells[end].fraction, row.fraction);
            positionX[end] = static_cast<float>(static_cast<int32_t>(end)) - displacement.x;
            positionY[end] = static_cast<float>(y) - displacement.y;
        }
    }
}

}  // namespace

Image deformImage(Image source, const BlockGrid& grid, int32_t stepX, int32_t stepY) {
    Image bent = makeUnfilledImage(source.width, source.height);
    bent.originX = source.originX;
    bent.originY = source.originY;
    const auto width = static_cast<size_t>(bent.width);
    std::vector<BlockCell> cells;
    cells.reserve(width);
    for (int32_t x = 0; x < bent.width; ++x) cells.push_back(findBlockCell(x, stepX, grid.columns));
    std::vector<float> positionX(width), positionY(width);
    for (int32_t y = 0; y < bent.height; ++y) {
        findPositions(grid, cells, findBlockCell(y, stepY, grid.rows), y, positionX, positionY);
        fastestSampling().samplePositions(source, positionX.data(), positionY.data(), rowOf(bent, y), width);
    }
    return bent;
}
