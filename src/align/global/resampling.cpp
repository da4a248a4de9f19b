#include "align/global/resampling.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "align/global/row_sampling.h"
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
    Image window = makeUnfilledImage(width, height);
    window.originX = width / 2;
    window.originY = height / 2;
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
    fastestSampling().sampleTurnedRow(source, positions, row, static_cast<size_t>(window.width));
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
        fastestSampling().samplePositions(source, positionX.data(), positionY.data(), rowOf(aligned, y), width);
    }
    return aligned;
}
