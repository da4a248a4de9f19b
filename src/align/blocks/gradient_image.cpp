#include "align/blocks/gradient_image.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

// The grey levels are laid out by themselves and pixels are taken as words, for compilers to find vectors in both
// loops.

namespace {

uint32_t loadWord(const Pixel* pixel) {
    uint32_t word;
    std::memcpy(&word, pixel, sizeof(word));
    return word;
}

void storeWord(Pixel* pixel, uint32_t word) {
    std::memcpy(pixel, &word, sizeof(word));
}

uint32_t meanOfColours(uint32_t pixel) {
    return ((pixel & 0xFF) + (pixel >> 8 & 0xFF) + (pixel >> 16 & 0xFF)) / 3;
}

uint32_t halfDifference(int32_t first, int32_t second) {
    return static_cast<uint32_t>((first - second) / 2 + 128);  // 1 to 255
}

}  // namespace

void prepareGradientImage(Image& image) {
    const size_t count = countPixels(image);
    const int64_t width = image.width, height = image.height;
    std::vector<uint8_t> levels(count);
    Pixel* pixels = image.pixels;
    uint8_t* greys = levels.data();
    for (size_t i = 0; i < count; ++i) {
        const uint32_t pixel = loadWord(pixels + i), grey = meanOfColours(pixel);
        greys[i] = static_cast<uint8_t>(grey);
        storeWord(pixels + i, (pixel & 0xFFFFFF00u) | grey);
    }
    for (int64_t y = 1; y < height - 1; ++y) {
        Pixel* row = pixels + y * width;
        const uint8_t* here = greys + y * width;
        const uint8_t *above = here - width, *below = here + width;
        for (int64_t x = 1; x < width - 1; ++x) {
            const uint32_t across = halfDifference(here[x - 1], here[x + 1]), down = halfDifference(above[x], below[x]);
            storeWord(row + x, (loadWord(row + x) & 0xFF000000u) | down << 16 | across << 8 | here[x]);
        }
    }
}
