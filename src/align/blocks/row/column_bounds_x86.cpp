#include "align/blocks/row/column_bounds_x86.h"

#if defined(__x86_64__)

#include "align/blocks/row/column_tiles_avx512.h"
#include "core/vector_instructions.h"

namespace {

// A pair of rows of sixteen pixels that are known.
struct KnownRows {
    [[TARGET_AVX512_VNNI, gnu::always_inline]] static inline __m512 addSquares(__m512 sum, const Rows16& still,
                                                                               const Rows16& moving) {
        const __m512i both = _mm512_add_epi32(still.norms, moving.norms);
        const __m512i e = _mm512_dpbusd_epi32(both, still.factors, moving.factors);
        const __m512 bounded = _mm512_cvtepi32_ps(_mm512_max_epi32(e, _mm512_set1_epi32(squareOffset)));
        return _mm512_fmadd_ps(bounded, bounded, sum);
    }
};

[[TARGET_AVX2]] inline __m256i load(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

[[TARGET_AVX2]] inline void store(void* to, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}

// Eight pixels, green and red clipped.
struct ClippedPixels {
    __m256i blue;       // 32 bits each
    __m256i gradients;  // 16 bits each: green, red, around their middle
    __m256i bytes;      // blue, blue, green, red; the latter from the lowest gradient on
    __m256i masked;     // all bits of 32 where there is no data
};

[[TARGET_AVX2]] inline ClippedPixels clipPixels8(__m256i pixels) {
    const __m256i order = _mm256_setr_epi8(0, 0, 1, 2, 4, 4, 5, 6, 8, 8, 9, 10, 12, 12, 13, 14,  //
                                           0, 0, 1, 2, 4, 4, 5, 6, 8, 8, 9, 10, 12, 12, 13, 14);
    const __m256i lowest = _mm256_set1_epi32(0x00606000), highest = _mm256_set1_epi32(0x009F9FFF);
    const __m256i inside = _mm256_min_epu8(_mm256_max_epu8(pixels, lowest), highest);
    const __m256i bytes = _mm256_shuffle_epi8(_mm256_sub_epi8(inside, lowest), order);
    const __m256i green = _mm256_and_si256(_mm256_srli_epi32(bytes, 16), _mm256_set1_epi32(0xFF));
    const __m256i red = _mm256_slli_epi32(_mm256_srli_epi32(bytes, 24), 16);
    return {_mm256_and_si256(bytes, _mm256_set1_epi32(0xFF)),
            _mm256_add_epi16(_mm256_or_si256(green, red), _mm256_set1_epi16(lowestGradient)), bytes,
            _mm256_cmpeq_epi32(_mm256_srli_epi32(pixels, 24), _mm256_setzero_si256())};
}

// Eight columns a time, the first ones from column on.
[[TARGET_AVX2, gnu::always_inline]] inline void sumTile8(const FacingColumns& columns, size_t column, size_t firstShift,
                                                         const size_t shifts, float* sums, size_t sumStride) {
    __m256 sum[4];
#pragma GCC unroll 4
    for (size_t s = 0; s < shifts; ++s) sum[s] = _mm256_setzero_ps();
    const int32_t* movingRows = columns.movingRows + firstShift;
    for (size_t y = 0; y < columns.rows; ++y, movingRows += columns.shifts) {
        const __m256i factors = load(columns.factors + y * columns.stride + column);
        const __m256i norms = load(columns.norms + y * columns.stride + column);
        const __m256i even = _mm256_and_si256(factors, _mm256_set1_epi16(0xFF)), odd = _mm256_srli_epi16(factors, 8);
#pragma GCC unroll 4
        for (size_t s = 0; s < shifts; ++s) {
            const MovingPixels& moving = columns.moving[movingRows[s]];
            const __m256i facing = load(moving.factors + column);
            const __m256i facingEven = _mm256_srai_epi16(_mm256_slli_epi16(facing, 8), 8);
            const __m256i products = _mm256_add_epi32(_mm256_madd_epi16(even, facingEven),
                                                      _mm256_madd_epi16(odd, _mm256_srai_epi16(facing, 8)));
            const __m256i both = _mm256_add_epi32(norms, load(moving.norms + column));
            const __m256i e = _mm256_add_epi32(both, products);
            const __m256 bounded = _mm256_cvtepi32_ps(_mm256_max_epi32(e, _mm256_set1_epi32(squareOffset)));
            sum[s] = _mm256_fmadd_ps(bounded, bounded, sum[s]);
        }
    }
#pragma GCC unroll 4
    for (size_t s = 0; s < shifts; ++s) _mm256_storeu_ps(sums + (firstShift + s) * sumStride + column, sum[s]);
}

}  // namespace

[[TARGET_AVX2]] void prepareStillAvx2(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms) {
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const ClippedPixels clipped = clipPixels8(load(pixels + i));
        const __m256i gradientNorms = _mm256_madd_epi16(clipped.gradients, _mm256_slli_epi16(clipped.gradients, 2));
        const __m256i blueNorms =
            _mm256_madd_epi16(clipped.blue, _mm256_sub_epi32(clipped.blue, _mm256_set1_epi32(254)));
        const __m256i sum =
            _mm256_add_epi32(_mm256_add_epi32(gradientNorms, blueNorms), _mm256_set1_epi32(squareOffset));
        store(norms + i, _mm256_blendv_epi8(sum, _mm256_set1_epi32(maskedNorm), clipped.masked));
        store(factors + i, _mm256_blend_epi16(clipped.bytes, _mm256_slli_epi16(clipped.bytes, 2), 0xAA));
    }
    prepareStillPlain(pixels + i, count - i, factors + i, norms + i);
}

[[TARGET_AVX2]] void prepareMovingAvx2(const Pixel* pixels, size_t count, MovingPixels* moving, size_t stride) {
    for (size_t i = 0; i < count; i += 8) {
        const ClippedPixels clipped = clipPixels8(load(pixels + i));
        const __m256i scaled = _mm256_add_epi16(_mm256_slli_epi16(clipped.gradients, 2), _mm256_set1_epi16(256));
        const __m256i blueNorms = _mm256_madd_epi16(clipped.blue, clipped.blue);
        const __m256i doubled = _mm256_blend_epi16(clipped.bytes, _mm256_slli_epi16(clipped.bytes, 1), 0xAA);
        MovingPixels& to = moving[i / MovingPixels::count * stride];
        const __m256i sum = _mm256_add_epi32(_mm256_madd_epi16(clipped.gradients, scaled), blueNorms);
        store(to.norms + i % MovingPixels::count,
              _mm256_blendv_epi8(sum, _mm256_set1_epi32(maskedNorm), clipped.masked));
        store(to.factors + i % MovingPixels::count, _mm256_sub_epi8(_mm256_set1_epi32(0x40407F7F), doubled));
    }
}

[[TARGET_AVX2]] void sumColumnsAvx2(const FacingColumns& columns, float* sums, size_t sumStride) {
    for (size_t column = 0; column < MovingPixels::count; column += 8) {
        size_t s = 0;
        for (; s + 4 <= columns.shifts; s += 4) sumTile8(columns, column, s, 4, sums, sumStride);
        for (; s < columns.shifts; ++s) sumTile8(columns, column, s, 1, sums, sumStride);
    }
}

[[TARGET_AVX2]] void addRunsAvx2(const float* sums, size_t sumStride, size_t count, float* totals, size_t rows) {
    const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    const __m256i rest = _mm256_cmpgt_epi32(_mm256_set1_epi32(static_cast<int>(count % 8)), lanes);
    for (size_t r = 0; r < rows; ++r, sums += sumStride) {
        __m256 sum = _mm256_maskload_ps(sums + count / 8 * 8, rest);
        for (size_t i = 0; i + 8 <= count; i += 8) sum = _mm256_add_ps(sum, _mm256_loadu_ps(sums + i));
        const __m128 four = _mm_add_ps(_mm256_castps256_ps128(sum), _mm256_extractf128_ps(sum, 1));
        const __m128 two = _mm_add_ps(four, _mm_movehl_ps(four, four));
        totals[r] += _mm_cvtss_f32(_mm_add_ss(two, _mm_movehdup_ps(two)));
    }
}

[[TARGET_AVX512_VNNI]] void sumColumnsAvx512(const FacingColumns& columns, float* sums, size_t sumStride) {
    sumColumns16<KnownRows>(columns, sums, sumStride);
}

#endif
