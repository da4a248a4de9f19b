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

// Matches the blocks of row j of the layout one by one.
void matchOneByOne(const BlockSearch& search, const Image& current, const Image& reference, const BlockLayout& layout,
                   int64_t y, bool wholeStep, std::vector<BlockMatch>& matches) {
    const auto matchBlock = wholeStep ? matchBlockIntegerStep : matchBlockFractionalStep;
    BlockMatch last = noBlockMatch;
    for (size_t i = 0; i < matches.size(); ++i) {
        const int64_t x = layout.firstX + static_cast<int64_t>(i) * layout.spacing;
        matches[i] = {unmatchedBlockScore, 0.0f, 0.0f};
        if (liesInReference(search, x, y)) matches[i] = last = matchBlock(search, current, reference, x, y, last);
    }
}

void matchBlocks(const BlockSearch& search, const BlockLayout& layout, BlockGrid& grid) {
    Image current = makeGradientImage(runState.current);
    if (runState.referenceGradient.pixels == nullptr)
        runState.referenceGradient = makeGradientImage(runState.reference);
    const Image& reference = runState.referenceGradient;
    const bool wholeStep =
        search.shiftStep >= 0x1p31f || static_cast<float>(static_cast<int32_t>(search.shiftStep)) == search.shiftStep;
    // One star at the first column, one more for every fiftieth of the columns. They are matched row by row, so the row
    // of stars grows with the rows.
    const int32_t allStars =
        grid.columns == 0 ? 0 : static_cast<int32_t>(50 * int64_t{grid.columns - 1} / grid.columns) + 1;
    int32_t stars = 0;
    std::vector<BlockMatch> matches(static_cast<size_t>(grid.columns));
    for (int32_t j = 0; j < grid.rows; ++j) {
        stars = printStars(stars, static_cast<int32_t>(int64_t{allStars} * j / grid.rows));
        const int64_t y = layout.firstY + j * layout.spacing;
        if (wholeStep && grid.columns > 0 &&
            canMatchBlockRow(search, current, reference, layout.firstX, y, layout.spacing, grid.columns)) {
            matchBlockRow(search, current, reference, layout.firstX, y, layout.spacing, grid.columns, matches.data());
        } else {
            matchOneByOne(search, current, reference, layout, y, wholeStep, matches);
        }
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
