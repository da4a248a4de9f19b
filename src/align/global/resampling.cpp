#include "align/global/resampling.h"

#include <algorithm>
#include <cmath>

#include "align/global/sampling.h"

namespace {

// Cosine and sine of the double, not of the single-precision angle: the two differ in the last bits.
double cosine(float angle) {
    return std::cos(static_cast<double>(angle));
}

double sine(float angle) {
    return std::sin(static_cast<double>(angle));
}

// Size and origin of the turned source's bounding box. The shift cancels in the size, but for the rounding of the corners.
Image makeTurnedFrame(const Image& source, float angle, float shiftX, float shiftY) {
    const double cosA = cosine(angle), sinA = sine(angle);
    float minX = HUGE_VALF, maxX = -HUGE_VALF, minY = HUGE_VALF, maxY = -HUGE_VALF;
    for (const int32_t cornerX : {0, source.width}) {
        for (const int32_t cornerY : {0, source.height}) {
            const double u = static_cast<double>(cornerX) - source.originX;
            const double v = static_cast<double>(cornerY) - source.originY;
            const auto x = static_cast<float>(cosA * u + sinA * v - static_cast<double>(shiftX));
            const auto y = static_cast<float>(-sinA * u + cosA * v - static_cast<double>(shiftY));
            minX = std::min(minX, x);
            maxX = std::max(maxX, x);
            minY = std::min(minY, y);
            maxY = std::max(maxY, y);
        }
    }
    Image frame = makeUnfilledImage(truncateToInteger(maxX - minX), truncateToInteger(maxY - minY));
    const double originX = source.originX, originY = source.originY;
    if (angle > 0.0f) {
        const double right = static_cast<float>(source.width * sinA);
        frame.originX = truncateToInteger(cosA * originX + sinA * originY);
        frame.originY = truncateToInteger(right - originX * sinA + originY * cosA);
    } else {
        const double left = static_cast<float>(-source.height * sinA);
        frame.originX = truncateToInteger(left + cosA * originX + sinA * originY);
        frame.originY = truncateToInteger(-originX * sinA + originY * cosA);
    }
    return frame;
}

}  // namespace

Image makeRotatedWindow(const Image& source, int32_t width, int32_t height, float angle) {
    const auto cosA = static_cast<float>(cosine(angle)), sinA = static_cast<float>(sine(angle));
    Image window = makeImage(width, height);
    window.originX = width / 2;
    window.originY = height / 2;
    for (int64_t y = 0; y < window.height; y += 2) {
        const auto v = static_cast<float>(y - window.originY);
        const float startX = -sinA * v + static_cast<float>(source.originX);
        const float startY = cosA * v + static_cast<float>(source.originY);
        Pixel* row = rowOf(window, y);
        for (int32_t x = 0; x < window.width; ++x) {
            const auto u = static_cast<float>(x - window.originX);
            const int32_t sx = truncateToInteger(cosA * u + startX), sy = truncateToInteger(sinA * u + startY);
            if (sx >= 0 && sx < source.width && sy >= 0 && sy < source.height) row[x] = rowOf(source, sy)[sx];
        }
    }
    return window;
}

Image makeScaledCopy(const Image& source, float factor) {
    const auto scale = [factor](int32_t length) { return truncateToInteger(static_cast<float>(length) * factor); };
    Image copy = makeUnfilledImage(scale(source.width), scale(source.height));
    copy.originX = scale(source.originX);
    copy.originY = scale(source.originY);
    const float step = 1.0f / factor;
    for (int32_t y = 0; y < copy.height; ++y) {
        Pixel* row = rowOf(copy, y);
        for (int32_t x = 0; x < copy.width; ++x) {
            row[x] = samplePosition(source, static_cast<float>(x) * step, static_cast<float>(y) * step);
        }
    }
    return copy;
}

Image makeAlignedImage(Image source, float angle, float shiftX, float shiftY) {
    const double cosA = cosine(angle), sinA = sine(angle);
    const Image aligned = makeTurnedFrame(source, angle, shiftX, shiftY);
    for (int32_t y = 0; y < aligned.height; ++y) {
        const double v = static_cast<double>(y) - aligned.originY;
        Pixel* row = rowOf(aligned, y);
        for (int32_t x = 0; x < aligned.width; ++x) {
            const double u = static_cast<double>(x) - aligned.originX;
            const double sx = source.originX + (cosA * u - sinA * v) + static_cast<double>(shiftX);
            const double sy = cosA * v + sinA * u + source.originY + static_cast<double>(shiftY);
            row[x] = samplePosition(source, static_cast<float>(sx), static_cast<float>(sy));
        }
    }
    return aligned;
}
