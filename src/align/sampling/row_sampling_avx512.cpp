#include "align/sampling/row_sampling_x86.h"

#if defined(__x86_64__)

#include <algorithm>

#include "align/sampling/bilinear.h"
#include "core/vector_instructions.h"

namespace {

constexpr size_t lanes = 16;

// Where sixteen pixels lie when they fit into sixteen columns of two rows: the corner, each one's column from there,
// and which are in the lower row.
struct Patch {
    bool compact;
    const Pixel* corner;
    __m512i column;
    __mmask16 lower;
};

[[TARGET_AVX512]] inline int32_t lesserEnd(__m512i values) {
    const __m128i last = _mm512_extracti32x4_epi32(values, 3);
    return std::min(_mm_cvtsi128_si32(_mm512_castsi512_si128(values)), _mm_extract_epi32(last, 3));
}

// All positions lie in the picture. columnsNeeded are read from the corner on, which may reach past the row's end.
[[TARGET_AVX512]] inline Patch findPatch(const Image& source, __m512i x, __m512i y, int32_t columnsNeeded) {
    const int32_t left = lesserEnd(x), top = lesserEnd(y);
    const __m512i column = _mm512_sub_epi32(x, _mm512_set1_epi32(left));
    const __m512i row = _mm512_sub_epi32(y, _mm512_set1_epi32(top));
    const __mmask16 near = _mm512_mask_cmplt_epu32_mask(_mm512_cmplt_epu32_mask(column, _mm512_set1_epi32(lanes)), row,
                                                        _mm512_set1_epi32(2));
    return {.compact = near == 0xFFFF && left <= source.width - columnsNeeded,
            .corner = rowOf(source, top) + left,
            .column = column,
            .lower = _mm512_test_epi32_mask(row, row)};
}

// The pixels of a patch whose upper row begins at upper and whose lower row at lower.
[[TARGET_AVX512]] inline __m512i gatherPatch(const Patch& patch, const Pixel* upper, const Pixel* lower) {
    const __m512i fromUpper = _mm512_permutexvar_epi32(patch.column, _mm512_loadu_si512(upper));
    return _mm512_mask_permutexvar_epi32(fromUpper, patch.lower, patch.column, _mm512_loadu_si512(lower));
}

// The places in the picture of eight pixels, which may need 64 bits.
[[TARGET_AVX512]] inline __m512i indexPixels8(const Image& source, __m256i x, __m256i y) {
    const __m512i row = _mm512_mullo_epi64(_mm512_cvtepi32_epi64(y), _mm512_set1_epi64(source.width));
    return _mm512_add_epi64(row, _mm512_cvtepi32_epi64(x));
}

// Eight pixels anywhere in the picture; lanes outside the mask are without data.
[[TARGET_AVX512]] inline __m256i gatherPixels8(const Image& source, const Pixel* first, __mmask8 wanted, __m256i x,
                                               __m256i y) {
    return _mm512_mask_i64gather_epi32(_mm256_setzero_si256(), wanted, indexPixels8(source, x, y), first,
                                       sizeof(Pixel));
}

[[TARGET_AVX512]] inline __m512i gatherPixels(const Image& source, const Pixel* first, __mmask16 wanted, __m512i x,
                                              __m512i y) {
    const __m256i low = gatherPixels8(source, first, static_cast<__mmask8>(wanted), _mm512_castsi512_si256(x),
                                      _mm512_castsi512_si256(y));
    const __m256i high = gatherPixels8(source, first, static_cast<__mmask8>(wanted >> 8),
                                       _mm512_extracti32x8_epi32(x, 1), _mm512_extracti32x8_epi32(y, 1));
    return _mm512_inserti32x8(_mm512_castsi256_si512(low), high, 1);
}

struct Pairs {
    __m512i left, right;
};

// Sixteen pixels, each with its right neighbour.
[[TARGET_AVX512]] inline Pairs gatherPairs(const Pixel* first, __m512i firstIndex, __m512i lastIndex) {
    const __m512i low = _mm512_i64gather_epi64(firstIndex, first, sizeof(Pixel));
    const __m512i high = _mm512_i64gather_epi64(lastIndex, first, sizeof(Pixel));
    const __m512i lefts = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    const __m512i rights = _mm512_add_epi32(lefts, _mm512_set1_epi32(1));
    return {_mm512_permutex2var_epi32(low, lefts, high), _mm512_permutex2var_epi32(low, rights, high)};
}

struct Neighbours {
    __m512i topLeft, topRight, bottomLeft, bottomRight;
};

[[TARGET_AVX512]] inline Neighbours gatherNeighbours(const Image& source, __m512i x, __m512i y) {
    const Patch patch = findPatch(source, x, y, lanes + 1);
    if (patch.compact) {
        fetchAhead(source, patch.corner);
        const Pixel* upper = patch.corner;
        const Pixel* middle = upper + source.width;
        const Pixel* lower = patch.lower != 0 ? middle + source.width : middle;  // past the last row nothing is wanted
        return {gatherPatch(patch, upper, middle), gatherPatch(patch, upper + 1, middle + 1),
                gatherPatch(patch, middle, lower), gatherPatch(patch, middle + 1, lower + 1)};
    }
    const __m512i first = indexPixels8(source, _mm512_castsi512_si256(x), _mm512_castsi512_si256(y));
    const __m512i last = indexPixels8(source, _mm512_extracti32x8_epi32(x, 1), _mm512_extracti32x8_epi32(y, 1));
    const Pairs above = gatherPairs(source.pixels, first, last);
    const Pairs below = gatherPairs(source.pixels + source.width, first, last);
    return {above.left, above.right, below.left, below.right};
}

// One channel of the mix, in the order of mixByte; gx and gy are 1 - fx and 1 - fy.
[[TARGET_AVX512]] inline __m512i mixChannel(const Neighbours& pixels, unsigned shift, __m512 fx, __m512 fy, __m512 gx,
                                            __m512 gy) {
    const __m512i byte = _mm512_set1_epi32(0xFF);
    const __m512 topLeft = _mm512_cvtepi32_ps(_mm512_and_si512(_mm512_srli_epi32(pixels.topLeft, shift), byte));
    const __m512 topRight = _mm512_cvtepi32_ps(_mm512_and_si512(_mm512_srli_epi32(pixels.topRight, shift), byte));
    const __m512 bottomLeft = _mm512_cvtepi32_ps(_mm512_and_si512(_mm512_srli_epi32(pixels.bottomLeft, shift), byte));
    const __m512 bottomRight = _mm512_cvtepi32_ps(_mm512_and_si512(_mm512_srli_epi32(pixels.bottomRight, shift), byte));
    __m512 value = _mm512_mul_ps(_mm512_mul_ps(topLeft, gx), gy);
    value = _mm512_add_ps(value, _mm512_mul_ps(_mm512_mul_ps(topRight, fx), gy));
    value = _mm512_add_ps(value, _mm512_mul_ps(_mm512_mul_ps(bottomLeft, gx), fy));
    value = _mm512_add_ps(value, _mm512_mul_ps(_mm512_mul_ps(bottomRight, fx), fy));
    return _mm512_slli_epi32(_mm512_and_si512(_mm512_cvttps_epi32(value), byte), shift);
}

// Sixteen positions, each with all four neighbours in the picture.
[[TARGET_AVX512]] inline __m512i mixPixels(const Image& source, __m512i x, __m512i y, __m512 fx, __m512 fy) {
    const Neighbours pixels = gatherNeighbours(source, x, y);
    const __m512 one = _mm512_set1_ps(1.0f);
    const __m512 gx = _mm512_sub_ps(one, fx), gy = _mm512_sub_ps(one, fy);
    return _mm512_or_si512(
        _mm512_or_si512(mixChannel(pixels, 0, fx, fy, gx, gy), mixChannel(pixels, 8, fx, fy, gx, gy)),
        _mm512_or_si512(mixChannel(pixels, 16, fx, fy, gx, gy), mixChannel(pixels, 24, fx, fy, gx, gy)));
}

// Lanes 0 <= value < limit. What a conversion finds no integer for is the smallest integer, and outside.
[[TARGET_AVX512]] inline bool allBelow(__m512i values, int32_t limit) {
    return _mm512_cmplt_epu32_mask(values, _mm512_set1_epi32(limit)) == 0xFFFF;
}

}  // namespace

[[TARGET_AVX512]] void samplePositionsAvx512(const Image& source, const float* x, const float* y, Pixel* row,
                                             size_t count) {
    const __m512 zero = _mm512_setzero_ps();
    for (size_t i = 0; i < count; i += lanes) {
        if (count - i >= lanes && source.width > 0 && source.height > 0) {
            const __m512 positionX = _mm512_loadu_ps(x + i), positionY = _mm512_loadu_ps(y + i);
            const __m512i ix = _mm512_cvttps_epi32(positionX), iy = _mm512_cvttps_epi32(positionY);
            const __mmask16 notBelow =
                _mm512_mask_cmp_ps_mask(_mm512_cmp_ps_mask(positionX, zero, _CMP_GE_OQ), positionY, zero, _CMP_GE_OQ);
            if (notBelow == 0xFFFF && allBelow(ix, source.width - 1) && allBelow(iy, source.height - 1)) {
                const __m512 fx = _mm512_sub_ps(positionX, _mm512_cvtepi32_ps(ix));
                const __m512 fy = _mm512_sub_ps(positionY, _mm512_cvtepi32_ps(iy));
                _mm512_storeu_si512(row + i, mixPixels(source, ix, iy, fx, fy));
                continue;
            }
        }
        // The border of the picture, and what is left of the row.
        for (size_t k = i; k < std::min(i + lanes, count); ++k) row[k] = samplePosition(source, x[k], y[k]);
    }
}

[[TARGET_AVX512]] void sampleFractionsAvx512(const Image& source, const int32_t* x, const float* fx, int32_t y,
                                             float fy, Pixel* row, size_t count) {
    const bool rowInside = y >= 0 && y < source.height - 1 && source.width > 0;
    for (size_t i = 0; i < count; i += lanes) {
        if (count - i >= lanes && rowInside) {
            const __m512i columns = _mm512_loadu_si512(x + i);
            if (allBelow(columns, source.width - 1)) {
                _mm512_storeu_si512(row + i, mixPixels(source, columns, _mm512_set1_epi32(y), _mm512_loadu_ps(fx + i),
                                                       _mm512_set1_ps(fy)));
                continue;
            }
        }
        for (size_t k = i; k < std::min(i + lanes, count); ++k) row[k] = samplePixel(source, x[k], y, fx[k], fy);
    }
}

[[TARGET_AVX512]] void sampleTurnedRowAvx512(const Image& source, const TurnedRow& positions, Pixel* row,
                                             size_t count) {
    const __m512 cosA = _mm512_set1_ps(positions.cosA), sinA = _mm512_set1_ps(positions.sinA);
    const __m512 startX = _mm512_set1_ps(positions.startX), startY = _mm512_set1_ps(positions.startY);
    const __m512i laneNumbers = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    for (size_t i = 0; i < count; i += lanes) {
        const __mmask16 present = count - i >= lanes ? 0xFFFF : static_cast<__mmask16>((1u << (count - i)) - 1);
        const __m512i offset =
            _mm512_add_epi32(laneNumbers, _mm512_set1_epi32(positions.firstU + static_cast<int32_t>(i)));
        const __m512 u = _mm512_cvtepi32_ps(offset);
        const __m512i x = _mm512_cvttps_epi32(_mm512_add_ps(_mm512_mul_ps(cosA, u), startX));
        const __m512i y = _mm512_cvttps_epi32(_mm512_add_ps(_mm512_mul_ps(sinA, u), startY));
        __mmask16 inside = _mm512_mask_cmplt_epu32_mask(present, x, _mm512_set1_epi32(source.width));
        inside = _mm512_mask_cmplt_epu32_mask(inside, y, _mm512_set1_epi32(source.height));
        if (inside == 0xFFFF) {
            const Patch patch = findPatch(source, x, y, lanes);
            if (patch.compact) {
                fetchAhead(source, patch.corner);
                const Pixel* lower = patch.lower != 0 ? patch.corner + source.width : patch.corner;
                _mm512_storeu_si512(row + i, gatherPatch(patch, patch.corner, lower));
                continue;
            }
        }
        const __m512i pixels = gatherPixels(source, source.pixels, inside, x, y);
        _mm512_mask_storeu_epi32(row + i, present, pixels);
    }
}

#endif
