#include "align/blocks/gradient_image.h"

#include <cstddef>
#include <cstdint>

void prepareGradientImage(Image& image) {
    for (size_t i = 0; i < countPixels(image); ++i) {
        Pixel& pixel = image.pixels[i];
        pixel.blue = static_cast<uint8_t>((pixel.blue + pixel.green + pixel.red) / 3);
    }
    for (int64_t y = 1; y < image.height - 1; ++y) {
        Pixel* row = rowOf(image, y);
        const Pixel* above = row - image.width;
        const Pixel* below = row + image.width;
        for (int64_t x = 1; x < image.width - 1; ++x) {
            row[x].green = static_cast<uint8_t>((row[x - 1].blue - row[x + 1].blue) / 2 + 128);
            row[x].red = static_cast<uint8_t>((above[x].blue - below[x].blue) / 2 + 128);
        }
    }
}
