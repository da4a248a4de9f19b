#include "align/global/rotation_search.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "align/global/difference.h"
#include "align/global/resampling.h"
#include "align/global/sampling.h"
#include "align/global/shift_search.h"
#include "core/fatal_error.h"
#include "core/progress.h"
#include "core/run_state.h"

namespace {

constexpr double radiansPerDegree = 0.017453292522222223;  // 3.141592654 / 180
constexpr double inversePi = 0.31830988614222805;          // 1 / 3.141592654
constexpr float starsPerRange = 16.666668f;

struct Placement {
    float angle = 0.0f;  // radians
    ShiftMatch shift = {.score = 1e24f, .x = 0, .y = 0};
};

bool turns() {
    return runState.angleMin != runState.angleMax;
}

Image makeComparisonWindow(float angle) {
    const Image& current = runState.current;
    const int32_t fraction = turns() ? 4 : runState.translationFraction;
    return makeRotatedWindow(current, current.width / fraction, current.height / fraction, angle);
}

ShiftRange shiftRange() {
    return {.minX = runState.shiftMinX,
            .maxX = runState.shiftMaxX,
            .minY = runState.shiftMinY,
            .maxY = runState.shiftMaxY,
            .step = runState.shiftStep};
}

// The next whole degree, summed in single precision: the last one may land past angleMax and drop out. Infinity ends
// the search where the angle is too large for a degree to change it.
float nextAngle(float angle) {
    const auto next = static_cast<float>(static_cast<double>(angle) + radiansPerDegree);
    return next == angle ? HUGE_VALF : next;
}

// A score that some candidate reaches. It changes how soon the others are given up, never which one is found.
float findCeiling() {
    ShiftMatch guess = {.score = HUGE_VALF, .x = 0, .y = 0};
    float ceiling = HUGE_VALF;
    for (float angle = runState.angleMin; angle <= runState.angleMax; angle = nextAngle(angle)) {
        Image window = makeComparisonWindow(angle);
        guess = guessShift(window, runState.reference, shiftRange(), guess);
        releaseImage(window);
        ceiling = std::min(ceiling, guess.score);
    }
    return ceiling;
}

// Every whole degree from angleMin on with every shift.
Placement searchCoarsely() {
    const float ceiling = findCeiling();
    Placement best;
    int32_t stars = 0;
    for (float angle = runState.angleMin; angle <= runState.angleMax; angle = nextAngle(angle)) {
        if (turns()) {
            const float progress =
                (angle - runState.angleMin) / (runState.angleMax - runState.angleMin) * starsPerRange;
            stars = printStars(stars, truncateToInteger(progress) + 1);
        }
        Image window = makeComparisonWindow(angle);
        if (searchShift(window, runState.reference, shiftRange(), ceiling, best.shift)) best.angle = angle;
        releaseImage(window);
    }
    return best;
}

// The scores of the whole current image turned by either angle, its origin laid on the reference's: as of windows of
// its full size, each row of which is looked at once and not kept. Both angles in one pass, as they read the same rows.
std::array<float, 2> scoreAngles(const std::array<float, 2>& angles) {
    const Image &current = runState.current, &reference = runState.reference;
    const Image window = {.pixels = nullptr,
                          .width = current.width,
                          .height = current.height,
                          .originX = current.width / 2,
                          .originY = current.height / 2};
    const Overlap overlap = findOverlap(window, reference, int64_t{window.originX} - reference.originX,
                                        int64_t{window.originY} - reference.originY);
    std::vector<Pixel> row(static_cast<size_t>(window.width));
    std::array<CostSum, 2> sums;
    for (int64_t v = 0; v < overlap.height; ++v) {
        const int64_t y = overlap.aY + v;
        for (size_t i = 0; i < angles.size(); ++i) {
            if (y % 2 == 0) {
                sampleWindowRow(current, window, y, angles[i], row.data());
                addPairs(sums[i], row.data() + overlap.aX, rowOf(reference, overlap.bY + v) + overlap.bX,
                         static_cast<size_t>(overlap.width));
            } else {
                addMaskedPairs(sums[i], overlap.width);
            }
        }
    }
    const int64_t pairCount = overlap.width * overlap.height;
    return {computeScore(sums[0], pairCount), computeScore(sums[1], pairCount)};
}

// Narrows the degree around the coarse angle to thirds until half the resolution is reached. The windows are compared
// without a shift. The angle is that of the bound that moved last.
float refineAngle(float angle) {
    const double half = 0.5 * radiansPerDegree + static_cast<double>(runState.angleResolution);
    auto high = static_cast<float>(static_cast<double>(angle) + half);
    auto low = static_cast<float>(static_cast<double>(angle) - half);
    float span = high - low;
    while (span > runState.angleResolution * 0.5f) {
        std::printf("***");
        std::fflush(stdout);
        const float lowThird = low + span * 0.33333334f;
        const float highThird = low + (span + span) * 0.33333334f;
        const auto [lowScore, highScore] = scoreAngles({lowThird, highThird});
        const bool keepsLow = highScore >= lowScore;
        float& bound = keepsLow ? high : low;
        const float moved = keepsLow ? highThird : lowThird;
        const bool stuck = bound == moved;
        bound = angle = moved;
        span = high - low;
        if (stuck) break;  // the thirds have come down to neighbouring numbers
    }
    return angle;
}

void appendToShiftList(const ShiftMatch& shift) {
    if (runState.shiftMinX == runState.shiftMaxX && runState.shiftMinY == runState.shiftMaxY) return;
    std::fprintf(runState.shiftList, "%i %i ", shift.x, shift.y);
    if (shift.x == runState.shiftMaxX || shift.x == runState.shiftMinX || shift.y == runState.shiftMaxY ||
        shift.y == runState.shiftMinY) {
        std::printf(
            "\n!!! Attention : la valeur maximum de decalage autoris\x8E"
            "e a ete atteinte.\n");
        std::fprintf(runState.shiftList, "  Non optimal");
    }
    std::fprintf(runState.shiftList, "\n");
    std::fflush(runState.shiftList);  // a run that dies keeps its lines
}

}  // namespace

void searchRotationAndTranslation() {
    std::printf("Ajustement global : \n");
    if (runState.angleResolution == 0.0f) {
        std::printf("Erreur : resolution angulaire nulle");
        fatalError();
    }
    printRuler();
    Placement best = searchCoarsely();
    const ShiftMatch& shift = best.shift;
    if (turns()) {
        best.angle = refineAngle(best.angle);
        std::printf("\ntheta=%f  DeltaX=%i   DeltaY=%i\n", static_cast<double>(best.angle) * 180 * inversePi, shift.x,
                    shift.y);
    } else {
        std::printf("\nDeltaX=%i   DeltaY=%i\n", shift.x, shift.y);
    }
    appendToShiftList(shift);
    Image& current = runState.current;
    const Image aligned =
        makeAlignedImage(current, best.angle, static_cast<float>(shift.x), static_cast<float>(shift.y));
    releaseImage(current);
    current = aligned;
}
