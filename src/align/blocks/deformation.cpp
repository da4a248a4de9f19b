#include "align/blocks/deformation.h"

#include <cstddef>
#include <vector>

#include "align/sampling/row_sampling.h"

namespace {

// The pixels of a row between the same two anchors, from first to before end, where the displacement depends on the
// fraction alone.
struct CellRun {
    BlockCell cell;  // of its first pixel
    size_t first, end;
};

std::vector<CellRun> listRuns(const std::vector<BlockCell>& cells) {
    std::vector<CellRun> runs;
    for (size_t x = 0; x < cells.size(); ++x) {
        const bool same = x > 0 && cells[x].near == cells[x - 1].near && cells[x].far == cells[x - 1].far;
        if (!same) runs.push_back({cells[x], x, x});
        runs.back().end = x + 1;
    }
    return runs;
}

// The positions that the pixels of a row show, x and y apart.
struct RowPositions {
    std::vector<float> column, fraction;  // of each pixel: its own column, and the fraction on its way between anchors
    std::vector<float> x, y;
};

void findPositions(RowPositions& positions, const BlockGrid& grid, const std::vector<CellRun>& runs,
                   const BlockCell& row, int32_t y) {
    for (const CellRun& run : runs) {
        const CellDisplacements corners = findCorners(grid, run.cell, row);
        for (size_t i = run.first; i < run.end; ++i) {
            const Displacement displacement = mixDisplacements(corners, positions.fraction[i], row.fraction);
            positions.x[i] = positions.column[i] - displacement.x;
            positions.y[i] = static_cast<float>(y) - displacement.y;
        }
    }
}

}  // namespace

Image deformImage(Image source, const BlockGrid& grid, int32_t spacing) {
    Image bent = makeUnfilledImage(source.width, source.height);
    bent.originX = source.originX;
    bent.originY = source.originY;
    const auto width = static_cast<size_t>(bent.width);
    std::vector<BlockCell> cells;
    RowPositions positions;
    for (int32_t x = 0; x < bent.width; ++x) {
        cells.push_back(findBlockCell(x, spacing, grid.columns));
        positions.fraction.push_back(cells.back().fraction);
        positions.column.push_back(static_cast<float>(x));
    }
    positions.x.resize(width);
    positions.y.resize(width);
    const std::vector<CellRun> runs = listRuns(cells);
    for (int32_t y = 0; y < bent.height; ++y) {
        findPositions(positions, grid, runs, findBlockCell(y, spacing, grid.rows), y);
        samplingKernel().samplePositions(source, positions.x.data(), positions.y.data(), rowOf(bent, y), width);
    }
    return bent;
}
