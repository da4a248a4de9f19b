#include <cstring>
#include <string>
#include <vector>

#include "align/blocks/block_grid.h"
#include "align/blocks/block_matching.h"
#include "align/blocks/deformation.h"
#include "align/blocks/gradient_image.h"
#include "benches.h"
#include "measure.h"
#include "plain/plain.h"
#include "scenes.h"

namespace {

constexpr int32_t gridWidth = 16;

// Calls match for every block of the layout and collects the results in a grid, the former match at hand.
template <typename Match>
void matchAll(const BlockLayout& layout, BlockGrid& grid, const Match& match) {
    BlockMatch last = noBlockMatch;
    for (int32_t i = 0; i < grid.columns; ++i) {
        for (int32_t j = 0; j < grid.rows; ++j) {
            last = match(layout.firstX + i * layout.spacing, layout.firstY + j * layout.spacing, last);
            const int32_t entry = j * grid.columns + i;
            grid.displacementX[entry] = last.x;
            grid.displacementY[entry] = last.y;
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
    const auto fastMatch = whole ? matchBlockIntegerStep : matchBlockFractionalStep;
    const std::string what = "blocks, shift " + std::to_string(largestShift) + (whole ? ", step 1" : ", step 0.5");
    compareTimes(
        what,
        [&] {
            matchAll(layout, plainGrid, [&](int64_t x, int64_t y, const BlockMatch&) {
                return plainMatch(search, current, facing, x, y);
            });
        },
        [&] {
            matchAll(layout, fastGrid, [&](int64_t x, int64_t y, const BlockMatch& start) {
                return fastMatch(search, current, facing, x, y, start);
            });
        });
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
