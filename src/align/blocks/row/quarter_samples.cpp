#include "align/blocks/row/quarter_samples.h"

#include <algorithm>
#include <cmath>

#include "align/sampling/bilinear.h"

namespace {

constexpr double fractionsPerPixel = 4.0;

}  // namespace

void sampleAxis(AxisSamples& samples, int64_t corner, int64_t size, float shift) {
    samples.position.resize(static_cast<size_t>(size));
    samples.fraction.resize(static_cast<size_t>(size));
    for (size_t b = 0; b < samples.position.size(); ++b) {
        const float offset = static_cast<float>(b) - shift;
        const int32_t whole = truncateToInteger(static_cast<double>(offset));
        samples.position[b] = static_cast<int32_t>(corner + whole);
        samples.fraction[b] = offset - static_cast<float>(whole);
    }
}

bool hasQuarterFractions(double step) {
    return std::floor(step * fractionsPerPixel) == step * fractionsPerPixel;
}

std::array<AxisPiece, 2> cutIntoPieces(int64_t size, double shift) {
    const auto whole = static_cast<int64_t>(std::floor(shift));
    const auto quarters = static_cast<size_t>((shift - std::floor(shift)) * fractionsPerPixel);
    if (quarters == 0) return {{{0, size, -whole, zeroFraction}, {size, 0, 0, zeroFraction}}};
    // Offset b - shift is cut up to b - whole before the corner, and down to b - whole - 1 behind it.
    const int64_t before = std::clamp<int64_t>(whole + 1, 0, size);
    return {{{0, before, -whole, zeroFraction - quarters},
             {before, size - before, before - whole - 1, zeroFraction + 4 - quarters}}};
}

int64_t findFirstOffset(size_t fraction, int64_t lowest) {
    return fraction > zeroFraction ? std::max<int64_t>(lowest, 0) : lowest;
}

int64_t findLastOffset(size_t fraction, int64_t highest) {
    return fraction < zeroFraction ? std::min<int64_t>(highest, 0) : highest;
}

// The mix of mixByte for fractions of whole quarters, where single precision rounds nothing: in sixteenths, by
// integers. The weights of a byte's left and right neighbour above and below add up to at most 100, so 16 bits hold
// every sum.
void sampleQuarters(const Image& source, int64_t x, int64_t y, size_t fractionX, size_t fractionY, Pixel* row,
                    int64_t width) {
    const auto fx = static_cast<int16_t>(fractionX - zeroFraction), fy = static_cast<int16_t>(fractionY - zeroFraction);
    const auto topLeft = static_cast<int16_t>((4 - fx) * (4 - fy)), topRight = static_cast<int16_t>(fx * (4 - fy));
    const auto bottomLeft = static_cast<int16_t>((4 - fx) * fy), bottomRight = static_cast<int16_t>(fx * fy);
    const auto* top = reinterpret_cast<const uint8_t*>(rowOf(source, y) + x);
    const auto* bottom = reinterpret_cast<const uint8_t*>(rowOf(source, y + 1) + x);
    auto* bytes = reinterpret_cast<uint8_t*>(row);
    for (int64_t i = 0; i < width * int64_t{sizeof(Pixel)}; ++i) {
        const auto sum = static_cast<int16_t>(top[i] * topLeft + top[i + 4] * topRight + bottom[i] * bottomLeft +
                                              bottom[i + 4] * bottomRight);
        bytes[i] = static_cast<uint8_t>(sum / 16);
    }
}
