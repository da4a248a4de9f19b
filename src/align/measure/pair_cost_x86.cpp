#include "align/measure/pair_cost_x86.h"

#if defined(__x86_64__)

#include "core/vector_instructions.h"

// A pixel is one 32-bit lane: blue in the low byte, then green, red, weight. The absolute differences of its bytes go
// to 16-bit halves of such lanes, blue into one vector, green and red into another; multiplying halves with themselves
// and adding the two halves of each lane up gives blue squared and, with one factor of 4, what green and red add to d.

namespace {

constexpr int blueByte = 0x000000FF;
constexpr int weightByte = static_cast<int>(0xFF000000u);
constexpr int greenAndRed = static_cast<int>(0x80028001u);  // a byte shuffle of a lane: green, zero, red, zero

// Vectors between two folds of single-precision sums: 64 additions and the fold keep the relative error below 2^-17.
constexpr size_t vectorsPerFold = 64;

[[TARGET_AVX2]] inline __m256i loadPixels8(const Pixel* pixels, size_t left) {
    const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    if (left >= 8) return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pixels));
    return _mm256_maskload_epi32(reinterpret_cast<const int*>(pixels),
                                 _mm256_cmpgt_epi32(_mm256_set1_epi32(static_cast<int>(left)), lanes));
}

// d of eight pairs.
[[TARGET_AVX2]] inline __m256 computeDifferences8(__m256i a, __m256i b) {
    // Green, zero, red, zero of each of the four lanes of a half.
    const __m256i order = _mm256_add_epi32(
        _mm256_set1_epi32(greenAndRed),
        _mm256_setr_epi32(0, 0x00040004, 0x00080008, 0x000C000C, 0, 0x00040004, 0x00080008, 0x000C000C));
    const __m256i difference = _mm256_sub_epi8(_mm256_max_epu8(a, b), _mm256_min_epu8(a, b));
    const __m256i blue = _mm256_and_si256(difference, _mm256_set1_epi32(blueByte));
    const __m256i others = _mm256_shuffle_epi8(difference, order);
    const __m256i squares = _mm256_slli_epi32(_mm256_madd_epi16(others, others), 2);
    return _mm256_cvtepi32_ps(_mm256_add_epi32(_mm256_mullo_epi16(blue, blue), squares));
}

// All bits of a lane set whose pair lacks data.
[[TARGET_AVX2]] inline __m256 findMasked8(__m256i a, __m256i b) {
    const __m256i weight = _mm256_srli_epi32(_mm256_min_epu8(a, b), 24);
    return _mm256_castsi256_ps(_mm256_cmpeq_epi32(weight, _mm256_setzero_si256()));
}

[[TARGET_AVX2]] inline double addLanes(__m256d sum) {
    const __m128d half = _mm_add_pd(_mm256_castpd256_pd128(sum), _mm256_extractf128_pd(sum, 1));
    return _mm_cvtsd_f64(_mm_hadd_pd(half, half));
}

[[TARGET_AVX512]] inline __m512i loadPixels16(const Pixel* pixels, size_t left) {
    if (left >= 16) return _mm512_loadu_si512(pixels);
    return _mm512_maskz_loadu_epi32(static_cast<__mmask16>((1u << left) - 1), pixels);
}

// d of sixteen pairs.
[[TARGET_AVX512]] inline __m512 computeDifferences16(__m512i a, __m512i b) {
    const __m512i order = _mm512_add_epi32(
        _mm512_set1_epi32(greenAndRed), _mm512_broadcast_i32x4(_mm_setr_epi32(0, 0x00040004, 0x00080008, 0x000C000C)));
    const __m512i difference = _mm512_sub_epi8(_mm512_max_epu8(a, b), _mm512_min_epu8(a, b));
    const __m512i blue = _mm512_and_si512(difference, _mm512_set1_epi32(blueByte));
    const __m512i others = _mm512_shuffle_epi8(difference, order);
    const __m512i squares = _mm512_slli_epi32(_mm512_madd_epi16(others, others), 2);
    return _mm512_cvtepi32_ps(_mm512_add_epi32(_mm512_mullo_epi16(blue, blue), squares));
}

[[TARGET_AVX512]] inline __mmask16 findUnmasked16(__m512i a, __m512i b) {
    const __m512i weight = _mm512_set1_epi32(weightByte);
    return _mm512_mask_test_epi32_mask(_mm512_test_epi32_mask(a, weight), b, weight);
}

// About the costs of sixteen or eight pairs, from d.
[[TARGET_AVX512]] inline __m512 estimateCosts16(__m512 d) {
    return _mm512_fmadd_ps(_mm512_mul_ps(d, _mm512_set1_ps(squareWeight)), d, d);
}

[[TARGET_AVX2]] inline __m256 estimateCosts8(__m256 d) {
    return _mm256_fmadd_ps(_mm256_mul_ps(d, _mm256_set1_ps(squareWeight)), d, d);
}

}  // namespace

[[TARGET_AVX2]] RowCost sumRowAvx2(const Pixel* a, const Pixel* b, size_t count) {
    __m256d sumLow = _mm256_setzero_pd(), sumHigh = _mm256_setzero_pd();
    int64_t unmaskedPairs = 0;
    for (size_t i = 0; i < count; i += 8) {
        const __m256i pixelsA = loadPixels8(a + i, count - i), pixelsB = loadPixels8(b + i, count - i);
        const __m256 d = computeDifferences8(pixelsA, pixelsB), masked = findMasked8(pixelsA, pixelsB);
        const __m256 squares = _mm256_mul_ps(_mm256_mul_ps(d, d), _mm256_set1_ps(squareWeight));
        const __m256 costs = _mm256_andnot_ps(masked, _mm256_add_ps(d, squares));
        sumLow = _mm256_add_pd(sumLow, _mm256_cvtps_pd(_mm256_castps256_ps128(costs)));
        sumHigh = _mm256_add_pd(sumHigh, _mm256_cvtps_pd(_mm256_extractf128_ps(costs, 1)));
        unmaskedPairs += 8 - __builtin_popcount(static_cast<unsigned>(_mm256_movemask_ps(masked)));
    }
    return {addLanes(_mm256_add_pd(sumLow, sumHigh)), static_cast<int64_t>(count) - unmaskedPairs};
}

[[TARGET_AVX2]] double estimateRowAvx2(const Pixel* a, const Pixel* b, size_t count) {
    double total = 0.0;
    for (size_t start = 0; start < count; start += 8 * vectorsPerFold) {
        const size_t end = count - start < 8 * vectorsPerFold ? count : start + 8 * vectorsPerFold;
        __m256 sum = _mm256_setzero_ps();
        for (size_t i = start; i < end; i += 8) {
            const __m256i pixelsA = loadPixels8(a + i, end - i), pixelsB = loadPixels8(b + i, end - i);
            const __m256 costs = estimateCosts8(computeDifferences8(pixelsA, pixelsB));
            sum = _mm256_add_ps(sum, _mm256_andnot_ps(findMasked8(pixelsA, pixelsB), costs));
        }
        total += addLanes(_mm256_add_pd(_mm256_cvtps_pd(_mm256_castps256_ps128(sum)),
                                        _mm256_cvtps_pd(_mm256_extractf128_ps(sum, 1))));
    }
    return total;
}

[[TARGET_AVX512]] RowCost sumRowAvx512(const Pixel* a, const Pixel* b, size_t count) {
    __m512d sumLow = _mm512_setzero_pd(), sumHigh = _mm512_setzero_pd();
    int64_t unmaskedPairs = 0;
    for (size_t i = 0; i < count; i += 16) {
        const __m512i pixelsA = loadPixels16(a + i, count - i), pixelsB = loadPixels16(b + i, count - i);
        const __m512 d = computeDifferences16(pixelsA, pixelsB);
        const __mmask16 unmasked = findUnmasked16(pixelsA, pixelsB);
        const __m512 squares = _mm512_mul_ps(_mm512_mul_ps(d, d), _mm512_set1_ps(squareWeight));
        const __m512 costs = _mm512_maskz_add_ps(unmasked, d, squares);
        sumLow = _mm512_add_pd(sumLow, _mm512_cvtps_pd(_mm512_castps512_ps256(costs)));
        sumHigh = _mm512_add_pd(sumHigh, _mm512_cvtps_pd(_mm512_extractf32x8_ps(costs, 1)));
        unmaskedPairs += __builtin_popcount(unmasked);
    }
    return {_mm512_reduce_add_pd(_mm512_add_pd(sumLow, sumHigh)), static_cast<int64_t>(count) - unmaskedPairs};
}

[[TARGET_AVX512]] double estimateRowAvx512(const Pixel* a, const Pixel* b, size_t count) {
    double total = 0.0;
    for (size_t start = 0; start < count; start += 16 * vectorsPerFold) {
        const size_t end = count - start < 16 * vectorsPerFold ? count : start + 16 * vectorsPerFold;
        __m512 sum = _mm512_setzero_ps();
        for (size_t i = start; i < end; i += 16) {
            const __m512i pixelsA = loadPixels16(a + i, end - i), pixelsB = loadPixels16(b + i, end - i);
            const __m512 costs = estimateCosts16(computeDifferences16(pixelsA, pixelsB));
            sum = _mm512_mask_add_ps(sum, findUnmasked16(pixelsA, pixelsB), sum, costs);
        }
        total += static_cast<double>(_mm512_reduce_add_ps(sum));
    }
    return total;
}

#endif
