#pragma once

#include <cstdint>

#include "imageio/image.h"

constexpr int32_t bmpLoaded = 0;
constexpr int32_t bmpCannotOpen = 1;

/// Loads an uncompressed 24-bit BMP file: pixels, width and height of image, every pixel full data; the origin is left
/// to the caller, and so is an array that image held before. A negative height means rows stored top row first. Pixels
/// that the file is too short to hold, and all pixels of an 8-bit file, are without data. Returns bmpLoaded, or
/// bmpCannotOpen with a message and image untouched. Any other file ends the run.
[[nodiscard]] int32_t readBmp(Image& image, const char* path);
