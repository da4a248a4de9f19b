#include "imageio/image.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "core/fatal_error.h"

Image makeUnfilledImage(int64_t width, int64_t height) {
    constexpr int64_t largestSide = std::numeric_limits<int32_t>::max();
    if (width > largestSide || height > largestSide) stopForMemory();
    Image image;
    image.width = static_cast<int32_t>(std::max<int64_t>(width, 0));
    image.height = static_cast<int32_t>(std::max<int64_t>(height, 0));
    image.pixels = new (std::nothrow) Pixel[countPixels(image)];
    if (image.pixels == nullptr) stopForMemory();
    return image;
}

Image makeImage(int64_t width, int64_t height) {
    const Image image = makeUnfilledImage(width, height);
    std::memset(image.pixels, 0, countPixels(image) * sizeof(Pixel));
    return image;
}

Image copyImage(const Image& image) {
    Image copy = makeUnfilledImage(image.width, image.height);
    if (image.pixels != nullptr) std::memcpy(copy.pixels, image.pixels, countPixels(image) * sizeof(Pixel));
    copy.originX = image.originX;
    copy.originY = image.originY;
    return copy;
}

void releaseImage(Image& image) {
    delete[] image.pixels;
    image = {};
}
