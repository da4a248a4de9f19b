#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "harness.h"
#include "imageio/bmp_layout.h"
#include "imageio/bmp_reader.h"
#include "imageio/bmp_writer.h"

namespace {

// Between the sizes that are quickly read and those that are refused unread lie many that only cost time.
bool costsTooMuch(std::span<const uint8_t> input) {
    int32_t width = 0, height = 0;
    if (input.size() >= bmpHeightOffset + sizeof height) {
        std::memcpy(&width, &input[bmpWidthOffset], sizeof width);
        std::memcpy(&height, &input[bmpHeightOffset], sizeof height);
    }
    const int64_t rows = std::abs(int64_t{height});
    const int64_t pixels = std::abs(int64_t{width}) * rows;
    return std::max(rows, pixels) > 100'000 && pixels < 1'000'000'000;
}

}  // namespace

// Any bytes as a picture; what was loaded, written and loaded again, has the same colours.
void runInput(std::span<const uint8_t> input) {
    if (costsTooMuch(input)) return;
    writeInput("in.bmp", input);
    Image image, copy;
    if (readBmp(image, "in.bmp") != bmpLoaded || !writeBmp(image, "out.bmp")) std::abort();
    if (readBmp(copy, "out.bmp") != bmpLoaded || countPixels(copy) != countPixels(image)) std::abort();
    for (size_t i = 0; i < countPixels(copy); ++i) {
        if (copy.pixels[i].weight != 255 || std::memcmp(&copy.pixels[i], &image.pixels[i], 3) != 0) std::abort();
    }
    releaseImage(image);
    releaseImage(copy);
}
