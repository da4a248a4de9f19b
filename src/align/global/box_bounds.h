#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "align/global/area.h"
#include "imageio/image.h"

// Lower bounds of what placements cost, from the colours summed over boxes of pixels: two boxes that differ as a whole
// differ at least so much pixel by pixel. Where pictures change slowly a box says nearly what its pixels say, and a
// look at it takes no longer than one at a pair. Only boxes with full data in every pixel count.

constexpr int64_t boxWidth = 16, boxRows = 4;  // pixels

/// The sums of every box of a picture that lies in an area, by its first pixel: entry (y - top) * width + x - left.
struct BoxSums {
    int64_t left = 0, top = 0, width = 0, height = 0;  // of first pixels
    std::vector<uint16_t> blue, green, red;            // blue is noBox where data lack
};
constexpr uint16_t noBox = 0xFFFF;

/// A box of the moving picture. Those of a list share no pixels.
struct Box {
    int64_t x, y;            // its first pixel
    float blue, green, red;  // sums
    float contrast;          // against its neighbours
};

struct BoxBounds {
    std::vector<Box> boxes;  // of moving, the most telling first
    BoxSums fixed;
};

/// Boxes of moving and of fixed, reach being what placements let moving face there. The rows of a box lie rowStep
/// apart: 2 where every other row of moving holds no data.
[[nodiscard]] BoxBounds prepareBoxes(const Image& moving, const Image& fixed, const Area& reach, int64_t rowStep);

/// Placements that differ in x: pixel (0, 0) of moving faces pixel (firstX + k * step, y) of fixed.
struct PlacementRow {
    int64_t firstX, y, step;
};

/// Bounds what each placement costs, as far as it takes to see that it costs more than its limit: bounds[k] is above
/// limits[k] * boxMargin only if the exact costs sum up to more than limits[k].
void boundPlacements(const BoxBounds& boxes, const PlacementRow& row, const std::vector<float>& limits,
                     std::vector<float>& bounds);
constexpr float boxMargin = 1.0f + 0x1p-10f;
