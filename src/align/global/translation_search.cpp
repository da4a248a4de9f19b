#include "align/global/translation_search.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "align/global/resampling.h"
#include "align/global/rotation_search.h"
#include "align/global/shift_search.h"
#include "core/processor_time.h"
#include "core/progress.h"
#include "state/run_state.h"

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
int64_t enlarge(int32_t reducedShift, float beyond) {
    const float bound = static_cast<float>(reducedShift) * scale + beyond;
    return std::clamp(static_cast<int64_t>(bound), int64_t{-2147483647}, int64_t{2147483647});
}

ShiftMatch searchReducedCopies(const ShiftRange& range) {
    Image reducedCurrent = makeScaledCopy(runState.current, reduction);
    Image reducedReference = makeScaledCopy(runState.reference, reduction);
    const auto reduce = [](int64_t bound) { return static_cast<float>(bound) * reduction; };
    const ShiftRange reduced = {.minX = static_cast<int64_t>(reduce(range.minX)),
                                .maxX = findLast(reduce(range.maxX)),
                                .minY = static_cast<int64_t>(reduce(range.minY)),
                                .maxY = findLast(reduce(range.maxY)),
                                .step = 1};
    ShiftMatch best = {.score = 1e24f, .x = 0, .y = 0};
    const float ceiling = guessShift(reducedCurrent, reducedReference, reduced, best).score;
    searchShift(reducedCurrent, reducedReference, reduced, ceiling, best);
    releaseImage(reducedCurrent);
    releaseImage(reducedReference);
    return best;
}

}  // namespace

GlobalMatch searchTranslation(const ShiftRange& range) {
    std::printf("Recherche de la meilleure translation : \n");
    const uint32_t start = readProcessorSeconds();
    printRuler();
    const ShiftMatch coarse = searchReducedCopies(range);
    std::printf("(Temps Phase1 : %u)\n", readProcessorSeconds() - start);
    return searchRotationAndTranslation({.minX = enlarge(coarse.x - 1, -margin),
                                         .maxX = enlarge(coarse.x + 1, margin),
                                         .minY = enlarge(coarse.y - 1, -margin),
                                         .maxY = enlarge(coarse.y + 1, margin),
                                         .step = range.step});
}
