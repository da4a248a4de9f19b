#include "align/blocks/block_samples.h"

#include <algorithm>
#include <cmath>

#include "align/global/sampling.h"

namespace {

constexpr double fractionsPerPixel = 4.0;
constexpr size_t zeroFraction = 3;

// The offsets that a fraction occurs with: a negative one before the corner only, a positive one behind it.
int64_t firstOffset(size_t fraction, int64_t lowest) {
    return fraction > zeroFraction ? std::max<int64_t>(lowest, 0) : lowest;
}

int64_t lastOffset(size_t fraction, int64_t highest) {
    return fraction < zeroFraction ? std::min<int64_t>(highest, 0) : highest;
}

float fractionValue(size_t fraction) {
    return static_cast<float>((static_cast<double>(fraction) - zeroFraction) / fractionsPerPixel);
}

// The mix of mixByte for fractions of whole quarters, where single precision rounds nothing: in sixteenths, by
// integers. The weights of a byte's left and right neighbour above and below add up to at most 100, so 16 bits hold
// every sum.
void mixQuarterRow(const Pixel* above, const Pixel* below, size_t fractionX, size_t fractionY, Pixel* row,
                   int64_t width) {
    const auto fx = static_cast<int16_t>(fractionX - zeroFraction), fy = static_cast<int16_t>(fractionY - zeroFraction);
    const auto topLeft = static_cast<int16_t>((4 - fx) * (4 - fy)), topRight = static_cast<int16_t>(fx * (4 - fy));
    const auto bottomLeft = static_cast<int16_t>((4 - fx) * fy), bottomRight = static_cast<int16_t>(fx * fy);
    const auto* top = reinterpret_cast<const uint8_t*>(above);
    const auto* bottom = reinterpret_cast<const uint8_t*>(below);
    auto* bytes = reinterpret_cast<uint8_t*>(row);
    for (int64_t i = 0; i < width * int64_t{sizeof(Pixel)}; ++i) {
        const auto sum = static_cast<int16_t>(top[i] * topLeft + top[i + 4] * topRight + bottom[i] * bottomLeft +
                                              bottom[i + 4] * bottomRight);
        bytes[i] = static_cast<uint8_t>(sum / 16);
    }
}

void samplePatch(Patch& patch, const BlockPatches& patches, size_t fractionX, size_t fractionY) {
    const Image& source = patches.source;
    patch.left = firstOffset(fractionX, patches.leftmost);
    patch.top = firstOffset(fractionY, patches.topmost);
    patch.stride = std::max<int64_t>(lastOffset(fractionX, patches.rightmost) - patch.left + 1, 0);
    const int64_t height = std::max<int64_t>(lastOffset(fractionY, patches.bottommost) - patch.top + 1, 0);
    patch.pixels.resize(static_cast<size_t>(patch.stride * height));
    const int64_t x = patches.cornerX + patch.left, y = patches.cornerY + patch.top;
    const bool hasNeighbours = x >= 0 && x + patch.stride < source.width && y >= 0 && y + height < source.height;
    for (int64_t v = 0; v < height; ++v) {
        Pixel* row = patch.pixels.data() + v * patch.stride;
        if (hasNeighbours) {
            mixQuarterRow(rowOf(source, y + v) + x, rowOf(source, y + v + 1) + x, fractionX, fractionY, row,
                          patch.stride);
            continue;
        }
        for (int64_t u = 0; u < patch.stride; ++u) {
            row[u] = samplePixel(source, x + u, y + v, fractionValue(fractionX), fractionValue(fractionY));
        }
    }
}

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

const Patch& patchOf(BlockPatches& patches, size_t fractionX, size_t fractionY) {
    Patch& patch = patches.patches[fractionY][fractionX];
    if (!patch.made) samplePatch(patch, patches, fractionX, fractionY);
    patch.made = true;
    return patch;
}
