#include "align/measure/pair_cost_neon.h"

#if defined(__aarch64__)

#include <algorithm>
#include <cstring>

#include "core/vector_instructions.h"

namespace {

// A pixel is one 32-bit lane: blue in the low byte, then green, red, weight. A step takes two vectors, one of which can
// go on while the other waits for its results.
constexpr size_t lanes = 4, step = 2 * lanes;

struct PairDifferences {
    uint32x4_t d;         // 0 where data lacks on one side
    uint32x4_t unmasked;  // all bits where both sides have data
};

inline uint32x4_t loadPixels(const Pixel* pixels) {
    return vld1q_u32(reinterpret_cast<const uint32_t*>(pixels));
}

// What is left of a row, up to a vector, filled up with pixels without data.
inline uint32x4_t loadLastPixels(const Pixel* pixels, size_t left) {
    uint32_t filledUp[lanes] = {};
    std::memcpy(filledUp, pixels, std::min(left, lanes) * sizeof(Pixel));
    return vld1q_u32(filledUp);
}

// The squares of byte differences fit 16-bit lanes: blue and red in one vector, green in the other. Widening products
// would need twice the instructions.
inline PairDifferences computeDifferences(uint32x4_t a, uint32x4_t b) {
    const uint8x16_t bytesA = vreinterpretq_u8_u32(a), bytesB = vreinterpretq_u8_u32(b);
    const uint32x4_t unmasked = vcgtq_u32(vreinterpretq_u32_u8(vminq_u8(bytesA, bytesB)), vdupq_n_u32(0x00FFFFFF));
    const uint32x4_t colours = vandq_u32(vreinterpretq_u32_u8(vabdq_u8(bytesA, bytesB)), vshrq_n_u32(unmasked, 8));
    const uint16x8_t blueAndRed = vandq_u16(vreinterpretq_u16_u32(colours), vdupq_n_u16(0xFF));
    const uint16x8_t green = vshrq_n_u16(vreinterpretq_u16_u32(colours), 8);
    const uint32x4_t squares = vreinterpretq_u32_u16(vmulq_u16(blueAndRed, blueAndRed));
    const uint32x4_t greenAndRed = vsraq_n_u32(vreinterpretq_u32_u16(vmulq_u16(green, green)), squares, 16);
    const uint32x4_t blue = vandq_u32(squares, vdupq_n_u32(0xFFFF));
    return {vaddq_u32(blue, vshlq_n_u32(greenAndRed, 2)), unmasked};
}

struct CostSums {
    float64x2_t low, high;
    uint32x4_t unmaskedPairs;
};

inline void addCosts(CostSums& sums, uint32x4_t a, uint32x4_t b) {
    const PairDifferences pairs = computeDifferences(a, b);
    const float32x4_t d = vcvtq_f32_u32(pairs.d);
    const float32x4_t costs = vaddq_f32(d, vmulq_n_f32(vmulq_f32(d, d), squareWeight));
    sums.low = vaddq_f64(sums.low, vcvt_f64_f32(vget_low_f32(costs)));
    sums.high = vaddq_f64(sums.high, vcvt_high_f64_f32(costs));
    sums.unmaskedPairs = vsubq_u32(sums.unmaskedPairs, pairs.unmasked);
}

struct EstimateSums {
    uint32x4_t differences;
    uint64x2_t squaresLow, squaresHigh;
};

inline void addDifferences(EstimateSums& sums, uint32x4_t a, uint32x4_t b) {
    const uint32x4_t d = computeDifferences(a, b).d;
    sums.differences = vaddq_u32(sums.differences, d);
    sums.squaresLow = vmlal_u32(sums.squaresLow, vget_low_u32(d), vget_low_u32(d));
    sums.squaresHigh = vmlal_high_u32(sums.squaresHigh, d, d);
}

}  // namespace

RowCost sumRowNeon(const Pixel* a, const Pixel* b, size_t count) {
    CostSums sums = {vdupq_n_f64(0.0), vdupq_n_f64(0.0), vdupq_n_u32(0)};
    size_t i = 0;
    for (; i + step <= count; i += step) {
        addCosts(sums, loadPixels(a + i), loadPixels(b + i));
        addCosts(sums, loadPixels(a + i + lanes), loadPixels(b + i + lanes));
    }
    for (; i < count; i += lanes) {
        addCosts(sums, loadLastPixels(a + i, count - i), loadLastPixels(b + i, count - i));
    }
    return {vaddvq_f64(vaddq_f64(sums.low, sums.high)), static_cast<int64_t>(count - vaddlvq_u32(sums.unmaskedPairs))};
}

double estimateRowNeon(const Pixel* a, const Pixel* b, size_t count) {
    constexpr size_t pairsPerFold = 1024;  // the sums of so many fit: of d below 2^20 in 32 bits, of its square in 64
    double total = 0.0;
    for (size_t start = 0; start < count; start += pairsPerFold) {
        const size_t end = std::min(count, start + pairsPerFold);
        EstimateSums sums = {vdupq_n_u32(0), vdupq_n_u64(0), vdupq_n_u64(0)};
        size_t i = start;
        for (; i + step <= end; i += step) {
            addDifferences(sums, loadPixels(a + i), loadPixels(b + i));
            addDifferences(sums, loadPixels(a + i + lanes), loadPixels(b + i + lanes));
        }
        for (; i < end; i += lanes) {
            addDifferences(sums, loadLastPixels(a + i, end - i), loadLastPixels(b + i, end - i));
        }
        const auto squares = static_cast<double>(vaddvq_u64(vaddq_u64(sums.squaresLow, sums.squaresHigh)));
        total += static_cast<double>(vaddlvq_u32(sums.differences)) + squares * static_cast<double>(squareWeight);
    }
    return total;
}

#endif
