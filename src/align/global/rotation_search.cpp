#include "align/global/rotation_search.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "align/global/resampling.h"
#include "align/measure/difference.h"
#include "align/measure/pair_cost.h"
#include "align/sampling/bilinear.h"
#include "core/fatal_error.h"
#include "core/progress.h"
#include "state/run_state.h"

namespace {

constexpr double inversePi = 0.31830988614222805;  // 1 / 3.141592654
constexpr float starsPerRange = 16.666668f;

struct CoarseMatch {
    float angle = 0.0f;  // radians
    ShiftMatch shift = {.score = 1e24f, .x = 0, .y = 0};
};

Image makeComparisonWindow(float angle) {
    const Image& current = runState.current;
    const int32_t fraction = searchesAngles() ? 4 : runState.translationFraction;
    return makeRotatedWindow(current, current.width / fraction, current.height / fraction, angle);
}

// The next whole degree, summed in single precision: the last one may land past angleMax and drop out. False behind the
// last one, and where a degree more changes nothing: of a range with a bound that is no number the first is tried
// alone.
bool advanceAngle(float& angle) {
    const auto next = static_cast<float>(static_cast<double>(angle) + radiansPerDegree);
    if (!(next > angle) || !(next <= runState.angleMax)) return false;
    angle = next;
    return true;
}

// A score that some candidate reaches. It changes how soon the others are given up, never which one is found.
float findCeiling(const ShiftRange& range) {
    ShiftMatch guess = {.score = HUGE_VALF, .x = 0, .y = 0};
    float ceiling = HUGE_VALF;
    float angle = runState.angleMin;
    do {
        Image window = makeComparisonWindow(angle);
        guess = guessShift(window, runState.reference, range, guess);
        releaseImage(window);
        ceiling = std::min(ceiling, guess.score);
    } while (advanceAngle(angle));
    return ceiling;
}

// Lengthens the row of stars to what the angle asks for; with a single angle there is none.
void printAngleProgress(int32_t& stars, float angle) {
    int32_t target = 0;
    if (searchesAngles()) {
        const float progress = (angle - runState.angleMin) / (runState.angleMax - runState.angleMin) * starsPerRange;
        target = truncateToInteger(static_cast<double>(progress)) + 1;
    }
    stars = printProgress(stars, target);
}

// Every whole degree from angleMin on with every shift.
CoarseMatch searchCoarsely(const ShiftRange& range) {
    CoarseMatch best;
    if (runState.angleMin > runState.angleMax) return best;
    int32_t stars = 0;
    printAngleProgress(stars, runState.angleMin);  // before the first look at anything
    const float ceiling = findCeiling(range);
    float angle = runState.angleMin;
    do {
        printAngleProgress(stars, angle);
        Image window = makeComparisonWindow(angle);
        if (searchShift(window, runState.reference, range, ceiling, best.shift)) best.angle = angle;
        releaseImage(window);
    } while (advanceAngle(angle));
    return best;
}

struct PairCounts {
    int64_t all, odd;  // odd: of the odd rows, which hold no data
};

// Shows addRow the facing pixels of the reference and of the whole current image turned by either angle, its origin
// laid on the reference's: as of windows of its full size, each even row of which is looked at once and not kept. Both
// angles in one pass, as they read the same rows.
template <typename AddRow>
PairCounts visitRows(const std::array<float, 2>& angles, const AddRow& addRow) {
    const Image &current = runState.current, &reference = runState.reference;
    const Image window = {.pixels = nullptr,
                          .width = current.width,
                          .height = current.height,
                          .originX = current.width / 2,
                          .originY = current.height / 2};
    const Overlap overlap = findOverlap(window, reference, int64_t{window.originX} - reference.originX,
                                        int64_t{window.originY} - reference.originY);
    std::vector<Pixel> row(static_cast<size_t>(window.width));
    PairCounts pairs = {.all = overlap.width * overlap.height, .odd = 0};
    for (int64_t v = 0; v < overlap.height; ++v) {
        const int64_t y = overlap.aY + v;
        if (y % 2 != 0) {
            pairs.odd += overlap.width;
            continue;
        }
        for (size_t i = 0; i < angles.size(); ++i) {
            sampleWindowRow(current, window, y, angles[i], row.data());
            addRow(i, row.data() + overlap.aX, rowOf(reference, overlap.bY + v) + overlap.bX,
                   static_cast<size_t>(overlap.width));
        }
    }
    return pairs;
}

// Whether the second angle scores as high as the first or higher.
bool scoresNoLower(const std::array<float, 2>& angles) {
    std::array<double, 2> estimates = {};
    const PairCounts pairs = visitRows(angles, [&](size_t i, const Pixel* a, const Pixel* b, size_t count) {
        estimates[i] += rowKernel().estimateRow(a, b, count);
    });
    // An estimate leaves out the pairs without data, of which either angle has its own.
    const double masked = 0.5 * static_cast<double>(maskedPixelCost) * static_cast<double>(pairs.all);
    const auto exceeds = [masked](double a, double b) { return a > (b + masked) * comparisonMargin; };
    if (exceeds(estimates[1], estimates[0])) return true;
    if (exceeds(estimates[0], estimates[1])) return false;
    std::array<CostSum, 2> sums;
    visitRows(angles, [&](size_t i, const Pixel* a, const Pixel* b, size_t count) { addPairs(sums[i], a, b, count); });
    for (CostSum& sum : sums) addMaskedPairs(sum, pairs.odd);
    return computeScore(sums[1], pairs.all) >= computeScore(sums[0], pairs.all);
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
        const bool keepsLow = scoresNoLower({lowThird, highThird});
        float& bound = keepsLow ? high : low;
        const float moved = keepsLow ? highThird : lowThird;
        const bool stuck = bound == moved;
        bound = angle = moved;
        span = high - low;
        if (stuck) break;  // the thirds have come down to neighbouring numbers
    }
    return angle;
}

}  // namespace

bool searchesAngles() {
    return runState.angleMin != runState.angleMax;
}

GlobalMatch searchRotationAndTranslation(const ShiftRange& range) {
    std::printf("Ajustement global : \n");
    if (runState.angleResolution == 0.0f) {
        std::printf("Erreur : resolution angulaire nulle");
        fatalError();
    }
    printRuler();
    const CoarseMatch coarse = searchCoarsely(range);
    Pose pose = {.angle = coarse.angle, .shiftX = coarse.shift.x, .shiftY = coarse.shift.y};
    if (searchesAngles()) {
        pose.angle = refineAngle(coarse.angle);
        std::printf("\ntheta=%f  DeltaX=%i   DeltaY=%i\n", static_cast<double>(pose.angle) * 180 * inversePi,
                    pose.shiftX, pose.shiftY);
    } else {
        std::printf("\nDeltaX=%i   DeltaY=%i\n", pose.shiftX, pose.shiftY);
    }
    return {pose, range};
}
