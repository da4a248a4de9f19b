#include "align/blocks/row/open_bounds_x86.h"

#if defined(__x86_64__)

#include "align/blocks/row/column_tiles_avx512.h"
#include "core/vector_instructions.h"

namespace {

// The bytes of a pixel, its blue in place of the weight too: between what they are cut, and which are doubled then.
constexpr int lowestBytes = static_cast<int>(0x80606000u), highestBytes = static_cast<int>(0xFF9F9F7Fu);
constexpr int doubledBytes = 0x00FFFF00;
constexpr int weightByte = static_cast<int>(0xFF000000u);

[[TARGET_AVX512]] inline __m512i packLevels16(__m512i pixels) {
    const __m512i order = _mm512_broadcast_i32x4(_mm_setr_epi8(0, 1, 2, 0, 4, 5, 6, 4, 8, 9, 10, 8, 12, 13, 14, 12));
    const __m512i lowest = _mm512_set1_epi32(lowestBytes);
    const __m512i bytes = _mm512_max_epu8(_mm512_shuffle_epi8(pixels, order), lowest);
    const __m512i levels = _mm512_sub_epi8(_mm512_min_epu8(bytes, _mm512_set1_epi32(highestBytes)), lowest);
    return _mm512_add_epi8(levels, _mm512_and_si512(levels, _mm512_set1_epi32(doubledBytes)));
}

// A pair of rows of sixteen pixels, the moving ones between their lowest levels (factors) and their highest (norms).
struct OpenRows {
    [[TARGET_AVX512_VNNI, gnu::always_inline]] static inline __m512 addSquares(__m512 sum, const Rows16& still,
                                                                               const Rows16& moving) {
        const __mmask16 hasData = _mm512_test_epi32_mask(still.norms, still.norms);
        const __m512i above = _mm512_subs_epu8(still.factors, moving.norms);
        const __m512i below = _mm512_subs_epu8(moving.factors, still.factors);
        const __m512i distance = _mm512_or_si512(above, below);
        const __m512 e =
            _mm512_cvtepi32_ps(_mm512_mask_dpbusd_epi32(_mm512_set1_epi32(squareOffset), hasData, distance, distance));
        return _mm512_fmadd_ps(e, e, sum);
    }
};

[[TARGET_AVX2]] inline __m256i load(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

[[TARGET_AVX2]] inline void store(void* to, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}

[[TARGET_AVX2]] inline __m256i packLevels8(__m256i pixels) {
    const __m256i order = _mm256_setr_epi8(0, 1, 2, 0, 4, 5, 6, 4, 8, 9, 10, 8, 12, 13, 14, 12,  //
                                           0, 1, 2, 0, 4, 5, 6, 4, 8, 9, 10, 8, 12, 13, 14, 12);
    const __m256i lowest = _mm256_set1_epi32(lowestBytes);
    const __m256i bytes = _mm256_max_epu8(_mm256_shuffle_epi8(pixels, order), lowest);
    const __m256i levels = _mm256_sub_epi8(_mm256_min_epu8(bytes, _mm256_set1_epi32(highestBytes)), lowest);
    return _mm256_add_epi8(levels, _mm256_and_si256(levels, _mm256_set1_epi32(doubledBytes)));
}

// All bits of a lane set where there is no data.
[[TARGET_AVX2]] inline __m256i findMasked8(__m256i pixels) {
    return _mm256_cmpeq_epi32(_mm256_srli_epi32(pixels, 24), _mm256_setzero_si256());
}

// Eight columns a time, the first ones from column on.
[[TARGET_AVX2, gnu::always_inline]] inline void sumTile8(const FacingColumns& columns, size_t column, size_t firstShift,
                                                         const size_t shifts, float* sums, size_t sumStride) {
    const __m256i offset = _mm256_set1_epi32(squareOffset);
    __m256 sum[4];
#pragma GCC unroll 4
    for (size_t s = 0; s < shifts; ++s) sum[s] = _mm256_setzero_ps();
    const int32_t* movingRows = columns.movingRows + firstShift;
    for (size_t y = 0; y < columns.rows; ++y, movingRows += columns.shifts) {
        const __m256i still = load(columns.factors + y * columns.stride + column);
        const __m256i hasData = load(columns.norms + y * columns.stride + column);
#pragma GCC unroll 4
        for (size_t s = 0; s < shifts; ++s) {
            const MovingPixels& moving = columns.moving[movingRows[s]];
            const __m256i above = _mm256_subs_epu8(still, load(moving.norms + column));
            const __m256i below = _mm256_subs_epu8(load(moving.factors + column), still);
            const __m256i distance = _mm256_or_si256(above, below);
            const __m256i squares = _mm256_madd_epi16(_mm256_maddubs_epi16(distance, distance), hasData);
            const __m256 e = _mm256_cvtepi32_ps(_mm256_add_epi32(squares, offset));
            sum[s] = _mm256_fmadd_ps(e, e, sum[s]);
        }
    }
#pragma GCC unroll 4
    for (size_t s = 0; s < shifts; ++s) _mm256_storeu_ps(sums + (firstShift + s) * sumStride + column, sum[s]);
}

}  // namespace

[[TARGET_AVX2]] void prepareOpenStillAvx2(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms) {
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m256i eight = load(pixels + i);
        store(factors + i, packLevels8(eight));
        store(norms + i, _mm256_andnot_si256(findMasked8(eight), _mm256_set1_epi16(1)));
    }
    prepareOpenStillPlain(pixels + i, count - i, factors + i, norms + i);
}

[[TARGET_AVX2]] void prepareOpenMovingAvx2(const Pixel* lower, const Pixel* upper, size_t count, MovingPixels* moving,
                                           size_t stride) {
    for (size_t i = 0; i < count; i += 8) {
        const __m256i low = load(lower + i), masked = findMasked8(low);
        MovingPixels& to = moving[i / MovingPixels::count * stride];
        store(to.factors + i % MovingPixels::count, _mm256_andnot_si256(masked, packLevels8(low)));
        store(to.norms + i % MovingPixels::count, _mm256_or_si256(masked, packLevels8(load(upper + i))));
    }
}

[[TARGET_AVX512]] void prepareOpenMovingAvx512(const Pixel* lower, const Pixel* upper, size_t count,
                                               MovingPixels* moving, size_t stride) {
    for (size_t i = 0; i < count; i += MovingPixels::count, moving += stride) {
        const __m512i low = _mm512_loadu_si512(lower + i), high = _mm512_loadu_si512(upper + i);
        const __mmask16 masked = _mm512_testn_epi32_mask(low, _mm512_set1_epi32(weightByte));
        _mm512_store_si512(moving->factors, _mm512_mask_mov_epi32(packLevels16(low), masked, _mm512_setzero_si512()));
        _mm512_store_si512(moving->norms, _mm512_mask_mov_epi32(packLevels16(high), masked, _mm512_set1_epi32(-1)));
    }
}

[[TARGET_AVX2]] void sumOpenColumnsAvx2(const FacingColumns& columns, float* sums, size_t sumStride) {
    for (size_t column = 0; column < MovingPixels::count; column += 8) {
        size_t s = 0;
        for (; s + 4 <= columns.shifts; s += 4) sumTile8(columns, column, s, 4, sums, sumStride);
        for (; s < columns.shifts; ++s) sumTile8(columns, column, s, 1, sums, sumStride);
    }
}

[[TARGET_AVX512_VNNI]] void sumOpenColumnsAvx512(const FacingColumns& columns, float* sums, size_t sumStride) {
    sumColumns16<OpenRows>(columns, sums, sumStride);
}

#endif
