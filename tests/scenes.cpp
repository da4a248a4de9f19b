#include "scenes.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

namespace {

Pixel makePixel(Random& random, Fill fill, bool fixed, int32_t x, int32_t y) {
    const auto any = static_cast<int32_t>(random() % (1 << 24));
    const auto make = [](int32_t blue, int32_t green, int32_t red) {
        return Pixel{static_cast<uint8_t>(blue), static_cast<uint8_t>(green), static_cast<uint8_t>(red), 255};
    };
    const int32_t distance = (x - 11) * (x - 11) + (y - 9) * (y - 9), white = (fixed ? 255 : 0) ^ (any % 64 == 0);
    if (fill == Fill::noise) return make(any, any >> 8, any >> 16);
    if (fill == Fill::tiles) return make(x % 3 * 40, y % 2 * 17, (x + y) % 3 * 90);
    if (fill == Fill::flat) return make(90, 90, 90);
    if (fill == Fill::blackOnWhite) return make(white, white, white);
    if (fill == Fill::nearlyEqual) return make(100 + (any % 32 == 0), 100, 100);
    return make(std::max(0, 250 - 2 * distance), std::max(0, 200 - distance), any % 4);
}

}  // namespace

int32_t pick(Random& random, int32_t from, int32_t to) {
    return from + static_cast<int32_t>(random() % static_cast<uint32_t>(to - from + 1));
}

Image makeScene(Random& random, Fill fill, Mask mask, bool fixed, int32_t width, int32_t height) {
    Image image = keep(makeImage(width, height));
    const int32_t patchX = pick(random, 0, width), patchY = pick(random, 0, height);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            Pixel& pixel = rowOf(image, y)[x] = makePixel(random, fill, fixed, x, y);
            if (mask == Mask::scattered) pixel.weight = static_cast<uint8_t>(std::max(0, pick(random, -40, 255)));
            if (mask == Mask::all || (mask == Mask::patch && x >= patchX && y >= patchY)) pixel.weight = 0;
        }
    return image;
}

Image makeAnyScene(Random& random, int round, bool fixed, int32_t largestSide) {
    const auto mask = static_cast<Mask>(std::max(0, pick(random, -3, 3)));
    const int32_t width = pick(random, 1, largestSide), height = pick(random, 1, largestSide);
    Image image = makeScene(random, static_cast<Fill>(round % fillCount), mask, fixed, width, height);
    image.originX = width / 2 + pick(random, -4, 4) * pick(random, 0, 2);
    image.originY = height / 2 + pick(random, -4, 4) * pick(random, 0, 2);
    return image;
}

Image keep(const Image& image) {
    static std::vector<std::unique_ptr<Pixel[]>> kept;
    kept.emplace_back(image.pixels);
    return image;
}

std::string format(const char* pattern, ...) {
    char text[300];
    va_list values;
    va_start(values, pattern);
    std::vsnprintf(text, sizeof text, pattern, values);
    va_end(values);
    return text;
}

std::string describe(const Image& image) {
    return format("%i x %i with origin (%i, %i)", image.width, image.height, image.originX, image.originY);
}

testing::AssertionResult sameImage(const Image& got, const Image& expected) {
    if (describe(got) != describe(expected))
        return testing::AssertionFailure() << "got " << describe(got) << ", expected " << describe(expected);
    for (int64_t i = 0; i < static_cast<int64_t>(countPixels(expected)); ++i) {
        const Pixel a = got.pixels[i], b = expected.pixels[i];
        if (std::memcmp(&a, &b, sizeof a) == 0) continue;
        return testing::AssertionFailure()
               << format("pixel (%i, %i): got %i %i %i weight %i, expected %i %i %i weight %i",
                         static_cast<int>(i % got.width), static_cast<int>(i / got.width), a.blue, a.green, a.red,
                         a.weight, b.blue, b.green, b.red, b.weight);
    }
    return testing::AssertionSuccess();
}

void enterScratchFolder() {
    static const struct Folder {
        std::string path = testing::TempDir() + "quillorne-XXXXXX";
        Folder() { std::filesystem::current_path(mkdtemp(path.data())); }
        ~Folder() { std::filesystem::remove_all(path); }
    } folder;
}

std::string readFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const char* path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}
