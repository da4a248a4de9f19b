#pragma once

#include <cstddef>
#include <span>

#include "imageio/composite_sum.h"
#include "imageio/image.h"

/// Adds count pixels of a row into the records that they face, each colour by its weight.
using AccumulateRow = void (*)(CompositeSum* sums, const Pixel* row, size_t count);

struct AccumulationKernel {
    AccumulateRow accumulateRow;
};

/// The version of the vector level in use.
[[nodiscard]] const AccumulationKernel& accumulationKernel();
