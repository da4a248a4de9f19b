#pragma once

#include <cstddef>
#include <cstdint>

/// Four bytes as they lie in memory. Colours 0 to 255; weight 255 is full data, 0 none (its colours then mean nothing).
struct Pixel {
    uint8_t blue, green, red, weight;
};

/// A colour raster with an origin: height rows of width pixels, top row first, no gaps. Laid origin on origin, pixel
/// (x, y) of image a faces pixel (x + b.originX - a.originX, y + b.originY - a.originY) of image b.
/// Ownership: a copy of the record shares the array, and exactly one holder releases it.
struct Image {
    Pixel* pixels = nullptr;           // pixel (x, y) is pixels[y * width + x]; null: no picture
    int32_t width = 0, height = 0;     // pixels
    int32_t originX = 0, originY = 0;  // column and row, which may lie outside the picture
};

/// The number of pixels of the picture.
[[nodiscard]] inline size_t countPixels(const Image& image) {
    return static_cast<size_t>(image.width) * static_cast<size_t>(image.height);
}

/// The first pixel of row y.
[[nodiscard]] inline Pixel* rowOf(const Image& image, int64_t y) {
    return image.pixels + y * image.width;
}

/// A picture of that size, its bytes not set yet, its origin (0, 0); the caller owns it. Stops the run when memory is
/// short. A size below 0 counts as 0.
[[nodiscard]] Image makeUnfilledImage(int64_t width, int64_t height);

/// The same, all zero: no data anywhere.
[[nodiscard]] Image makeImage(int64_t width, int64_t height);

/// A copy with an array of its own.
[[nodiscard]] Image copyImage(const Image& image);

/// Releases the array and leaves the record empty.
void releaseImage(Image& image);
