#include "align/blocks/block_alignment.h"

#include <cstdint>
#include <cstdio>
#include <vector>

#include "align/blocks/block_grid.h"
#include "align/blocks/block_matching.h"
#include "align/blocks/block_row_matching.h"
#include "align/blocks/deformation.h"
#include "align/blocks/gradient_image.h"
#include "core/progress.h"
#include "core/run_state.h"

namespace {

Image makeGradientImage(const Image& image) {
    Image gradient = copyImage(image);
    prepareGradientImage(gradient);
    return gradient;
}

void matchBlocks(const BlockSearch& search, const BlockLayout& layout, BlockGrid& grid) {
    Image current = makeGradientImage(runState.current);
    if (runState.referenceGradient.pixels == nullptr)
        runState.referenceGradient = makeGradientImage(runState.reference);
    // One star at the first column, one more for every fiftieth of the columns. They are matched row by row, so the row
    // of stars grows with the rows.
    const int32_t allStars =
        grid.columns == 0 ? 0 : static_cast<int32_t>(50 * int64_t{grid.columns - 1} / grid.columns) + 1;
    int32_t stars = 0;
    GroupWork work;
    std::vector<BlockMatch> matches(static_cast<size_t>(grid.columns));
    for (int32_t j = 0; j < grid.rows; ++j) {
        stars = printStars(stars, static_cast<int32_t>(int64_t{allStars} * j / grid.rows));
        const BlockGroup row = {.firstX = layout.firstX,
                                .y = layout.firstY + j * layout.spacing,
                                .spacing = layout.spacing,
                                .count = grid.columns};
        matchBlockRow(work, search, current, runState.referenceGradient, row, matches.data());
        for (int32_t i = 0; i < grid.columns; ++i) {
            const int64_t entry = int64_t{j} * grid.columns + i;
            const BlockMatch& match = matches[static_cast<size_t>(i)];
            grid.displacementX[entry] = match.x;
            grid.displacementY[entry] = match.y;
            grid.score[entry] = match.score;
        }
    }
    printStars(stars, allStars);
    std::printf("\n");
    releaseImage(current);
}

}  // namespace

void alignBlocks() {
    const BlockSearch search = {.searchWidth = runState.blockSearchWidth,
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
        const Image bent = deformImage(current, grid, runState.blockGridWidth, runState.blockGridWidth);
        releaseImage(current);
        current = bent;
    }
    releaseBlockGrid(grid);
}
