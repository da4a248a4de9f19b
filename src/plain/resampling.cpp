#include <algorithm>
#include <cmath>

#include "plain/plain.h"

namespace plain {
namespace {

uint8_t mix(uint8_t topLeft, uint8_t topRight, uint8_t bottomLeft, uint8_t bottomRight, float fx, float fy) {
    const float sum = static_cast<float>(topLeft) * (1 - fx) * (1 - fy) + static_cast<float>(topRight) * fx * (1 - fy) +
                      static_cast<float>(bottomLeft) * (1 - fx) * fy + static_cast<float>(bottomRight) * fx * fy;
    return static_cast<uint8_t>(static_cast<int32_t>(sum));
}

}  // namespace

Pixel samplePixel(const Image& image, int64_t x, int64_t y, float fx, float fy) {
    if (x < 0 || y < 0 || x >= image.width || y >= image.height) return {};
    const Pixel* p = rowOf(image, y) + x;
    if (x == image.width - 1 || y == image.height - 1) return p[0];
    const Pixel* q = p + image.width;
    return {mix(p[0].blue, p[1].blue, q[0].blue, q[1].blue, fx, fy),
            mix(p[0].green, p[1].green, q[0].green, q[1].green, fx, fy),
            mix(p[0].red, p[1].red, q[0].red, q[1].red, fx, fy),
            mix(p[0].weight, p[1].weight, q[0].weight, q[1].weight, fx, fy)};
}

Pixel samplePosition(const Image& image, float x, float y) {
    const bool inside = x >= 0 && y >= 0 && x < static_cast<float>(image.width) && y < static_cast<float>(image.height);
    if (!inside) return {};
    return samplePixel(image, static_cast<int64_t>(x), static_cast<int64_t>(y), x - std::trunc(x), y - std::trunc(y));
}

Image makeRotatedWindow(const Image& source, int32_t width, int32_t height, float angle) {
    const float cosA = static_cast<float>(std::cos(static_cast<double>(angle)));
    const float sinA = static_cast<float>(std::sin(static_cast<double>(angle)));
    Image window = makeImage(width, height);
    window.originX = width / 2;
    window.originY = height / 2;
    for (int32_t y = 0; y < height; y += 2)
        for (int32_t x = 0; x < width; ++x) {
            const float u = static_cast<float>(x - window.originX), v = static_cast<float>(y - window.originY);
            const float sx = std::trunc(cosA * u + (-sinA * v + static_cast<float>(source.originX)));
            const float sy = std::trunc(sinA * u + (cosA * v + static_cast<float>(source.originY)));
            if (sx >= 0 && sy >= 0 && sx < static_cast<float>(source.width) && sy < static_cast<float>(source.height))
                rowOf(window, y)[x] = rowOf(source, static_cast<int64_t>(sy))[static_cast<int64_t>(sx)];
        }
    return window;
}

Image makeScaledCopy(const Image& source, float factor) {
    Image copy = makeImage(static_cast<int32_t>(static_cast<float>(source.width) * factor),
                           static_cast<int32_t>(static_cast<float>(source.height) * factor));
    copy.originX = static_cast<int32_t>(static_cast<float>(source.originX) * factor);
    copy.originY = static_cast<int32_t>(static_cast<float>(source.originY) * factor);
    for (int32_t y = 0; y < copy.height; ++y)
        for (int32_t x = 0; x < copy.width; ++x)
            rowOf(copy, y)[x] =
                samplePosition(source, static_cast<float>(x) * (1 / factor), static_cast<float>(y) * (1 / factor));
    return copy;
}

Image makeAlignedImage(const Image& source, float angle, float shiftX, float shiftY) {
    const double cosA = std::cos(static_cast<double>(angle)), sinA = std::sin(static_cast<double>(angle));
    const double w = source.width, h = source.height, ox = source.originX, oy = source.originY;
    float cornersX[4], cornersY[4];
    for (int i = 0; i < 4; ++i) {
        const double u = (i % 2 == 0 ? 0 : w) - ox, v = (i / 2 == 0 ? 0 : h) - oy;
        cornersX[i] = static_cast<float>(cosA * u + sinA * v - static_cast<double>(shiftX));
        cornersY[i] = static_cast<float>(-sinA * u + cosA * v - static_cast<double>(shiftY));
    }
    const auto [minX, maxX] = std::minmax_element(cornersX, cornersX + 4);
    const auto [minY, maxY] = std::minmax_element(cornersY, cornersY + 4);
    Image aligned = makeImage(static_cast<int32_t>(*maxX - *minX), static_cast<int32_t>(*maxY - *minY));
    const double left = angle > 0 ? 0 : static_cast<double>(static_cast<float>(-h * sinA));
    const double top = angle > 0 ? static_cast<double>(static_cast<float>(w * sinA)) : 0;
    aligned.originX = static_cast<int32_t>(left + cosA * ox + sinA * oy);
    aligned.originY = static_cast<int32_t>(top - ox * sinA + oy * cosA);
    for (int32_t y = 0; y < aligned.height; ++y)
        for (int32_t x = 0; x < aligned.width; ++x) {
            const double u = static_cast<double>(x) - aligned.originX, v = static_cast<double>(y) - aligned.originY;
            rowOf(aligned, y)[x] =
                samplePosition(source, static_cast<float>(ox + (cosA * u - sinA * v) + static_cast<double>(shiftX)),
                               static_cast<float>((cosA * v + sinA * u) + oy + static_cast<double>(shiftY)));
        }
    return aligned;
}

}  // namespace plain
