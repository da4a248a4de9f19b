#include "imageio/image.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "core/fatal_error.h"
#include "core/platform.h"

namespace {

// Arrays last released, kept for the next pictures: those of a run have mostly one size, and memory fresh from the
// system costs more time to hand over than a picture to copy.
struct SpareArray {
    Pixel* pixels = nullptr;
    size_t count = 0;  // pixels it is known to hold
};
SpareArray spareArrays[2];

constexpr size_t smallestSpare = 1 << 16;

Pixel* takeSpareArray(size_t count) {
    for (SpareArray& spare : spareArrays) {
        if (spare.count < count || spare.count / 2 > count || count < smallestSpare) continue;
        return std::exchange(spare, {}).pixels;
    }
    return nullptr;
}

// Null when memory is short.
Pixel* makeArray(size_t count) {
    constexpr size_t fewestBytes = 1 << 22;  // large pages have some 2^21 bytes
    auto* pixels = new (std::nothrow) Pixel[count];
    if (pixels != nullptr && count >= fewestBytes / sizeof(Pixel)) preferLargePages(pixels, count * sizeof(Pixel));
    return pixels;
}

// Keeps the array in place of the older spare one.
void keepSpareArray(Pixel* pixels, size_t count) {
    delete[] spareArrays[0].pixels;
    spareArrays[0] = std::exchange(spareArrays[1], {pixels, count});
}

}  // namespace

Image makeUnfilledImage(int64_t width, int64_t height) {
    constexpr int64_t largestSide = std::numeric_limits<int32_t>::max();
    if (width > largestSide || height > largestSide) stopForMemory();
    Image image;
    image.width = static_cast<int32_t>(std::max<int64_t>(width, 0));
    image.height = static_cast<int32_t>(std::max<int64_t>(height, 0));
    image.pixels = takeSpareArray(countPixels(image));
    if (image.pixels == nullptr) image.pixels = makeArray(countPixels(image));
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
    if (countPixels(image) >= smallestSpare) {
        keepSpareArray(image.pixels, countPixels(image));
    } else {
        delete[] image.pixels;
    }
    image = {};
}
