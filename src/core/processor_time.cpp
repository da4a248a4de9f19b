#include "core/processor_time.h"

#include <ctime>

uint32_t readProcessorSeconds() {
    return static_cast<uint32_t>(std::clock() / CLOCKS_PER_SEC);
}
