#pragma once

#include <cstddef>
#include <span>

#include "composite/composite_sum.h"
#include "imageio/image.h"

/// Adds count pixels of a row into the records that they face, each colour by its weight.
using AccumulateRow = void (*)(CompositeSum* sums, const Pixel* row, size_t count);

struct AccumulationKernel {
    const char* name;
    AccumulateRow accumulateRow;
};

/// The versions that this processor can run, the plain one first, the fastest last.
[[nodiscard]] std::span<const AccumulationKernel> listAccumulationKernels();

/// The fastest of them.
[[nodiscard]] const AccumulationKernel& fastestAccumulation();
