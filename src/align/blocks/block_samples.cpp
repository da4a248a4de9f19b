#include "align/blocks/block_samples.h"

#include <algorithm>
#include <cmath>

#include "align/global/row_sampling.h"
#include "align/global/sampling.h"

namespace {

constexpr double fractionsPerPixel = 4.0;
constexpr size_t zeroFraction = 3;
constexpr int64_t vectorLength = 16;  // rows of a patch are sampled in whole vectors

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

void samplePatch(Patch& patch, const BlockPatches& patches, size_t fractionX, size_t fractionY) {
    patch.left = firstOffset(fractionX, patches.leftmost);
    patch.top = firstOffset(fractionY, patches.topmost);
    const int64_t width = std::max<int64_t>(lastOffset(fractionX, patches.rightmost) - patch.left + 1, 0);
    const int64_t height = std::max<int64_t>(lastOffset(fractionY, patches.bottommost) - patch.top + 1, 0);
    patch.stride = (width + vectorLength - 1) / vectorLength * vectorLength;
    patch.pixels.resize(static_cast<size_t>(patch.stride * height));
    std::vector<int32_t> columns(static_cast<size_t>(patch.stride));
    for (size_t i = 0; i < columns.size(); ++i) {
        columns[i] = static_cast<int32_t>(patches.cornerX + patch.left) + static_cast<int32_t>(i);
    }
    const std::vector<float> fractions(columns.size(), fractionValue(fractionX));
    for (int64_t row = 0; row < height; ++row) {
        fastestSampling().sampleFractions(
            patches.source, columns.data(), fractions.data(), static_cast<int32_t>(patches.cornerY + patch.top + row),
            fractionValue(fractionY), patch.pixels.data() + row * patch.stride, columns.size());
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
