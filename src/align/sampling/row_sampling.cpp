#include "align/sampling/row_sampling.h"

#include <array>

#include "align/sampling/bilinear.h"
#include "align/sampling/row_sampling_neon.h"
#include "align/sampling/row_sampling_x86.h"
#include "core/vector_level.h"

namespace {

void samplePositionsPlain(const Image& source, const float* x, const float* y, Pixel* row, size_t count) {
    for (size_t i = 0; i < count; ++i) row[i] = samplePosition(source, x[i], y[i]);
}

void sampleFractionsPlain(const Image& source, const int32_t* x, const float* fx, int32_t y, float fy, Pixel* row,
                          size_t count) {
    for (size_t i = 0; i < count; ++i) row[i] = samplePixel(source, x[i], y, fx[i], fy);
}

void sampleTurnedRowPlain(const Image& source, const TurnedRow& positions, Pixel* row, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const auto u = static_cast<float>(positions.firstU + static_cast<int32_t>(i));
        const int32_t x = truncateToInteger(positions.cosA * u + positions.startX);
        const int32_t y = truncateToInteger(positions.sinA * u + positions.startY);
        const bool inside = x >= 0 && x < source.width && y >= 0 && y < source.height;
        row[i] = inside ? rowOf(source, y)[x] : Pixel{};
    }
}

constexpr std::array kernels = {
    SamplingKernel{samplePositionsPlain, sampleFractionsPlain, sampleTurnedRowPlain},
#if defined(__x86_64__)
    SamplingKernel{samplePositionsAvx2, sampleFractionsAvx2, sampleTurnedRowAvx2},
    SamplingKernel{samplePositionsAvx512, sampleFractionsAvx512, sampleTurnedRowAvx512},
#elif defined(__aarch64__)
    SamplingKernel{samplePositionsNeon, sampleFractionsNeon, sampleTurnedRowNeon},
#endif
};

}  // namespace

const SamplingKernel& samplingKernel() {
    return kernels[vectorLevelIndex()];
}
