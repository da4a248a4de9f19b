#pragma once

#include "imageio/image.h"

/// Writes the colours of the picture as an uncompressed 24-bit BMP file, replacing any file of that name; weight and
/// origin are not stored. Returns false, with a message and no file left behind, when it could not be written whole.
[[nodiscard]] bool writeBmp(const Image& image, const char* path);
