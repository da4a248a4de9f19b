#include "align/global/pair_cost.h"

#include <array>

#include "align/global/pair_cost_x86.h"
#include "core/processor_features.h"

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

constexpr std::array rowKernels = {
    RowKernel{"plain", sumRowPlain},
#if defined(__x86_64__)
    RowKernel{"avx2", sumRowAvx2},
    RowKernel{"avx512", sumRowAvx512},
#endif
};

}  // namespace

std::span<const RowKernel> listRowKernels() {
    return std::span(rowKernels).first(hasAvx512() ? 3 : hasAvx2() ? 2 : 1);
}

RowCost sumRow(const Pixel* a, const Pixel* b, size_t count) {
    static const SumRow fastest = listRowKernels().back().sumRow;
    return fastest(a, b, count);
}
