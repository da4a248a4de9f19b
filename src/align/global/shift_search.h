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

/// Finds the shift of the range at which moving fits fixed best, the first of equal ones in the order x ascending, then y
/// ascending. When it scores strictly better than best, best takes it and the result is true. best's shift on entry is
/// where the search begins: it changes the time, never the result.
bool searchShift(const Image& moving, const Image& fixed, const ShiftRange& range, ShiftMatch& best);
