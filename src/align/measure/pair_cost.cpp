#include "align/measure/pair_cost.h"

#include <array>

#include "align/measure/pair_cost_neon.h"
#include "align/measure/pair_cost_x86.h"
#include "core/vector_level.h"

namespace {

float computePairCost(Pixel a, Pixel b) {
    const int32_t blue = a.blue - b.blue, green = a.green - b.green, red = a.red - b.red;
    const auto d = static_cast<float>(blue * blue + 4 * (green * green + red * red));
    return d + d * d * squareWeight;
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
    RowKernel{sumRowPlain, estimateRowPlain},
#if defined(__x86_64__)
    RowKernel{sumRowAvx2, estimateRowAvx2},
    RowKernel{sumRowAvx512, estimateRowAvx512},
#elif defined(__aarch64__)
    RowKernel{sumRowNeon, estimateRowNeon},
#endif
};

}  // namespace

const RowKernel& rowKernel() {
    return rowKernels[vectorLevelIndex()];
}
