#include "align/blocks/block_samples.h"

#include <cstddef>

#include "align/sampling/bilinear.h"

void sampleAxis(AxisSamples& samples, int64_t size, double shift) {
    const auto rounded = static_cast<float>(shift);
    samples.position.resize(static_cast<size_t>(size));
    samples.fraction.resize(static_cast<size_t>(size));
    for (size_t b = 0; b < samples.position.size(); ++b) {
        const float offset = static_cast<float>(b) - rounded;
        samples.position[b] = truncateToInteger(static_cast<double>(offset));
        samples.fraction[b] = offset - static_cast<float>(samples.position[b]);
    }
}
