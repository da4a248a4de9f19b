#include "align/global/translation_search.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "align/global/resampling.h"
#include "align/global/rotation_search.h"
#include "align/global/shift_search.h"
#include "core/processor_time.h"
#include "core/progress.h"
#include "core/run_state.h"

namespace {

constexpr float reduction = 0.125f;
constexpr float scale = 8.0f;
constexpr float margin = 2.0f;  // pixels beyond the neighbouring reduced pixels

// The largest whole number that, taken in single precision, is not above the bound: rounding may carry it past.
int64_t findLast(float bound) {
    auto last = static_cast<int64_t>(bound) - 1;
    while (static_cast<float>(last + 1) <= bound) ++last;
    return last;
}

// A bound of the second stage: full pixels around a reduced shift. Reduced shifts far outside would leave 32 bits.
int32_t enlarge(int32_t reducedShift, float beyond) {
    const float bound = static_cast<float>(reducedShift) * scale + beyond;
    return static_cast<int32_t>(std::clamp(static_cast<int64_t>(bound), int64_t{-2147483647}, int64_t{2147483647}));
}

ShiftMatch searchReducedCopies() {
    Image reducedCurrent = makeScaledCopy(runState.current, reduction);
    Image reducedReference = makeScaledCopy(runState.reference, reduction);
    const ShiftRange range = {.minX = static_cast<int64_t>(static_cast<float>(runState.shiftMinX) * reduction),
                              .maxX = findLast(static_cast<float>(runState.shiftMaxX) * reduction),
                              .minY = static_cast<int64_t>(static_cast<float>(runState.shiftMinY) * reduction),
                              .maxY = findLast(static_cast<float>(runState.shiftMaxY) * reduction),
                              .step = 1};
    ShiftMatch best = {.score = 1e24f, .x = 0, .y = 0};
    const float ceiling = guessShift(reducedCurrent, reducedReference, range, best).score;
    searchShift(reducedCurrent, reducedReference, range, ceiling, best);
    releaseImage(reducedCurrent);
    releaseImage(reducedReference);
    return best;
}

}  // namespace

void searchTranslation() {
    std::printf("Recherche de la meilleure translation : \n");
    const uint32_t start = readProcessorSeconds();
    printRuler();
    const ShiftMatch coarse = searchReducedCopies();
    std::printf("(Temps Phase1 : %u)\n", readProcessorSeconds() - start);
    const int32_t minX = runState.shiftMinX, maxX = runState.shiftMaxX;
    const int32_t minY = runState.shiftMinY, maxY = runState.shiftMaxY;
    runState.shiftMinX = enlarge(coarse.x - 1, -margin);
    runState.shiftMaxX = enlarge(coarse.x + 1, margin);
    runState.shiftMinY = enlarge(coarse.y - 1, -margin);
    runState.shiftMaxY = enlarge(coarse.y + 1, margin);
    searchRotationAndTranslation();
    runState.shiftMinX = minX;
    runState.shiftMaxX = maxX;
    runState.shiftMinY = minY;
    runState.shiftMaxY = maxY;
}
