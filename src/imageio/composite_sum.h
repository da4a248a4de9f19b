#pragma once

#include <cstdint>

/// The running sums of one reference pixel over all aligned images. A colour counts by its weight: colour x weight /
/// 255, truncated; fullCount is the number of images whose pixel was full data. An array of these runs row by row, top
/// row first.
struct CompositeSum {
    uint32_t sumBlue, sumGreen, sumRed, fullCount;
};
