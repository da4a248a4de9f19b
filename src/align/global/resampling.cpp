#include "align/global/resampling.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "align/sampling/bilinear.h"
#include "align/sampling/row_sampling.h"

namespace {

// Cosine and sine of the double, not of the single-precision angle: the two differ in the last bits.
double cosine(float angle) {
    return std::cos(static_cast<double>(angle));
}

double sine(float angle) {
    return std::sin(static_cast<double>(angle));
}

// Size and origin of the turned source's bounding box. The shift cancels in the size, but for the rounding of the
// corners.
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

// Whether every sample of an unturned copy falls on a pixel: a whole shift, and positions that single precision holds
// exactly.
bool samplesPixels(const Image& source, float angle, float shiftX, float shiftY) {
    constexpr double exactPositions = 0x1p24;
    const auto farthest = [](int32_t origin, int32_t length, float shift) {
        return std::abs(static_cast<double>(origin)) + length + std::abs(static_cast<double>(shift));
    };
    return angle == 0.0f && shiftX == std::trunc(shiftX) && shiftY == std::trunc(shiftY) &&
           farthest(source.originX, source.width, shiftX) < exactPositions &&
           farthest(source.originY, source.height, shiftY) < exactPositions;
}

// What lies beside the source is without data.
Image makeShiftedImage(const Image& source, int64_t shiftX, int64_t shiftY) {
    Image shifted = makeUnfilledImage(source.width, source.height);
    shifted.originX = source.originX;
    shifted.originY = source.originY;
    const int64_t width = source.width;
    const int64_t first = std::clamp<int64_t>(-shiftX, 0, width),
                  last = std::clamp<int64_t>(width - shiftX, first, width);
    for (int64_t y = 0; y < shifted.height; ++y) {
        Pixel* row = rowOf(shifted, y);
        const int64_t from = y + shiftY;
        const bool inside = from >= 0 && from < source.height;
        const int64_t copyEnd = inside ? last : first;
        std::fill(row, row + first, Pixel{});
        if (inside) std::copy(rowOf(source, from) + first + shiftX, rowOf(source, from) + last + shiftX, row + first);
        std::fill(row + copyEnd, row + width, Pixel{});
    }
    return shifted;
}

}  // namespace

Image makeRotatedWindow(const Image& source, int32_t width, int32_t height, float angle) {
    Image window = makeUnfilledImage(width, height);
    window.originX = width / 2;
    window.originY = height / 2;
    if (countPixels(window) == 0) return window;
    for (int64_t y = 0; y < window.height; ++y) {
        Pixel* row = rowOf(window, y);
        if (y % 2 == 0) {
            sampleWindowRow(source, window, y, angle, row);
        } else {
            std::fill(row, row + window.width, Pixel{});
        }
    }
    return window;
}

void sampleWindowRow(const Image& source, const Image& window, int64_t y, float angle, Pixel* row) {
    const auto cosA = static_cast<float>(cosine(angle)), sinA = static_cast<float>(sine(angle));
    const auto v = static_cast<float>(y - window.originY);
    const TurnedRow positions = {.cosA = cosA,
                                 .sinA = sinA,
                                 .startX = -sinA * v + static_cast<float>(source.originX),
                                 .startY = cosA * v + static_cast<float>(source.originY),
                                 .firstU = -window.originX};
    samplingKernel().sampleTurnedRow(source, positions, row, static_cast<size_t>(window.width));
}

Image makeScaledCopy(const Image& source, float factor) {
    const auto scale = [factor](int32_t length) { return truncateToInteger(static_cast<float>(length) * factor); };
    Image copy = makeUnfilledImage(scale(source.width), scale(source.height));
    copy.originX = scale(source.originX);
    copy.originY = scale(source.originY);
    if (countPixels(copy) == 0) return copy;
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
    if (samplesPixels(source, angle, shiftX, shiftY)) {
        return makeShiftedImage(source, static_cast<int64_t>(shiftX), static_cast<int64_t>(shiftY));
    }
    const double cosA = cosine(angle), sinA = sine(angle);
    const Image aligned = makeTurnedFrame(source, angle, shiftX, shiftY);
    if (countPixels(aligned) == 0) return aligned;
    const auto width = static_cast<size_t>(aligned.width);
    std::vector<double> cosU(width), sinU(width);
    std::vector<float> positionX(width), positionY(width);
    for (size_t x = 0; x < width; ++x) {
        const double u = static_cast<double>(x) - aligned.originX;
        cosU[x] = cosA * u;
        sinU[x] = sinA * u;
    }
    for (int64_t y = 0; y < aligned.height; ++y) {
        const double v = static_cast<double>(y) - aligned.originY;
        const double cosV = cosA * v, sinV = sinA * v;
        for (size_t x = 0; x < width; ++x) {
            positionX[x] = static_cast<float>(source.originX + (cosU[x] - sinV) + static_cast<double>(shiftX));
            positionY[x] = static_cast<float>(cosV + sinU[x] + source.originY + static_cast<double>(shiftY));
        }
        samplingKernel().samplePositions(source, positionX.data(), positionY.data(), rowOf(aligned, y), width);
    }
    return aligned;
}
