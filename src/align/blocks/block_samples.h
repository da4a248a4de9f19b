#pragma once

#include <cstdint>
#include <vector>

/// The samples of one axis of a block at a shift: pixel b of the block is the pixel of the current image at
/// position[b], counted from the block's corner, plus fraction[b]. Offsets b - shift are cut toward zero: before the
/// corner fractions are negative and extrapolate.
struct AxisSamples {
    std::vector<int32_t> position;
    std::vector<float> fraction;
};

/// For a block of size pixels a side. The shift is rounded to single precision first, as the offsets are.
void sampleAxis(AxisSamples& samples, int64_t size, double shift);
