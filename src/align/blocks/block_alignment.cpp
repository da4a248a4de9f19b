#include "align/blocks/block_alignment.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

#include "align/blocks/block_grid.h"
#include "align/blocks/block_search.h"
#include "align/blocks/deformation.h"
#include "align/blocks/gradient_image.h"
#include "align/blocks/row/row_matching.h"
#include "core/progress.h"
#include "state/run_state.h"

namespace {

Image makeGradientImage(const Image& image) {
    Image gradient = copyImage(image);
    prepareGradientImage(gradient);
    return gradient;
}

// Stars of the whole row: one at the first column, one more for every fiftieth of the columns.
int32_t countStars(int32_t columns) {
    return columns == 0 ? 0 : static_cast<int32_t>(50 * int64_t{columns - 1} / columns) + 1;
}

// Row by row, each in runs of columns, so that the row of stars grows steadily also where a grid has a single row.
void matchBlocks(const BlockSearch& search, const BlockLayout& layout, BlockGrid& grid) {
    constexpr int64_t runLength = 64;  // columns: some groups, and a fraction of a second of work
    const int32_t allStars = countStars(grid.columns);
    int32_t stars = printProgress(0, std::min(allStars, 1));  // before the work begins
    Image current = makeGradientImage(runState.current);
    if (runState.referenceGradient.pixels == nullptr)
        runState.referenceGradient = makeGradientImage(runState.reference);
    RowMatching matching = prepareRowMatching(search);
    std::array<BlockMatch, runLength> matches;
    const int64_t allBlocks = layout.columns * layout.rows;
    int64_t blocks = 0;
    for (int64_t j = 0; j < layout.rows; ++j) {
        for (int64_t first = 0; first < layout.columns; first += runLength) {
            const BlockRow run = {.firstX = layout.firstX + first * layout.spacing,
                                  .y = layout.firstY + j * layout.spacing,
                                  .spacing = layout.spacing,
                                  .count = std::min(runLength, layout.columns - first)};
            matchBlockRow(matching, current, runState.referenceGradient, run, matches.data());
            Displacement* to = grid.displacements + j * layout.columns + first;
            for (size_t i = 0; i < static_cast<size_t>(run.count); ++i) to[i] = {matches[i].x, matches[i].y};
            blocks += run.count;
            stars = printProgress(stars, static_cast<int32_t>(allStars * blocks / allBlocks));
        }
    }
    printProgress(stars, allStars);
    std::printf("\n");
    releaseImage(current);
}

}  // namespace

void alignBlocks() {
    const BlockSearch search = {.halfSize = runState.blockSearchWidth,
                                .shiftMinX = runState.blockShiftMinX,
                                .shiftMaxX = runState.blockShiftMaxX,
                                .shiftMinY = runState.blockShiftMinY,
                                .shiftMaxY = runState.blockShiftMaxY,
                                .shiftStep = runState.blockShiftStep};
    Image& current = runState.current;
    std::printf("Ajustage par blocs\n");
    std::printf("Calcul du meilleur ajustage");
    const BlockLayout layout = layOutBlocks(search, runState.blockGridWidth, current);
    BlockGrid grid = makeBlockGrid(layout);
    std::printf(" (%i blocs en largeur %i blocs en hauteur)\n", grid.columns, grid.rows);
    printRuler();
    matchBlocks(search, layout, grid);
    std::printf("Deformation de l'image\n");
    if (grid.columns > 0 && grid.rows > 0) {
        const Image bent = deformImage(current, grid, runState.blockGridWidth);
        releaseImage(current);
        current = bent;
    }
    releaseBlockGrid(grid);
}
