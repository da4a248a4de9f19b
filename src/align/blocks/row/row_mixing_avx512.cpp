#include "align/blocks/row/row_mixing_avx512.h"

#if defined(__x86_64__)

#include "align/blocks/row/column_bounds.h"
#include "align/blocks/row/level_mixing.h"
#include "align/blocks/row/short_divisor.h"
#include "core/vector_instructions.h"

namespace {

constexpr int weightByte = static_cast<int>(0xFF000000u);

// Sixteen pixels as two vectors of 16-bit channels, in the order in which packing them to bytes brings them in order.
struct Channels {
    __m512i first, second;
};

[[TARGET_AVX512]] inline Channels loadChannels(const uint16_t* mixes) {
    const __m512i low = _mm512_loadu_si512(mixes), high = _mm512_loadu_si512(mixes + 32);
    const __m512i first = _mm512_setr_epi64(0, 1, 4, 5, 8, 9, 12, 13);
    const __m512i second = _mm512_add_epi64(first, _mm512_set1_epi64(2));
    return {_mm512_permutex2var_epi64(low, first, high), _mm512_permutex2var_epi64(low, second, high)};
}

struct Divisor {
    __m512i factor;
    __m128i shift;
};

// Whole levels of sums.
[[TARGET_AVX512]] inline __m512i divide(__m512i sums, const Divisor& by) {
    return _mm512_srl_epi16(_mm512_mulhi_epu16(sums, by.factor), by.shift);
}

// The bytes that the bounds compare, from four channels a pixel: blue in the weight's place too, each cut to its range
// and counted from there, green and red doubled.
[[TARGET_AVX512]] inline __m512i packLevels(__m512i pixels) {
    const __m512i order = _mm512_broadcast_i32x4(_mm_setr_epi8(0, 1, 2, 0, 4, 5, 6, 4, 8, 9, 10, 8, 12, 13, 14, 12));
    const __m512i counted =
        _mm512_subs_epu8(_mm512_shuffle_epi8(pixels, order), _mm512_set1_epi32(static_cast<int>(0x80606000u)));
    const __m512i levels = _mm512_min_epu8(counted, _mm512_set1_epi32(0x7F3F3F7F));
    return _mm512_mask_add_epi8(levels, 0x6666666666666666, levels, levels);
}

// What all fractions down start from: the upper mixes times n, and what a fraction of 1/n adds. A mix that leaves the
// levels becomes a sum beyond all levels that no fraction moves.
struct Start {
    Channels base, step;
};

[[TARGET_AVX512]] inline void keepUnknown(__m512i above, __m512i below, __m512i& base, __m512i& step) {
    const __m512i unknown = _mm512_set1_epi16(static_cast<int16_t>(unknownMix));
    const __mmask32 isUnknown = _mm512_cmpeq_epi16_mask(above, unknown) | _mm512_cmpeq_epi16_mask(below, unknown);
    base = _mm512_mask_mov_epi16(base, isUnknown, unknown);
    step = _mm512_maskz_mov_epi16(~isUnknown, step);
}

[[TARGET_AVX512]] inline Start startRows(const Channels& above, const Channels& below, int32_t n) {
    const __m512i whole = _mm512_set1_epi16(static_cast<int16_t>(n));
    Start start = {
        {_mm512_mullo_epi16(above.first, whole), _mm512_mullo_epi16(above.second, whole)},
        {_mm512_sub_epi16(below.first, above.first), _mm512_sub_epi16(below.second, above.second)},
    };
    keepUnknown(above.first, below.first, start.base.first, start.step.first);
    keepUnknown(above.second, below.second, start.base.second, start.step.second);
    return start;
}

// The lowest and the highest level of each mix. A whole level, and no other, has the level below it in the sum less
// one. Where the level is not known it is 0 to 255.
struct Levels {
    __m512i lowest, highest;
};

[[TARGET_AVX512, gnu::always_inline]] inline Levels cutSums(__m512i sums, const Divisor& by, const bool inside) {
    const __m512i highest = divide(sums, by);
    const __m512i lowest = divide(_mm512_subs_epu16(sums, _mm512_set1_epi16(1)), by);
    if (inside) return {lowest, highest};
    const __mmask32 known = _mm512_cmple_epu16_mask(highest, _mm512_set1_epi16(255));
    return {_mm512_maskz_mov_epi16(known, lowest), highest};  // what is beyond becomes 255 when it is packed
}

// The sums of a fraction down, in n^2-ths of a level.
[[TARGET_AVX512]] inline Channels sumRows(const Start& start, int32_t fraction) {
    const __m512i times = _mm512_set1_epi16(static_cast<int16_t>(fraction));
    return {_mm512_add_epi16(start.base.first, _mm512_mullo_epi16(start.step.first, times)),
            _mm512_add_epi16(start.base.second, _mm512_mullo_epi16(start.step.second, times))};
}

[[TARGET_AVX512, gnu::always_inline]] inline void mixOpenRow(const Start& start, int32_t fraction, const Divisor& by,
                                                             MovingPixels& to, const bool inside) {
    const Channels sums = sumRows(start, fraction);
    const Levels first = cutSums(sums.first, by, inside), second = cutSums(sums.second, by, inside);
    const __m512i lowest = _mm512_packus_epi16(first.lowest, second.lowest);
    const __m512i highest = _mm512_packus_epi16(first.highest, second.highest);
    const __mmask16 hasData = _mm512_test_epi32_mask(lowest, _mm512_set1_epi32(weightByte));
    _mm512_store_si512(to.factors, _mm512_maskz_mov_epi32(hasData, packLevels(lowest)));
    _mm512_store_si512(to.norms, _mm512_mask_mov_epi32(_mm512_set1_epi32(-1), hasData, packLevels(highest)));
}

// All of a word's bits where it is no level. A pixel is known when all of its channels are.
[[TARGET_AVX512]] inline __m512i findBeyond(__m512i levels) {
    return _mm512_movm_epi16(_mm512_cmpgt_epu16_mask(levels, _mm512_set1_epi16(255)));
}

[[TARGET_AVX512, gnu::always_inline]] inline void mixExactRow(const Start& start, int32_t fraction, const Divisor& by,
                                                              MovingPixels& to, const bool inside) {
    const Channels sums = sumRows(start, fraction);
    const __m512i first = divide(sums.first, by), second = divide(sums.second, by);
    const __m512i pixels = _mm512_packus_epi16(first, second);
    __mmask16 hasData = _mm512_test_epi32_mask(pixels, _mm512_set1_epi32(weightByte));
    if (!inside) {
        const __m512i beyond = _mm512_packs_epi16(findBeyond(first), findBeyond(second));
        hasData = _mm512_mask_testn_epi32_mask(hasData, beyond, beyond);
    }
    const __m512i order = _mm512_broadcast_i32x4(_mm_setr_epi8(0, 0, 1, 2, 4, 4, 5, 6, 8, 8, 9, 10, 12, 12, 13, 14));
    const __m512i counted = _mm512_subs_epu8(pixels, _mm512_set1_epi32(0x00606000));
    const __m512i bytes =
        _mm512_shuffle_epi8(_mm512_min_epu8(counted, _mm512_set1_epi32(0x003F3FFF)), order);  // blue, blue, green, red
    const __m512i blue = _mm512_and_si512(bytes, _mm512_set1_epi32(0xFF));
    const __m512i green = _mm512_and_si512(_mm512_srli_epi32(bytes, 16), _mm512_set1_epi32(0xFF));
    const __m512i red = _mm512_slli_epi32(_mm512_srli_epi32(bytes, 24), 16);
    const __m512i gradients =
        _mm512_add_epi16(_mm512_or_si512(green, red), _mm512_set1_epi16(static_cast<int16_t>(lowestGradient)));
    const __m512i scaled = _mm512_add_epi16(_mm512_slli_epi16(gradients, 2), _mm512_set1_epi16(256));
    const __m512i norms = _mm512_add_epi32(_mm512_madd_epi16(gradients, scaled), _mm512_madd_epi16(blue, blue));
    const __m512i doubled = _mm512_mask_add_epi8(bytes, 0xCCCCCCCCCCCCCCCC, bytes, bytes);
    _mm512_store_si512(to.factors, _mm512_sub_epi8(_mm512_set1_epi32(0x40407F7F), doubled));
    _mm512_store_si512(to.norms, _mm512_mask_mov_epi32(_mm512_set1_epi32(maskedNorm), hasData, norms));
}

template <bool exact>
[[TARGET_AVX512, gnu::always_inline]] inline void mixRows(const RowPair& pair, size_t count, int32_t n, size_t stride) {
    const ShortDivisor divisor = makeShortDivisor(n);
    const Divisor by = {_mm512_set1_epi16(static_cast<int16_t>(divisor.factor)), _mm_cvtsi32_si128(divisor.shift)};
    for (size_t i = 0; i < count; i += MovingPixels::count) {
        const Channels above = loadChannels(pair.above + i * sizeof(Pixel));
        const Channels below = loadChannels(pair.below + i * sizeof(Pixel));
        const Start start = startRows(above, below, n);
        for (const MixedRow& row : pair.rows) {
            MovingPixels& to = row.to[i / MovingPixels::count * stride];
            const bool inside = pair.inside && row.fraction >= 0;
            if (exact) {
                inside ? mixExactRow(start, row.fraction, by, to, true)
                       : mixExactRow(start, row.fraction, by, to, false);
            } else {
                inside ? mixOpenRow(start, row.fraction, by, to, true) : mixOpenRow(start, row.fraction, by, to, false);
            }
        }
    }
}

}  // namespace

[[TARGET_AVX512]] void mixExactRowsAvx512(const RowPair& pair, size_t count, int32_t n, size_t stride) {
    mixRows<true>(pair, count, n, stride);
}

[[TARGET_AVX512]] void mixOpenRowsAvx512(const RowPair& pair, size_t count, int32_t n, size_t stride) {
    mixRows<false>(pair, count, n, stride);
}

#endif
