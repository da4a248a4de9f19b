#include "align/blocks/row/open_bounds.h"

#include <algorithm>
#include <array>

#include "align/blocks/row/open_bounds_neon.h"
#include "align/blocks/row/open_bounds_x86.h"
#include "align/blocks/row/row_mixing_avx512.h"
#include "core/vector_level.h"

namespace {

uint32_t packGradient(uint32_t level) {
    const int32_t gradient = std::clamp(static_cast<int32_t>(level) - middleGradient, lowestGradient, highestGradient);
    return static_cast<uint32_t>(2 * (gradient - lowestGradient));
}

uint32_t packLevels(Pixel pixel) {
    const uint32_t low = std::min<uint32_t>(pixel.blue, 127), high = std::max<uint32_t>(pixel.blue, 128) - 128;
    return low | packGradient(pixel.green) << 8 | packGradient(pixel.red) << 16 | high << 24;
}

void prepareMovingPlain(const Pixel* lower, const Pixel* upper, size_t count, MovingPixels* moving, size_t stride) {
    for (size_t i = 0; i < count; ++i) {
        MovingPixels& to = moving[i / MovingPixels::count * stride];
        const size_t at = i % MovingPixels::count;
        const bool hasData = lower[i].weight != 0;
        to.factors[at] = hasData ? packLevels(lower[i]) : 0;
        to.norms[at] = hasData ? static_cast<int32_t>(packLevels(upper[i])) : -1;
    }
}

int32_t measureDistance(uint32_t still, uint32_t lowest, uint32_t highest) {
    const auto level = [](uint32_t byte) { return static_cast<int32_t>(byte & 0xFF); };
    return std::max({level(still) - level(highest), level(lowest) - level(still), 0});
}

void sumColumnsPlain(const FacingColumns& columns, float* sums, size_t sumStride) {
    for (size_t s = 0; s < columns.shifts; ++s) {
        for (size_t i = 0; i < MovingPixels::count; ++i) {
            float sum = 0.0f;
            for (size_t y = 0; y < columns.rows; ++y) {
                const MovingPixels& moving = columns.moving[columns.movingRows[y * columns.shifts + s]];
                const size_t still = y * columns.stride + i;
                int32_t e = squareOffset;
                for (int shift = 0; shift < 32 && columns.norms[still] != 0; shift += 8) {
                    const int32_t distance =
                        measureDistance(columns.factors[still] >> shift, moving.factors[i] >> shift,
                                        static_cast<uint32_t>(moving.norms[i]) >> shift);
                    e += distance * distance;
                }
                sum += static_cast<float>(e) * static_cast<float>(e);
            }
            sums[s * sumStride + i] = sum;
        }
    }
}

constexpr std::array openKernels = {
    OpenKernel{prepareOpenStillPlain, prepareMovingPlain, sumColumnsPlain, nullptr},
#if defined(__x86_64__)
    OpenKernel{prepareOpenStillAvx2, prepareOpenMovingAvx2, sumOpenColumnsAvx2, nullptr},
    OpenKernel{prepareOpenStillAvx2, prepareOpenMovingAvx512, sumOpenColumnsAvx512, mixOpenRowsAvx512},
#elif defined(__aarch64__)
    OpenKernel{prepareOpenStillNeon, prepareOpenMovingNeon, sumOpenColumnsNeon, nullptr},
#endif
};

}  // namespace

void prepareOpenStillPlain(const Pixel* pixels, size_t count, uint32_t* factors, int32_t* norms) {
    for (size_t i = 0; i < count; ++i) {
        factors[i] = packLevels(pixels[i]);
        norms[i] = pixels[i].weight != 0 ? 0x00010001 : 0;
    }
}

const OpenKernel& openKernel() {
    return openKernels[vectorLevelIndex()];
}
