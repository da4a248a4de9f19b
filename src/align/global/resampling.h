#pragma once

#include <cstdint>

#include "imageio/image.h"

// An offset (u, v) from the origin of a turned copy shows the source at its origin plus
// (cos(angle) u - sin(angle) v, sin(angle) u + cos(angle) v); x to the right, y downward, angles in radians.
// Each copy is a new picture that the caller owns.

/// The comparison window: the source turned about its origin, which the window shows in its centre, its own origin.
/// Each pixel of an even row is the source pixel at the position cut toward zero; the odd rows hold no data.
[[nodiscard]] Image makeRotatedWindow(const Image& source, int32_t width, int32_t height, float angle);

/// Row y of such a window, y being even: what only looks at each row once need not keep the window. Of the window only
/// size and origin are used; row holds its width.
void sampleWindowRow(const Image& source, const Image& window, int64_t y, float angle, Pixel* row);

/// A copy scaled by a positive factor, origin included, with bilinear interpolation; all sizes are cut toward zero.
[[nodiscard]] Image makeScaledCopy(const Image& source, float factor);

/// The aligned copy: turned and shifted, with bilinear interpolation, in the bounding box of the turned source. Its
/// origin shows the source at its origin plus the shift.
[[nodiscard]] Image makeAlignedImage(Image source, float angle, float shiftX, float shiftY);
