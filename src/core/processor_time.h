#pragma once

#include <cstdint>

/// Processor time of this process so far, in whole seconds, truncated.
[[nodiscard]] uint32_t readProcessorSeconds();
