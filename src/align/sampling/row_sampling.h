#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "imageio/image.h"

/// Samples count pixels of a row at given positions, each by the rule of samplePosition.
using SamplePositions = void (*)(const Image& source, const float* x, const float* y, Pixel* row, size_t count);

/// Samples count pixels, pixel (x[i], y) plus the fraction (fx[i], fy) each, by the rule of samplePixel.
using SampleFractions = void (*)(const Image& source, const int32_t* x, const float* fx, int32_t y, float fy,
                                 Pixel* row, size_t count);

/// The positions of a row of a turned window, in single precision: pixel i of the row, at offset u = firstU + i, shows
/// the source at (cosA u + startX, sinA u + startY), cut toward zero.
struct TurnedRow {
    float cosA, sinA;
    float startX, startY;
    int32_t firstU;
};

/// Copies the source pixels of count pixels of such a row; outside the source there is no data.
using SampleTurnedRow = void (*)(const Image& source, const TurnedRow& positions, Pixel* row, size_t count);

struct SamplingKernel {
    SamplePositions samplePositions;
    SampleFractions sampleFractions;
    SampleTurnedRow sampleTurnedRow;
};

/// The version of the vector level in use.
[[nodiscard]] const SamplingKernel& samplingKernel();
