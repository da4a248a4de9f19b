#include "align/blocks/block_alignment.h"

#include <cstdint>
#include <cstdio>

#include "align/blocks/block_grid.h"
#include "align/blocks/block_matching.h"
#include "align/blocks/deformation.h"
#include "align/blocks/gradient_image.h"
#include "core/progress.h"
#include "core/run_state.h"

namespace {

// Whether a search area, carried over to the reference, lies in it; it may end at its width or height.
bool liesInReference(const BlockSearch& search, int64_t x, int64_t y) {
    const Image &current = runState.current, &reference = runState.reference;
    const int64_t referenceX = x - current.originX + reference.originX;
    const int64_t referenceY = y - current.originY + reference.originY;
    return referenceX - search.searchWidth + search.shiftMinX >= 0 &&
           referenceX + search.searchWidth + search.shiftMaxX <= reference.width &&
           referenceY - search.searchWidth + search.shiftMinY >= 0 &&
           referenceY + search.searchWidth + search.shiftMaxY <= reference.height;
}

Image makeGradientImage(const Image& image) {
    Image gradient = copyImage(image);
    prepareGradientImage(gradient);
    return gradient;
}

void matchBlocks(const BlockSearch& search, const BlockLayout& layout, BlockGrid& grid) {
    Image current = makeGradientImage(runState.current);
    Image reference = makeGradientImage(runState.reference);
    const bool wholeStep =
        search.shiftStep >= 0x1p31f || static_cast<float>(static_cast<int32_t>(search.shiftStep)) == search.shiftStep;
    const auto matchBlock = wholeStep ? matchBlockIntegerStep : matchBlockFractionalStep;
    BlockMatch last = noBlockMatch;
    int32_t stars = 0;
    for (int32_t i = 0; i < grid.columns; ++i) {
        stars = printStars(stars, static_cast<int32_t>(50 * int64_t{i} / grid.columns) + 1);
        for (int32_t j = 0; j < grid.rows; ++j) {
            const int64_t x = layout.firstX + i * layout.spacing, y = layout.firstY + j * layout.spacing;
            BlockMatch match = {unmatchedBlockScore, 0.0f, 0.0f};
            if (liesInReference(search, x, y)) match = last = matchBlock(search, current, reference, x, y, last);
            const int64_t entry = int64_t{j} * grid.columns + i;
            grid.displacementX[entry] = match.x;
            grid.displacementY[entry] = match.y;
            grid.score[entry] = match.score;
        }
    }
    std::printf("\n");
    releaseImage(current);
    releaseImage(reference);
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
