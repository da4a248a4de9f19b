#include "core/vector_level.h"

#include <array>

namespace {

#if defined(__x86_64__)

constexpr std::array levels = {VectorLevel::plain, VectorLevel::avx2, VectorLevel::avx512};
constexpr std::array names = {"plain", "avx2", "avx512"};

size_t countLevels() {
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) return 1;
    const bool hasAvx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                           __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
                           __builtin_cpu_supports("avx512vnni");
    return hasAvx512 ? 3 : 2;
}

#elif defined(__aarch64__)

constexpr std::array levels = {VectorLevel::plain, VectorLevel::neon};
constexpr std::array names = {"plain", "neon"};

size_t countLevels() {
    return levels.size();
}

#else

constexpr std::array levels = {VectorLevel::plain};
constexpr std::array names = {"plain"};

size_t countLevels() {
    return 1;
}

#endif

static_assert(levels.size() == vectorLevelCount && names.size() == vectorLevelCount);

// In use, as an index.
size_t levelInUse = countLevels() - 1;

}  // namespace

std::span<const VectorLevel> listVectorLevels() {
    return std::span(levels).first(countLevels());
}

size_t vectorLevelIndex() {
    return levelInUse;
}

void setVectorLevel(VectorLevel level) {
    levelInUse = static_cast<size_t>(level);
}

const char* nameOf(VectorLevel level) {
    return names[static_cast<size_t>(level)];
}
