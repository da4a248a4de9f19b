#pragma once

#include <cstdint>
#include <vector>

/// The sums of the three colours of a picture, 0 to 765, top row first; 0 means no data.
struct GreyPicture {
    int32_t width = 0, height = 0;
    std::vector<int32_t> levels;
};

/// Reads an uncompressed 24-bit BMP file, bottom row first, as the program writes it. It takes nothing from the
/// program, so that a fault of the program's reader and writer cannot hide itself. An empty picture when it cannot be
/// read.
[[nodiscard]] GreyPicture readGreyPicture(const char* path);
