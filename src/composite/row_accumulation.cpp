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

#elif defined(__aarch64__)

// Four pixels a step.
void accumulateRowNeon(CompositeSum* sums, const Pixel* row, size_t count) {
    size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        const uint32x4_t pixels = vld1q_u32(reinterpret_cast<const uint32_t*>(row + i));
        const uint8x16_t bytes = vreinterpretq_u8_u32(pixels);
        const uint8x16_t weights = vreinterpretq_u8_u32(vmulq_n_u32(vshrq_n_u32(pixels, 24), 0x01010101));
        const uint16x8_t low = vmull_u8(vget_low_u8(bytes), vget_low_u8(weights)), high = vmull_high_u8(bytes, weights);
        // x / 255 is (x + 1 + x / 256) / 256 for every x up to 65534.
        const uint16x8_t one = vdupq_n_u16(1);
        const uint8x16_t colours =
            vaddhn_high_u16(vaddhn_u16(vsraq_n_u16(low, low, 8), one), vsraq_n_u16(high, high, 8), one);
        const uint32x4_t isFull = vshrq_n_u32(vcgeq_u32(pixels, vdupq_n_u32(0xFF000000)), 31);
        const uint8x16_t added = vreinterpretq_u8_u32(vsliq_n_u32(vreinterpretq_u32_u8(colours), isFull, 24));
        const uint16x8_t addedLow = vmovl_u8(vget_low_u8(added)), addedHigh = vmovl_high_u8(added);
        auto* records = reinterpret_cast<uint32_t*>(sums + i);
        vst1q_u32(records, vaddw_u16(vld1q_u32(records), vget_low_u16(addedLow)));
        vst1q_u32(records + 4, vaddw_high_u16(vld1q_u32(records + 4), addedLow));
        vst1q_u32(records + 8, vaddw_u16(vld1q_u32(records + 8), vget_low_u16(addedHigh)));
        vst1q_u32(records + 12, vaddw_high_u16(vld1q_u32(records + 12), addedHigh));
    }
    accumulateRowPlain(sums + i, row + i, count - i);
}

#endif

constexpr std::array kernels = {
    AccumulationKernel{accumulateRowPlain},
#if defined(__x86_64__)
    AccumulationKernel{accumulateRowAvx2},
    AccumulationKernel{accumulateRowAvx2},
#elif defined(__aarch64__)
    AccumulationKernel{accumulateRowNeon},
#endif
};

}  // namespace

const AccumulationKernel& accumulationKernel() {
    return kernels[vectorLevelIndex()];
}
