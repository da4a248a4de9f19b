#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "align/blocks/block_grid.h"
#include "align/blocks/block_search.h"
#include "align/blocks/deformation.h"
#include "align/blocks/gradient_image.h"
#include "align/blocks/row/row_matching.h"
#include "benches.h"
#include "measure.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

constexpr int32_t gridWidth = 16;

// Matches row after row of the layout by matchRow and collects the results in a grid.
void matchAll(const BlockLayout& layout, BlockGrid& grid,
              const std::function<void(int64_t y, BlockMatch* matches)>& matchRow) {
    std::vector<BlockMatch> matches(static_cast<size_t>(grid.columns));
    for (int32_t j = 0; j < grid.rows; ++j) {
        matchRow(layout.firstY + j * layout.spacing, matches.data());
        for (int32_t i = 0; i < grid.columns; ++i) {
            grid.displacementX[j * grid.columns + i] = matches[static_cast<size_t>(i)].x;
            grid.displacementY[j * grid.columns + i] = matches[static_cast<size_t>(i)].y;
        }
    }
}

void benchDeformation(const Image& frame, const BlockGrid& grid) {
    Image plainBent, fastBent;
    compareTimes(
        "bending the image",
        [&] {
            releaseImage(plainBent);
            plainBent = plain::deformImage(frame, grid, gridWidth, gridWidth);
        },
        [&] {
            releaseImage(fastBent);
            fastBent = deformImage(frame, grid, gridWidth, gridWidth);
        });
    expectEqual("bending", std::memcmp(plainBent.pixels, fastBent.pixels, countPixels(frame) * sizeof(Pixel)) == 0);
    releaseImage(plainBent);
    releaseImage(fastBent);
}

void benchMatching(const Image& frame, const Image& reference, int32_t largestShift, float step) {
    Image current = copyImage(frame), facing = copyImage(reference);
    prepareGradientImage(current);
    prepareGradientImage(facing);
    const BlockSearch search = {8, -largestShift, largestShift, -largestShift, largestShift, step};
    const BlockLayout layout = layOutBlocks(search, gridWidth, frame);
    BlockGrid plainGrid = makeBlockGrid(layout), fastGrid = makeBlockGrid(layout);
    const bool whole = step == 1.0f;
    const auto plainMatch = whole ? plain::matchBlockIntegerStep : plain::matchBlockFractionalStep;
    const std::string what = "blocks, shift " + std::to_string(largestShift) + (whole ? ", step 1" : ", step 0.5");
    const auto positionOf = [&layout](int32_t i) { return layout.firstX + i * layout.spacing; };
    const auto matchPlainRow = [&](int64_t y, BlockMatch* matches) {
        for (int32_t i = 0; i < plainGrid.columns; ++i) {
            matches[i] = plainMatch(search, current, facing, positionOf(i), y);
        }
    };
    GroupWork work;
    const auto matchFastRow = [&](int64_t y, BlockMatch* matches) {
        matchBlockRow(work, search, current, facing, {layout.firstX, y, layout.spacing, layout.columns}, matches);
    };
    compareTimes(
        what, [&] { matchAll(layout, plainGrid, matchPlainRow); }, [&] { matchAll(layout, fastGrid, matchFastRow); });
    for (int32_t entry = 0; entry < plainGrid.columns * plainGrid.rows; ++entry) {
        expectEqual(what, plainGrid.displacementX[entry] == fastGrid.displacementX[entry] &&
                              plainGrid.displacementY[entry] == fastGrid.displacementY[entry]);
    }
    if (!whole) benchDeformation(frame, fastGrid);
    releaseBlockGrid(plainGrid);
    releaseBlockGrid(fastGrid);
    releaseImage(current);
    releaseImage(facing);
}

}  // namespace

void benchBlocks() {
    Image reference = makePlanet(2000, 1500, {}, 2), frame = makePlanet(2000, 1500, {0.0, 0.6, -0.4}, 3);
    benchMatching(frame, reference, 4, 1.0f);
    benchMatching(frame, reference, 3, 0.5f);
    releaseImage(frame);
    releaseImage(reference);
}
