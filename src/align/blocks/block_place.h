#pragma once

#include <algorithm>
#include <cstdint>

#include "align/blocks/block_search.h"
#include "imageio/image.h"

/// Where a block lies in the current image, and what it faces in the reference when nothing is shifted.
struct BlockPlace {
    int64_t size;                    // pixels a side
    int64_t currentX, currentY;      // its corner in the current image
    int64_t referenceX, referenceY;  // and in the reference
};

[[nodiscard]] inline BlockPlace placeBlock(const BlockSearch& search, const Image& current, const Image& reference,
                                           int64_t x, int64_t y) {
    const int64_t cornerX = x - search.halfSize, cornerY = y - search.halfSize;
    return {.size = std::max<int64_t>(2 * int64_t{search.halfSize} + 1, 0),
            .currentX = cornerX,
            .currentY = cornerY,
            .referenceX = cornerX - current.originX + reference.originX,
            .referenceY = cornerY - current.originY + reference.originY};
}

/// Whether that rectangle lies in the picture.
[[nodiscard]] inline bool liesInside(const Image& image, int64_t x, int64_t y, int64_t width, int64_t height) {
    return x >= 0 && x + width <= image.width && y >= 0 && y + height <= image.height;
}
