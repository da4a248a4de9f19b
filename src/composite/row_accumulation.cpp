#include "composite/row_accumulation.h"

#include <array>
#include <cstdint>

#include "core/vector_instructions.h"
#include "core/vector_level.h"

namespace {

void accumulateRowPlain(CompositeSum* sums, const Pixel* row, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const uint32_t weight = row[i].weight;
        sums[i].sumBlue += row[i].blue * weight / 255;
        sums[i].sumGreen += row[i].green * weight / 255;
        sums[i].sumRed += row[i].red * weight / 255;
        sums[i].fullCount += weight == 255 ? 1 : 0;
    }
}

#if defined(__x86_64__)

// Two pixels a step, one 32-bit lane a byte.
[[TARGET_AVX2]] void accumulateRowAvx2(CompositeSum* sums, const Pixel* row, size_t count) {
    const __m256i one = _mm256_set1_epi32(1), full = _mm256_set1_epi32(255);
    size_t i = 0;
    for (; i + 2 <= count; i += 2) {
        const __m256i bytes = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + i)));
        const __m256i weight = _mm256_shuffle_epi32(bytes, 0xFF);
        const __m256i product = _mm256_mullo_epi16(bytes, weight);  // at most 65025, the upper halves are zero
        // x / 255 is (x + 1 + x / 256) / 256 for every x up to 65534.
        const __m256i raised = _mm256_add_epi32(_mm256_add_epi32(product, one), _mm256_srli_epi32(product, 8));
        const __m256i colours = _mm256_srli_epi32(raised, 8);
        const __m256i isFull = _mm256_and_si256(_mm256_cmpeq_epi32(weight, full), one);
        const __m256i added = _mm256_blend_epi32(colours, isFull, 0x88);
        auto* records = reinterpret_cast<__m256i*>(sums + i);
        _mm256_storeu_si256(records, _mm256_add_epi32(_mm256_loadu_si256(records), added));
    }
    accumulateRowPlain(sums + i, row + i, count - i);
}

#endif

constexpr std::array kernels = {
    AccumulationKernel{accumulateRowPlain},
#if defined(__x86_64__)
    AccumulationKernel{accumulateRowAvx2},
    AccumulationKernel{accumulateRowAvx2},
#endif
};

}  // namespace

const AccumulationKernel& accumulationKernel() {
    return kernels[vectorLevelIndex()];
}
