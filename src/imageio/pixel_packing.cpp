#include "imageio/pixel_packing.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "core/vector_instructions.h"
#include "core/vector_level.h"

namespace {

void expandPixelsPlain(const uint8_t* bytes, Pixel* row, size_t count) {
    for (size_t i = 0; i < count; ++i, bytes += 3) row[i] = {bytes[0], bytes[1], bytes[2], 255};
}

void packPixelsPlain(const Pixel* row, uint8_t* bytes, size_t count) {
    for (size_t i = 0; i < count; ++i, bytes += 3) std::memcpy(bytes, &row[i], 3);
}

#if defined(__x86_64__)

// Eight or sixteen pixels a step: groups of four, moved between three and four bytes by a shuffle. A step reads or
// writes beyond its bytes, which the last pixels of a row, left to the plain version, make room for. Expanded pixels go
// past the caches, in whole lines: a picture is larger than they are, and a line written whole need not be read first.
constexpr size_t bytesPerLine = 64, bytesPerHalf = 12;
// Pixels. The widest step reads a whole vector, a line long, where sixteen pixels of three bytes are its own.
constexpr size_t reserve = (bytesPerLine - size_t{16} * 3 + 2) / 3;

size_t countToLineStart(const Pixel* row) {
    return (bytesPerLine - reinterpret_cast<uintptr_t>(row) % bytesPerLine) % bytesPerLine / sizeof(Pixel);
}

[[TARGET_AVX2]] void expandPixelsAvx2(const uint8_t* bytes, Pixel* row, size_t count) {
    const __m256i order = _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1,  //
                                           0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    const __m256i fullWeight = _mm256_set1_epi32(static_cast<int>(0xFF000000u));
    size_t i = std::min(countToLineStart(row), count);
    expandPixelsPlain(bytes, row, i);
    for (; i + 8 + reserve <= count; i += 8) {
        const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 3 * i));
        const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 3 * i + bytesPerHalf));
        const __m256i both = _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
        const __m256i pixels = _mm256_or_si256(_mm256_shuffle_epi8(both, order), fullWeight);
        _mm256_stream_si256(reinterpret_cast<__m256i*>(row + i), pixels);
    }
    expandPixelsPlain(bytes + 3 * i, row + i, count - i);
}

[[TARGET_AVX512]] void expandPixelsAvx512(const uint8_t* bytes, Pixel* row, size_t count) {
    const __m512i groups = _mm512_setr_epi32(0, 1, 2, 0, 3, 4, 5, 0, 6, 7, 8, 0, 9, 10, 11, 0);
    const __m512i order =
        _mm512_set4_epi32(-1 << 24 | 0x0B0A09, -1 << 24 | 0x080706, -1 << 24 | 0x050403, -1 << 24 | 0x020100);
    const __m512i fullWeight = _mm512_set1_epi32(static_cast<int>(0xFF000000u));
    size_t i = std::min(countToLineStart(row), count);
    expandPixelsPlain(bytes, row, i);
    for (; i + 16 + reserve <= count; i += 16) {
        const __m512i words = _mm512_permutexvar_epi32(groups, _mm512_loadu_si512(bytes + 3 * i));
        const __m512i pixels = _mm512_or_si512(_mm512_shuffle_epi8(words, order), fullWeight);
        _mm512_stream_si512(reinterpret_cast<__m512i*>(row + i), pixels);
    }
    expandPixelsPlain(bytes + 3 * i, row + i, count - i);
}

[[TARGET_AVX2]] void packPixelsAvx2(const Pixel* row, uint8_t* bytes, size_t count) {
    const __m256i order = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1,  //
                                           0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    size_t i = 0;
    for (; i + 8 + reserve <= count; i += 8) {
        const __m256i pixels = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + i));
        const __m256i packed = _mm256_shuffle_epi8(pixels, order);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes + 3 * i), _mm256_castsi256_si128(packed));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes + 3 * i + bytesPerHalf), _mm256_extracti128_si256(packed, 1));
    }
    packPixelsPlain(row + i, bytes + 3 * i, count - i);
}

#elif defined(__aarch64__)

// Sixteen pixels a step, their channels apart in between: loads and stores do it.
void expandPixelsNeon(const uint8_t* bytes, Pixel* row, size_t count) {
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const uint8x16x3_t colours = vld3q_u8(bytes + 3 * i);
        const uint8x16x4_t pixels = {{colours.val[0], colours.val[1], colours.val[2], vdupq_n_u8(255)}};
        vst4q_u8(reinterpret_cast<uint8_t*>(row + i), pixels);
    }
    expandPixelsPlain(bytes + 3 * i, row + i, count - i);
}

void packPixelsNeon(const Pixel* row, uint8_t* bytes, size_t count) {
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const uint8x16x4_t pixels = vld4q_u8(reinterpret_cast<const uint8_t*>(row + i));
        const uint8x16x3_t colours = {{pixels.val[0], pixels.val[1], pixels.val[2]}};
        vst3q_u8(bytes + 3 * i, colours);
    }
    packPixelsPlain(row + i, bytes + 3 * i, count - i);
}

#endif

constexpr std::array kernels = {
    PackingKernel{expandPixelsPlain, packPixelsPlain},
#if defined(__x86_64__)
    PackingKernel{expandPixelsAvx2, packPixelsAvx2},
    PackingKernel{expandPixelsAvx512, packPixelsAvx2},
#elif defined(__aarch64__)
    PackingKernel{expandPixelsNeon, packPixelsNeon},
#endif
};

}  // namespace

const PackingKernel& packingKernel() {
    return kernels[vectorLevelIndex()];
}
