#include "align/sampling/row_sampling_x86.h"

#if defined(__x86_64__)

#include <algorithm>
#include <cstring>

#include "align/sampling/bilinear.h"
#include "core/vector_instructions.h"

namespace {

constexpr size_t lanes = 8;

// Where eight pixels lie when they fit into eight columns of two rows: the corner, each one's column from there, and
// which are in the lower row.
struct Patch {
    bool compact;
    const Pixel* corner;
    __m256i column;
    __m256i lower;  // all bits of a lane
    bool reachesLower;
};

[[TARGET_AVX2]] inline int32_t lesserEnd(__m256i values) {
    return std::min(_mm256_extract_epi32(values, 0), _mm256_extract_epi32(values, 7));
}

// Lanes 0 <= value < limit, all bits of each.
[[TARGET_AVX2]] inline __m256i findBelow(__m256i values, int32_t limit) {
    return _mm256_andnot_si256(_mm256_cmpgt_epi32(_mm256_setzero_si256(), values),
                               _mm256_cmpgt_epi32(_mm256_set1_epi32(limit), values));
}

[[TARGET_AVX2]] inline bool all(__m256i mask) {
    return _mm256_movemask_epi8(mask) == -1;
}

// All positions lie in the picture. columnsNeeded are read from the corner on, which may reach past the row's end.
[[TARGET_AVX2]] inline Patch findPatch(const Image& source, __m256i x, __m256i y, int32_t columnsNeeded) {
    const int32_t left = lesserEnd(x), top = lesserEnd(y);
    const __m256i column = _mm256_sub_epi32(x, _mm256_set1_epi32(left));
    const __m256i row = _mm256_sub_epi32(y, _mm256_set1_epi32(top));
    const bool near = all(_mm256_and_si256(findBelow(column, lanes), findBelow(row, 2)));
    const __m256i lower = _mm256_cmpgt_epi32(row, _mm256_setzero_si256());
    return {.compact = near && left <= source.width - columnsNeeded,
            .corner = rowOf(source, top) + left,
            .column = column,
            .lower = lower,
            .reachesLower = _mm256_movemask_epi8(lower) != 0};
}

[[TARGET_AVX2]] inline __m256i load(const Pixel* pixels) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pixels));
}

// The pixels of a patch whose upper row begins at upper and whose lower row at lower.
[[TARGET_AVX2]] inline __m256i gatherPatch(const Patch& patch, const Pixel* upper, const Pixel* lower) {
    return _mm256_blendv_epi8(_mm256_permutevar8x32_epi32(load(upper), patch.column),
                              _mm256_permutevar8x32_epi32(load(lower), patch.column), patch.lower);
}

// Eight pixels anywhere in the picture, whose index may need 64 bits.
[[TARGET_AVX2]] inline __m256i gatherPixels(const Image& source, const Pixel* first, __m256i x, __m256i y) {
    alignas(32) int32_t columns[lanes], rows[lanes], pixels[lanes];
    _mm256_store_si256(reinterpret_cast<__m256i*>(columns), x);
    _mm256_store_si256(reinterpret_cast<__m256i*>(rows), y);
    for (size_t i = 0; i < lanes; ++i) {
        std::memcpy(&pixels[i], first + int64_t{rows[i]} * source.width + columns[i], sizeof(Pixel));
    }
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(pixels));
}

struct Neighbours {
    __m256i topLeft, topRight, bottomLeft, bottomRight;
};

[[TARGET_AVX2]] inline Neighbours gatherNeighbours(const Image& source, __m256i x, __m256i y) {
    const Patch patch = findPatch(source, x, y, lanes + 1);
    if (patch.compact) {
        fetchAhead(source, patch.corner);
        const Pixel* upper = patch.corner;
        const Pixel* middle = upper + source.width;
        const Pixel* lower =
            patch.reachesLower ? middle + source.width : middle;  // past the last row nothing is wanted
        return {gatherPatch(patch, upper, middle), gatherPatch(patch, upper + 1, middle + 1),
                gatherPatch(patch, middle, lower), gatherPatch(patch, middle + 1, lower + 1)};
    }
    const Pixel* above = source.pixels;
    const Pixel* below = above + source.width;
    return {gatherPixels(source, above, x, y), gatherPixels(source, above + 1, x, y), gatherPixels(source, below, x, y),
            gatherPixels(source, below + 1, x, y)};
}

// One channel of the mix, in the order of mixByte; gx and gy are 1 - fx and 1 - fy.
[[TARGET_AVX2]] inline __m256i mixChannel(const Neighbours& pixels, int shift, __m256 fx, __m256 fy, __m256 gx,
                                          __m256 gy) {
    const __m256i byte = _mm256_set1_epi32(0xFF);
    const __m256 topLeft = _mm256_cvtepi32_ps(_mm256_and_si256(_mm256_srli_epi32(pixels.topLeft, shift), byte));
    const __m256 topRight = _mm256_cvtepi32_ps(_mm256_and_si256(_mm256_srli_epi32(pixels.topRight, shift), byte));
    const __m256 bottomLeft = _mm256_cvtepi32_ps(_mm256_and_si256(_mm256_srli_epi32(pixels.bottomLeft, shift), byte));
    const __m256 bottomRight = _mm256_cvtepi32_ps(_mm256_and_si256(_mm256_srli_epi32(pixels.bottomRight, shift), byte));
    __m256 value = _mm256_mul_ps(_mm256_mul_ps(topLeft, gx), gy);
    value = _mm256_add_ps(value, _mm256_mul_ps(_mm256_mul_ps(topRight, fx), gy));
    value = _mm256_add_ps(value, _mm256_mul_ps(_mm256_mul_ps(bottomLeft, gx), fy));
    value = _mm256_add_ps(value, _mm256_mul_ps(_mm256_mul_ps(bottomRight, fx), fy));
    return _mm256_slli_epi32(_mm256_and_si256(_mm256_cvttps_epi32(value), byte), shift);
}

// Eight positions, each with all four neighbours in the picture.
[[TARGET_AVX2]] inline __m256i mixPixels(const Image& source, __m256i x, __m256i y, __m256 fx, __m256 fy) {
    const Neighbours pixels = gatherNeighbours(source, x, y);
    const __m256 one = _mm256_set1_ps(1.0f);
    const __m256 gx = _mm256_sub_ps(one, fx), gy = _mm256_sub_ps(one, fy);
    return _mm256_or_si256(
        _mm256_or_si256(mixChannel(pixels, 0, fx, fy, gx, gy), mixChannel(pixels, 8, fx, fy, gx, gy)),
        _mm256_or_si256(mixChannel(pixels, 16, fx, fy, gx, gy), mixChannel(pixels, 24, fx, fy, gx, gy)));
}

[[TARGET_AVX2]] inline void store(Pixel* row, __m256i pixels) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(row), pixels);
}

}  // namespace

[[TARGET_AVX2]] void samplePositionsAvx2(const Image& source, const float* x, const float* y, Pixel* row,
                                         size_t count) {
    const __m256 zero = _mm256_setzero_ps();
    for (size_t i = 0; i < count; i += lanes) {
        if (count - i >= lanes && source.width > 0 && source.height > 0) {
            const __m256 positionX = _mm256_loadu_ps(x + i), positionY = _mm256_loadu_ps(y + i);
            const __m256i ix = _mm256_cvttps_epi32(positionX), iy = _mm256_cvttps_epi32(positionY);
            const __m256 notBelow =
                _mm256_and_ps(_mm256_cmp_ps(positionX, zero, _CMP_GE_OQ), _mm256_cmp_ps(positionY, zero, _CMP_GE_OQ));
            const __m256i inside = _mm256_and_si256(findBelow(ix, source.width - 1), findBelow(iy, source.height - 1));
            if (all(_mm256_and_si256(inside, _mm256_castps_si256(notBelow)))) {
                const __m256 fx = _mm256_sub_ps(positionX, _mm256_cvtepi32_ps(ix));
                const __m256 fy = _mm256_sub_ps(positionY, _mm256_cvtepi32_ps(iy));
                store(row + i, mixPixels(source, ix, iy, fx, fy));
                continue;
            }
        }
        // The border of the picture, and what is left of the row.
        for (size_t k = i; k < std::min(i + lanes, count); ++k) row[k] = samplePosition(source, x[k], y[k]);
    }
}

[[TARGET_AVX2]] void sampleFractionsAvx2(const Image& source, const int32_t* x, const float* fx, int32_t y, float fy,
                                         Pixel* row, size_t count) {
    const bool rowInside = y >= 0 && y < source.height - 1 && source.width > 0;
    for (size_t i = 0; i < count; i += lanes) {
        if (count - i >= lanes && rowInside) {
            const __m256i columns = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(x + i));
            if (all(findBelow(columns, source.width - 1))) {
                store(row + i,
                      mixPixels(source, columns, _mm256_set1_epi32(y), _mm256_loadu_ps(fx + i), _mm256_set1_ps(fy)));
                continue;
            }
        }
        for (size_t k = i; k < std::min(i + lanes, count); ++k) row[k] = samplePixel(source, x[k], y, fx[k], fy);
    }
}

[[TARGET_AVX2]] void sampleTurnedRowAvx2(const Image& source, const TurnedRow& positions, Pixel* row, size_t count) {
    const __m256 cosA = _mm256_set1_ps(positions.cosA), sinA = _mm256_set1_ps(positions.sinA);
    const __m256 startX = _mm256_set1_ps(positions.startX), startY = _mm256_set1_ps(positions.startY);
    const __m256i laneNumbers = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    for (size_t i = 0; i < count; i += lanes) {
        const int32_t firstU = positions.firstU + static_cast<int32_t>(i);
        const __m256 u = _mm256_cvtepi32_ps(_mm256_add_epi32(laneNumbers, _mm256_set1_epi32(firstU)));
        const __m256i x = _mm256_cvttps_epi32(_mm256_add_ps(_mm256_mul_ps(cosA, u), startX));
        const __m256i y = _mm256_cvttps_epi32(_mm256_add_ps(_mm256_mul_ps(sinA, u), startY));
        const __m256i inside = _mm256_and_si256(findBelow(x, source.width), findBelow(y, source.height));
        if (count - i >= lanes && all(inside)) {
            const Patch patch = findPatch(source, x, y, lanes);
            if (patch.compact) {
                fetchAhead(source, patch.corner);
                const Pixel* lower = patch.reachesLower ? patch.corner + source.width : patch.corner;
                store(row + i, gatherPatch(patch, patch.corner, lower));
            } else {
                store(row + i, gatherPixels(source, source.pixels, x, y));
            }
            continue;
        }
        alignas(32) int32_t columns[lanes], rows[lanes], present[lanes];
        _mm256_store_si256(reinterpret_cast<__m256i*>(columns), x);
        _mm256_store_si256(reinterpret_cast<__m256i*>(rows), y);
        _mm256_store_si256(reinterpret_cast<__m256i*>(present), inside);
        for (size_t k = 0; k < std::min(lanes, count - i); ++k) {
            row[i + k] = present[k] != 0 ? rowOf(source, rows[k])[columns[k]] : Pixel{};
        }
    }
}

#endif
