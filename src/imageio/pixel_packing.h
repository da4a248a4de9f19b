#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "imageio/image.h"

/// Rows of pixels to and from the three bytes a pixel of a BMP row: blue, green, red. Expanded pixels are full data.
using ExpandPixels = void (*)(const uint8_t* bytes, Pixel* row, size_t count);
using PackPixels = void (*)(const Pixel* row, uint8_t* bytes, size_t count);

struct PackingKernel {
    ExpandPixels expandPixels;
    PackPixels packPixels;
};

/// The version of the vector level in use.
[[nodiscard]] const PackingKernel& packingKernel();
