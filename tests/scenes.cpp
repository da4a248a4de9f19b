#include "scenes.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <vector>

int32_t pick(Random& random, int32_t from, int32_t to) {
    return from + static_cast<int32_t>(random() % static_cast<uint32_t>(to - from + 1));
}

Pixel makePixel(Random& random, Fill fill, bool fixed, int32_t x, int32_t y) {
    const auto any = static_cast<uint32_t>(random());
    const auto byte = [](auto value) { return static_cast<uint8_t>(value); };
    const auto grey = [&](auto value) { return Pixel{byte(value), byte(value), byte(value), 255}; };
    switch (fill) {
        case Fill::noise:
            return {byte(any), byte(any >> 8), byte(any >> 16), 255};
        case Fill::tiles:
            return {byte(x % 3 * 40), byte(y % 2 * 17), byte((x + y) % 3 * 90), 255};
        case Fill::flat:
            return grey(90);
        case Fill::blackOnWhite:
            return grey((fixed ? 0xff : 0) ^ (any % 64 == 0));
        case Fill::nearlyEqual:
            return {byte(100 + (any % 32 == 0)), 100, 100, 255};
        case Fill::disc:
            break;
    }
    const int32_t distance = (x - 11) * (x - 11) + (y - 9) * (y - 9);
    return {byte(std::max(0, 250 - 2 * distance)), byte(std::max(0, 200 - distance)), byte(any % 4), 255};
}

Image makeScene(Random& random, Scene scene, bool fixed, int32_t width, int32_t height) {
    Image image = keep(makeImage(width, height));
    const int32_t patchX = pick(random, 0, width), patchY = pick(random, 0, height);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            Pixel& pixel = rowOf(image, y)[x] = makePixel(random, scene.fill, fixed, x, y);
            if (scene.mask == Mask::scattered) pixel.weight = static_cast<uint8_t>(std::max(0, pick(random, -40, 255)));
            if (scene.mask == Mask::patch && x >= patchX && y >= patchY) pixel.weight = 0;
            if (scene.mask == Mask::all) pixel.weight = 0;
        }
    return image;
}

Image makeAnyScene(Random& random, Fill fill, bool fixed, int32_t largestSide) {
    const Mask mask = allMasks[static_cast<size_t>(std::max(0, pick(random, -3, 3)))];
    Image image = makeScene(random, {fill, mask}, fixed, pick(random, 1, largestSide), pick(random, 1, largestSide));
    image.originX = image.width / 2 + pick(random, -4, 4) * pick(random, 0, 2);
    image.originY = image.height / 2 + pick(random, -4, 4) * pick(random, 0, 2);
    return image;
}

Image keep(const Image& image) {
    static std::vector<std::unique_ptr<Pixel[]>> kept;
    kept.emplace_back(image.pixels);
    return image;
}

std::string describe(const Image& image) {
    return std::to_string(image.width) + " x " + std::to_string(image.height) + " with origin (" +
           std::to_string(image.originX) + ", " + std::to_string(image.originY) + ")";
}

testing::AssertionResult sameBits(float got, float expected) {
    if (std::bit_cast<uint32_t>(got) == std::bit_cast<uint32_t>(expected)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "got " << std::hexfloat << got << ", expected " << expected;
}

testing::AssertionResult sameImage(const Image& got, const Image& expected) {
    if (describe(got) != describe(expected))
        return testing::AssertionFailure() << "got " << describe(got) << ", expected " << describe(expected);
    for (int64_t i = 0; i < static_cast<int64_t>(countPixels(expected)); ++i) {
        const auto a = std::bit_cast<std::array<uint8_t, 4>>(got.pixels[i]);
        const auto b = std::bit_cast<std::array<uint8_t, 4>>(expected.pixels[i]);
        if (a != b)
            return testing::AssertionFailure()
                   << "pixel (" << i % got.width << ", " << i / got.width << ") of " << describe(got) << ": got "
                   << testing::PrintToString(a) << ", expected " << testing::PrintToString(b);
    }
    return testing::AssertionSuccess();
}
