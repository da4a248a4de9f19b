#pragma once

#include <cstdint>
#include <limits>

#include "imageio/image.h"

/// A position cut toward zero. What no 32-bit integer holds becomes the smallest one, which lies outside every picture.
[[nodiscard]] inline int32_t truncateToInteger(double position) {
    const bool fits = position >= -0x1p31 && position < 0x1p31;
    return fits ? static_cast<int32_t>(position) : std::numeric_limits<int32_t>::min();
}

/// One byte of the bilinear mix. Every product and sum is rounded to single precision in the order written, then cut to
/// an integer of which the low eight bits stay: fractions below 0 extrapolate, and may leave 0 to 255.
[[nodiscard]] inline uint8_t mixByte(uint8_t topLeft, uint8_t topRight, uint8_t bottomLeft, uint8_t bottomRight,
                                     float fx, float fy) {
    const float value = static_cast<float>(topLeft) * (1.0f - fx) * (1.0f - fy) +
                        static_cast<float>(topRight) * fx * (1.0f - fy) +
                        static_cast<float>(bottomLeft) * (1.0f - fx) * fy + static_cast<float>(bottomRight) * fx * fy;
    return static_cast<uint8_t>(static_cast<int32_t>(value));
}

/// The bilinear mix of four neighbours, all four bytes alike: each counts by the area of the rectangle opposite to it.
[[nodiscard]] inline Pixel mixBilinear(Pixel topLeft, Pixel topRight, Pixel bottomLeft, Pixel bottomRight, float fx,
                                       float fy) {
    return {mixByte(topLeft.blue, topRight.blue, bottomLeft.blue, bottomRight.blue, fx, fy),
            mixByte(topLeft.green, topRight.green, bottomLeft.green, bottomRight.green, fx, fy),
            mixByte(topLeft.red, topRight.red, bottomLeft.red, bottomRight.red, fx, fy),
            mixByte(topLeft.weight, topRight.weight, bottomLeft.weight, bottomRight.weight, fx, fy)};
}

/// The picture at pixel (ix, iy) plus the fraction (fx, fy): the mix of four neighbours, in the last column or row the
/// pixel itself, outside no data.
[[nodiscard]] inline Pixel samplePixel(const Image& image, int64_t ix, int64_t iy, float fx, float fy) {
    if (ix < 0 || iy < 0 || ix >= image.width || iy >= image.height) return {};
    const Pixel* top = rowOf(image, iy) + ix;
    const bool onPixel = fx == 0.0f && fy == 0.0f;  // then the mix is the pixel
    if (onPixel || ix == image.width - 1 || iy == image.height - 1) return *top;
    const Pixel* bottom = top + image.width;
    return mixBilinear(top[0], top[1], bottom[0], bottom[1], fx, fy);
}

/// The picture at a position; a position below 0 on either axis is outside.
[[nodiscard]] inline Pixel samplePosition(const Image& image, float x, float y) {
    if (x < 0.0f || y < 0.0f) return {};
    const int32_t ix = truncateToInteger(x), iy = truncateToInteger(y);
    return samplePixel(image, ix, iy, x - static_cast<float>(ix), y - static_cast<float>(iy));
}
