#include "align/blocks/row/level_mixing.h"

#include <array>

#include "align/blocks/row/search_plan.h"
#include "align/blocks/row/short_divisor.h"
#include "core/vector_instructions.h"
#include "core/vector_level.h"

// One source for all vector levels: loops that both compilers turn into vector instructions, compiled once a level.

namespace {

static_assert(2 * 255 * largestFractionsPerPixel < unknownMix);

// A mix below 0 comes out modulo 2^16, beyond all levels: across it is at least -255 n, down at least -255 n^2.
static_assert(0x10000 - 255 * largestFractionsPerPixel > 255 * largestFractionsPerPixel);
static_assert(0x10000 - 255 * largestShortN * largestShortN >= 256 * largestShortN * largestShortN);

// The low half of a product.
[[gnu::always_inline]] inline uint16_t multiply(uint16_t a, uint16_t b) {
    return static_cast<uint16_t>(uint32_t{a} * b);
}

[[gnu::always_inline]] inline void mixAcrossBy(const Pixel* leftPixels, const Pixel* rightPixels, size_t count,
                                               int32_t fraction, int32_t n, uint16_t* mixes) {
    const auto* left = reinterpret_cast<const uint8_t*>(leftPixels);
    const auto* right = reinterpret_cast<const uint8_t*>(rightPixels);
    const auto leftWeight = static_cast<uint16_t>(n - fraction);
    const auto rightWeight = static_cast<uint16_t>(fraction);  // below 0 modulo 2^16, as the products are
    const auto highest = static_cast<uint16_t>(255 * n);
    for (size_t i = 0; i < count * sizeof(Pixel); ++i) {
        const auto mix = static_cast<uint16_t>(multiply(left[i], leftWeight) + multiply(right[i], rightWeight));
        mixes[i] = mix > highest ? unknownMix : mix;
    }
}

[[gnu::always_inline]] inline void mixDownShort(const uint16_t* above, const uint16_t* below, size_t count,
                                                const DownMix& mix, uint8_t* lower, uint8_t* upper) {
    const ShortDivisor divisor = makeShortDivisor(mix.n);
    const auto square = static_cast<uint16_t>(mix.n * mix.n);
    const auto aboveWeight = static_cast<uint16_t>(mix.n - mix.fraction);
    const auto belowWeight = static_cast<uint16_t>(mix.fraction);  // below 0 modulo 2^16, as the products are
    const auto wholeStep = static_cast<uint16_t>(mix.exact ? 0 : 1);
    for (size_t i = 0; i < count; ++i) {
        const auto sum = static_cast<uint16_t>(multiply(above[i], aboveWeight) + multiply(below[i], belowWeight));
        const auto high = static_cast<uint16_t>(uint32_t{sum} * divisor.factor >> 16);
        const auto level = static_cast<uint16_t>(high >> divisor.shift);
        const bool unknown = (above[i] == unknownMix) | (below[i] == unknownMix) | (level > 255);
        const bool whole = (multiply(level, square) == sum) & (level != 0);
        const auto next = static_cast<uint16_t>(level - (whole ? wholeStep : uint16_t{0}));
        lower[i] = static_cast<uint8_t>(unknown ? uint16_t{0} : next);
        upper[i] = static_cast<uint8_t>(unknown ? uint16_t{255} : level);
    }
}

[[gnu::always_inline]] inline void mixDownLong(const uint16_t* above, const uint16_t* below, size_t count,
                                               const DownMix& mix, uint8_t* lower, uint8_t* upper) {
    const int32_t square = mix.n * mix.n, wholeStep = mix.exact ? 0 : 1;
    const int32_t aboveWeight = mix.n - mix.fraction, belowWeight = mix.fraction;
    const float inverse = 1.0f / static_cast<float>(square);
    for (size_t i = 0; i < count; ++i) {
        const int32_t sum = above[i] * aboveWeight + below[i] * belowWeight;
        // Half a part up: then at least that far from a whole level, much further than single precision rounds.
        const auto level = static_cast<int32_t>((static_cast<float>(sum) + 0.5f) * inverse);
        const int32_t known = (above[i] != unknownMix) & (below[i] != unknownMix) & (sum >= 0) & (level <= 255);
        const int32_t whole = (level * square == sum) & (level != 0);
        lower[i] = static_cast<uint8_t>((level - whole * wholeStep) & -known);
        upper[i] = static_cast<uint8_t>(level | (known - 1));
    }
}

[[gnu::always_inline]] inline void mixDownBy(const uint16_t* above, const uint16_t* below, size_t count,
                                             const DownMix& mix, uint8_t* lower, uint8_t* upper) {
    if (mix.n <= largestShortN) {
        mixDownShort(above, below, count, mix, lower, upper);
    } else {
        mixDownLong(above, below, count, mix, lower, upper);
    }
}

void mixAcrossPlain(const Pixel* left, const Pixel* right, size_t count, int32_t fraction, int32_t n, uint16_t* mixes) {
    mixAcrossBy(left, right, count, fraction, n, mixes);
}

void mixDownPlain(const uint16_t* above, const uint16_t* below, size_t count, const DownMix& mix, uint8_t* lower,
                  uint8_t* upper) {
    mixDownBy(above, below, count, mix, lower, upper);
}

#if defined(__x86_64__)

[[TARGET_AVX2]] void mixAcrossAvx2(const Pixel* left, const Pixel* right, size_t count, int32_t fraction, int32_t n,
                                   uint16_t* mixes) {
    mixAcrossBy(left, right, count, fraction, n, mixes);
}

struct Levels16 {
    __m256i lower, upper;
};

[[TARGET_AVX2]] inline __m256i repeat16(int32_t value) {
    return _mm256_set1_epi16(static_cast<int16_t>(value));
}

// Sixteen mixes; inside is known when compiling.
[[TARGET_AVX2, gnu::always_inline]] inline Levels16 cutMixes16(const uint16_t* above, const uint16_t* below,
                                                               const DownMix& mix, const ShortDivisor& divisor,
                                                               const bool inside) {
    const __m256i top = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(above));
    const __m256i bottom = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(below));
    const __m256i fromTop = _mm256_mullo_epi16(top, repeat16(mix.n - mix.fraction));
    const __m256i sum = _mm256_add_epi16(fromTop, _mm256_mullo_epi16(bottom, repeat16(mix.fraction)));
    const __m256i high = _mm256_mulhi_epu16(sum, repeat16(divisor.factor));
    const __m256i level = _mm256_srl_epi16(high, _mm_cvtsi32_si128(divisor.shift));
    const __m256i whole = _mm256_cmpeq_epi16(_mm256_mullo_epi16(level, repeat16(mix.n * mix.n)), sum);
    const __m256i lower = _mm256_subs_epu16(level, _mm256_and_si256(whole, repeat16(mix.exact ? 0 : 1)));
    if (inside) return {lower, level};
    const __m256i unknownMixes = repeat16(unknownMix);
    const __m256i unknown = _mm256_or_si256(
        _mm256_or_si256(_mm256_cmpeq_epi16(top, unknownMixes), _mm256_cmpeq_epi16(bottom, unknownMixes)),
        _mm256_cmpgt_epi16(level, repeat16(255)));
    return {_mm256_andnot_si256(unknown, lower), _mm256_blendv_epi8(level, repeat16(255), unknown)};
}

[[TARGET_AVX2]] inline void storeLevels32(uint8_t* to, __m256i first, __m256i second) {
    const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(first, second), 0b11011000);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), packed);
}

[[TARGET_AVX2, gnu::always_inline]] inline size_t mixDownWide16(const uint16_t* above, const uint16_t* below,
                                                                size_t count, const DownMix& mix, uint8_t* lower,
                                                                uint8_t* upper, const bool inside) {
    const ShortDivisor divisor = makeShortDivisor(mix.n);
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const Levels16 first = cutMixes16(above + i, below + i, mix, divisor, inside);
        const Levels16 second = cutMixes16(above + i + 16, below + i + 16, mix, divisor, inside);
        storeLevels32(lower + i, first.lower, second.lower);
        storeLevels32(upper + i, first.upper, second.upper);
    }
    return i;
}

[[TARGET_AVX2]] void mixDownAvx2(const uint16_t* above, const uint16_t* below, size_t count, const DownMix& mix,
                                 uint8_t* lower, uint8_t* upper) {
    size_t i = 0;
    if (mix.n <= largestShortN) {
        i = mix.inside ? mixDownWide16(above, below, count, mix, lower, upper, true)
                       : mixDownWide16(above, below, count, mix, lower, upper, false);
    }
    mixDownBy(above + i, below + i, count - i, mix, lower + i, upper + i);
}

[[TARGET_AVX512]] void mixAcrossAvx512(const Pixel* left, const Pixel* right, size_t count, int32_t fraction, int32_t n,
                                       uint16_t* mixes) {
    mixAcrossBy(left, right, count, fraction, n, mixes);
}

struct Levels32 {
    __m512i lower, upper;
};

[[TARGET_AVX512]] inline __m512i repeat32(int32_t value) {
    return _mm512_set1_epi16(static_cast<int16_t>(value));
}

// Thirty-two mixes; inside is known when compiling.
[[TARGET_AVX512, gnu::always_inline]] inline Levels32 cutMixes32(const uint16_t* above, const uint16_t* below,
                                                                 const DownMix& mix, const ShortDivisor& divisor,
                                                                 const bool inside) {
    const __m512i top = _mm512_loadu_si512(above), bottom = _mm512_loadu_si512(below);
    const __m512i fromTop = _mm512_mullo_epi16(top, repeat32(mix.n - mix.fraction));
    const __m512i sum = _mm512_add_epi16(fromTop, _mm512_mullo_epi16(bottom, repeat32(mix.fraction)));
    const __m512i high = _mm512_mulhi_epu16(sum, repeat32(divisor.factor));
    const __m512i level = _mm512_srl_epi16(high, _mm_cvtsi32_si128(divisor.shift));
    const __mmask32 whole = _mm512_cmpeq_epi16_mask(_mm512_mullo_epi16(level, repeat32(mix.n * mix.n)), sum);
    const __m512i lower = _mm512_mask_subs_epu16(level, whole, level, repeat32(mix.exact ? 0 : 1));
    if (inside) return {lower, level};
    const __mmask32 unknown = _mm512_cmpeq_epi16_mask(top, repeat32(unknownMix)) |
                              _mm512_cmpeq_epi16_mask(bottom, repeat32(unknownMix)) |
                              _mm512_cmpgt_epi16_mask(level, repeat32(255));
    return {_mm512_mask_mov_epi16(lower, unknown, _mm512_setzero_si512()),
            _mm512_mask_mov_epi16(level, unknown, repeat32(255))};
}

[[TARGET_AVX512]] inline void storeLevels64(uint8_t* to, __m512i first, __m512i second) {
    const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
    _mm512_storeu_si512(to, _mm512_permutexvar_epi64(order, _mm512_packus_epi16(first, second)));
}

[[TARGET_AVX512, gnu::always_inline]] inline size_t mixDownWide32(const uint16_t* above, const uint16_t* below,
                                                                  size_t count, const DownMix& mix, uint8_t* lower,
                                                                  uint8_t* upper, const bool inside) {
    const ShortDivisor divisor = makeShortDivisor(mix.n);
    size_t i = 0;
    for (; i + 64 <= count; i += 64) {
        const Levels32 first = cutMixes32(above + i, below + i, mix, divisor, inside);
        const Levels32 second = cutMixes32(above + i + 32, below + i + 32, mix, divisor, inside);
        storeLevels64(lower + i, first.lower, second.lower);
        storeLevels64(upper + i, first.upper, second.upper);
    }
    return i;
}

[[TARGET_AVX512]] void mixDownAvx512(const uint16_t* above, const uint16_t* below, size_t count, const DownMix& mix,
                                     uint8_t* lower, uint8_t* upper) {
    size_t i = 0;
    if (mix.n <= largestShortN) {
        i = mix.inside ? mixDownWide32(above, below, count, mix, lower, upper, true)
                       : mixDownWide32(above, below, count, mix, lower, upper, false);
    }
    mixDownBy(above + i, below + i, count - i, mix, lower + i, upper + i);
}

#endif

constexpr std::array mixingKernels = {
    MixingKernel{mixAcrossPlain, mixDownPlain},
#if defined(__x86_64__)
    MixingKernel{mixAcrossAvx2, mixDownAvx2},
    MixingKernel{mixAcrossAvx512, mixDownAvx512},
#elif defined(__aarch64__)
    MixingKernel{mixAcrossPlain, mixDownPlain},  // compiled for these instructions anyhow
#endif
};

}  // namespace

const MixingKernel& mixingKernel() {
    return mixingKernels[vectorLevelIndex()];
}
