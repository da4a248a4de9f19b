#include "align/global/pair_cost.h"

#include <array>

namespace {

float computePairCost(Pixel a, Pixel b) {
    const int32_t blue = a.blue - b.blue, green = a.green - b.green, red = a.red - b.red;
    const auto d = static_cast<float>(blue * blue + 4 * (green * green + red * red));
    return d + d * d * 0.003921569f;
}

RowCost sumRowPlain(const Pixel* a, const Pixel* b, size_t count) {
    RowCost cost;
    for (size_t i = 0; i < count; ++i) {
        if (a[i].weight != 0 && b[i].weight != 0) {
            cost.sum += static_cast<double>(computePairCost(a[i], b[i]));
        } else {
            ++cost.maskedPairs;
        }
    }
    return cost;
}

constexpr std::array rowKernels = {RowKernel{"plain", sumRowPlain}};

}  // namespace

std::span<const RowKernel> listRowKernels() {
    return rowKernels;
}

RowCost sumRow(const Pixel* a, const Pixel* b, size_t count) {
    return listRowKernels().back().sumRow(a, b, count);
}
