#pragma once

#include <cstdint>

#include "imageio/image.h"

/// The shifts of a search, pixels: from min up to and including max in steps of step (at least 1), x before y.
struct ShiftRange {
    int64_t minX, maxX, minY, maxY;
    int64_t step;
};

/// A shift of the moving picture's origin and the score of that placement.
struct ShiftMatch {
    float score;
    int32_t x, y;
};

/// Finds the shift of the range at which moving fits fixed best, the first of equal ones in the order x ascending, then
/// y ascending. When it scores strictly better than best, best takes it and the result is true. Shifts that score above
/// ceiling may be passed over: a score known to be reached saves time.
bool searchShift(const Image& moving, const Image& fixed, const ShiftRange& range, float ceiling, ShiftMatch& best);

/// A good shift of the range and its score, found in a short walk downhill from start: a ceiling for searchShift. start
/// itself, with an infinite score, where the range has no shift with an overlap.
[[nodiscard]] ShiftMatch guessShift(const Image& moving, const Image& fixed, const ShiftRange& range,
                                    const ShiftMatch& start);
