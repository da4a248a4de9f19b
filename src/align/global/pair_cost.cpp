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

double estimateRowPlain(const Pixel* a, const Pixel* b, size_t count) {
    return sumRowPlain(a, b, count).sum;
}

constexpr std::array rowKernels = {
    RowKernel{"plain", sumRowPlain, estimateRowPlain},
#if defined(__x86_64__)
    RowKernel{"avx2", sumRowAvx2, estimateRowAvx2},
    RowKernel{"avx512", sumRowAvx512, estimateRowAvx512},
#endif
};

}  // namespace

std::span<const RowKernel> listRowKernels() {
    return std::span(rowKernels).first(hasAvx512() ? 3 : hasAvx2() ? 2 : 1);
}

const RowKernel& fastestRowKernel() {
    static const RowKernel& fastest = listRowKernels().back();
    return fastest;
}
