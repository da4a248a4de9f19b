#include "align/global/pair_cost_x86.h"

#if defined(__x86_64__)

// g++ 12 takes the deliberately unset operands inside its own header for mistakes.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>

// A pixel is one 32-bit lane: blue in the low byte, then green, red, weight. Of the absolute differences of the bytes, blue
// and red stay in the two 16-bit halves of a lane and green moves into one; multiplying the halves with themselves and
// adding them up gives d, with 4 x red beside red and 2 x green on both sides for the factors of 4.

namespace {

constexpr int blueAndRed = 0x00FF00FF;
constexpr int doubledGreen = 0x000001FE;
constexpr int redByFour = 0x00040001;

#define TARGET_AVX2 gnu::target("avx2")
#define TARGET_AVX512 gnu::target("avx512f,avx512bw,avx512dq,avx512vl")

// The costs of eight pairs, 0 for a masked one; masked has all bits of such a lane set.
[[TARGET_AVX2]] inline __m256 computePairCosts8(__m256i a, __m256i b, __m256i& masked) {
    const __m256i difference = _mm256_or_si256(_mm256_subs_epu8(a, b), _mm256_subs_epu8(b, a));
    const __m256i outer = _mm256_and_si256(difference, _mm256_set1_epi32(blueAndRed));
    const __m256i green = _mm256_and_si256(_mm256_srli_epi32(difference, 7), _mm256_set1_epi32(doubledGreen));
    const __m256i weighted = _mm256_mullo_epi16(outer, _mm256_set1_epi32(redByFour));
    const __m256i squares = _mm256_add_epi32(_mm256_madd_epi16(outer, weighted), _mm256_madd_epi16(green, green));
    const __m256 d = _mm256_cvtepi32_ps(squares);
    const __m256 bent = _mm256_mul_ps(_mm256_mul_ps(d, d), _mm256_set1_ps(0.003921569f));
    const __m256i weight = _mm256_srli_epi32(_mm256_min_epu8(a, b), 24);
    masked = _mm256_cmpeq_epi32(weight, _mm256_setzero_si256());
    return _mm256_andnot_ps(_mm256_castsi256_ps(masked), _mm256_add_ps(d, bent));
}

[[TARGET_AVX512]] inline __m512 computePairCosts16(__m512i a, __m512i b, __mmask16& unmasked) {
    const __m512i difference = _mm512_or_si512(_mm512_subs_epu8(a, b), _mm512_subs_epu8(b, a));
    const __m512i outer = _mm512_and_si512(difference, _mm512_set1_epi32(blueAndRed));
    const __m512i green = _mm512_and_si512(_mm512_srli_epi32(difference, 7), _mm512_set1_epi32(doubledGreen));
    const __m512i weighted = _mm512_mullo_epi16(outer, _mm512_set1_epi32(redByFour));
    const __m512i squares = _mm512_add_epi32(_mm512_madd_epi16(outer, weighted), _mm512_madd_epi16(green, green));
    const __m512 d = _mm512_cvtepi32_ps(squares);
    const __m512 bent = _mm512_mul_ps(_mm512_mul_ps(d, d), _mm512_set1_ps(0.003921569f));
    const __m512i weight = _mm512_set1_epi32(static_cast<int>(0xFF000000u));
    unmasked = _mm512_mask_test_epi32_mask(_mm512_test_epi32_mask(a, weight), b, weight);
    return _mm512_maskz_add_ps(unmasked, d, bent);
}

}  // namespace

[[TARGET_AVX2]] RowCost sumRowAvx2(const Pixel* a, const Pixel* b, size_t count) {
    __m256d sumLow = _mm256_setzero_pd(), sumHigh = _mm256_setzero_pd();
    int64_t maskedPairs = 0;
    const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    for (size_t i = 0; i < count; i += 8) {
        const int left = static_cast<int>(count - i < 8 ? count - i : 8);
        const __m256i present = _mm256_cmpgt_epi32(_mm256_set1_epi32(left), lanes);
        const __m256i pixelsA = _mm256_maskload_epi32(reinterpret_cast<const int*>(a + i), present);
        const __m256i pixelsB = _mm256_maskload_epi32(reinterpret_cast<const int*>(b + i), present);
        __m256i masked;
        const __m256 costs = computePairCosts8(pixelsA, pixelsB, masked);
        sumLow = _mm256_add_pd(sumLow, _mm256_cvtps_pd(_mm256_castps256_ps128(costs)));
        sumHigh = _mm256_add_pd(sumHigh, _mm256_cvtps_pd(_mm256_extractf128_ps(costs, 1)));
        maskedPairs += __builtin_popcount(static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(masked)))) - 8 + left;
    }
    const __m256d sum = _mm256_add_pd(sumLow, sumHigh);
    const __m128d half = _mm_add_pd(_mm256_castpd256_pd128(sum), _mm256_extractf128_pd(sum, 1));
    return {_mm_cvtsd_f64(_mm_hadd_pd(half, half)), maskedPairs};
}

[[TARGET_AVX512]] RowCost sumRowAvx512(const Pixel* a, const Pixel* b, size_t count) {
    __m512d sumLow = _mm512_setzero_pd(), sumHigh = _mm512_setzero_pd();
    int64_t unmaskedPairs = 0;
    for (size_t i = 0; i < count; i += 16) {
        const __mmask16 present = count - i >= 16 ? 0xFFFF : static_cast<__mmask16>((1u << (count - i)) - 1);
        __mmask16 unmasked;
        const __m512 costs = computePairCosts16(_mm512_maskz_loadu_epi32(present, a + i),
                                                _mm512_maskz_loadu_epi32(present, b + i), unmasked);
        sumLow = _mm512_add_pd(sumLow, _mm512_cvtps_pd(_mm512_castps512_ps256(costs)));
        sumHigh = _mm512_add_pd(sumHigh, _mm512_cvtps_pd(_mm512_extractf32x8_ps(costs, 1)));
        unmaskedPairs += __builtin_popcount(unmasked);
    }
    return {_mm512_reduce_add_pd(_mm512_add_pd(sumLow, sumHigh)), static_cast<int64_t>(count) - unmaskedPairs};
}

#endif
