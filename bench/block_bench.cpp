#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "align/blocks/block_alignment.h"
#include "align/blocks/block_grid.h"
#include "align/blocks/block_search.h"
#include "align/blocks/deformation.h"
#include "benches.h"
#include "measure.h"
#include "plain/plain.h"
#include "scenes.h"
#include "state/run_state.h"

namespace {

// Spacing, half-size, largest shift and step as in the script. Steps are swept: halves to twentieths, and two that no
// number of parts a pixel serves.
struct BlockSetting {
    int32_t spacing, halfSize, largestShift;
    float step;
};
constexpr BlockSetting settings[] = {{16, 8, 4, 1.0f}, {16, 8, 4, 2.0f},   {16, 8, 4, 0.75f},  {16, 8, 4, 0.5f},
                                     {16, 8, 4, 0.4f}, {16, 8, 4, 0.375f}, {16, 8, 4, 0.3f},   {16, 8, 4, 0.25f},
                                     {16, 8, 4, 0.2f}, {16, 8, 4, 0.15f},  {26, 8, 4, 0.5f},   {26, 8, 4, 0.125f},
                                     {26, 8, 4, 0.1f}, {26, 8, 4, 0.05f},  {16, 20, 10, 1.0f}, {32, 8, 4, 1.0f},
                                     {32, 6, 2, 0.7f}, {32, 12, 6, 0.6f},  {26, 8, 4, 0.33f},  {26, 8, 2, 0.2718f}};

void useSetting(const BlockSetting& setting) {
    runState.blockGridWidth = setting.spacing;
    runState.blockSearchWidth = setting.halfSize;
    runState.blockShiftMinX = runState.blockShiftMinY = -setting.largestShift;
    runState.blockShiftMaxX = runState.blockShiftMaxY = setting.largestShift;
    runState.blockShiftStep = setting.step;
}

std::string describe(const BlockSetting& setting) {
    char text[64];
    std::snprintf(text, sizeof text, "Bloc %i %i %i %g", setting.spacing, setting.halfSize, setting.largestShift,
                  static_cast<double>(setting.step));
    return text;
}

// The local stage of one frame, seconds of processor time: the better of two.
double timeBlocks(const Image& frame) {
    double best = 1e9;
    for (int round = 0; round < 2; ++round) {
        runState.current = copyImage(frame);
        const std::clock_t start = std::clock();
        runSilently([] { alignBlocks(); });
        best = std::min(best, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
        releaseImage(runState.current);
    }
    return best;
}

// Darkened until most of the sky is 0: places of one colour, where no shift is better than another.
Image clipSky(const Image& frame) {
    constexpr int32_t level = 24;
    Image clipped = copyImage(frame);
    for (size_t i = 0; i < countPixels(clipped); ++i) {
        Pixel& pixel = clipped.pixels[i];
        for (uint8_t* colour : {&pixel.blue, &pixel.green, &pixel.red}) {
            *colour = static_cast<uint8_t>(std::max(*colour - level, 0));
        }
    }
    return clipped;
}

void benchSettings() {
    struct Scene {
        const char* name;
        Image reference, frame;
    };
    std::vector<Scene> scenes = {
        {"planet", makePlanet(2000, 1500, {}, 2), makePlanet(2000, 1500, {0.0, 0.6, -0.4}, 3)},
        {"stars", makeStarField(2000, 1500, {}, 2), makeStarField(2000, 1500, {0.0, 0.6, -0.4}, 3)}};
    for (size_t i = 0; i < 2; ++i) {
        scenes.push_back(
            {i == 0 ? "planet, clipped" : "stars, clipped", clipSky(scenes[i].reference), clipSky(scenes[i].frame)});
    }
    std::printf("\n%-24s", "seconds an image");
    for (const Scene& scene : scenes) std::printf("%17s", scene.name);
    for (const BlockSetting& setting : settings) {
        useSetting(setting);
        std::printf("\n%-24s", describe(setting).c_str());
        for (const Scene& scene : scenes) {
            runState.reference = scene.reference;
            releaseImage(runState.referenceGradient);
            std::printf("%17.3f", timeBlocks(scene.frame));
            std::fflush(stdout);
        }
    }
    std::printf("\n");
    releaseImage(runState.referenceGradient);
    for (Scene& scene : scenes) {
        releaseImage(scene.reference);
        releaseImage(scene.frame);
    }
}

void benchDeformation(const Image& frame) {
    constexpr int32_t spacing = 16;
    const BlockLayout layout = layOutBlocks({8, -4, 4, -4, 4, 0.5f}, spacing, frame);
    BlockGrid grid = makeBlockGrid(layout);
    for (int64_t i = 0; i < layout.columns * layout.rows; ++i) {
        grid.displacements[i] = {static_cast<float>(i % 17 - 8) / 2.0f, static_cast<float>(i % 13 - 6) / 2.0f};
    }
    Image plainBent, fastBent;
    compareTimes(
        "bending the image",
        [&] {
            releaseImage(plainBent);
            plainBent = plain::deformImage(frame, grid, spacing);
        },
        [&] {
            releaseImage(fastBent);
            fastBent = deformImage(frame, grid, spacing);
        });
    expectEqual("bending", std::memcmp(plainBent.pixels, fastBent.pixels, countPixels(frame) * sizeof(Pixel)) == 0);
    releaseImage(plainBent);
    releaseImage(fastBent);
    releaseBlockGrid(grid);
}

void benchAgainstPlain(const Image& frame, const Image& reference, const BlockSetting& setting) {
    useSetting(setting);
    runState.reference = reference;
    Image plainBent, fastBent;
    compareTimes(
        describe(setting),
        [&] {
            runState.current = frame;
            releaseImage(plainBent);
            plainBent = plain::alignBlocks(runState);
        },
        [&] {
            releaseImage(runState.referenceGradient);
            releaseImage(fastBent);
            runState.current = copyImage(frame);
            runSilently([] { alignBlocks(); });
            fastBent = runState.current;
        });
    expectEqual(describe(setting),
                std::memcmp(plainBent.pixels, fastBent.pixels, countPixels(frame) * sizeof(Pixel)) == 0);
    releaseImage(plainBent);
    releaseImage(fastBent);
}

}  // namespace

void benchBlocks() {
    Image reference = makePlanet(2000, 1500, {}, 2), frame = makePlanet(2000, 1500, {0.0, 0.6, -0.4}, 3);
    benchAgainstPlain(frame, reference, {16, 8, 4, 1.0f});
    benchDeformation(frame);
    releaseImage(frame);
    releaseImage(reference);
    reference = makePlanet(640, 480, {}, 2);
    frame = makePlanet(640, 480, {0.0, 0.6, -0.4}, 3);
    benchAgainstPlain(frame, reference, {16, 8, 3, 0.5f});
    benchAgainstPlain(frame, reference, {16, 8, 3, 0.3f});
    releaseImage(frame);
    releaseImage(reference);
    benchSettings();
}
