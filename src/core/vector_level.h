#pragma once

#include <cstddef>
#include <span>

// Hot calculations have a version for each level of vector instructions, all with the same bits. Their tables hold one
// entry a level, in this order; where a level has nothing of its own, the entry of the level below.

#if defined(__x86_64__)
enum class VectorLevel {
    plain,   // what every processor of the family has
    avx2,    // AVX2 with FMA
    avx512,  // AVX-512 with its F, BW, DQ, VL and VNNI parts
};
constexpr size_t vectorLevelCount = 3;
#elif defined(__aarch64__)
enum class VectorLevel {
    plain,
    neon,  // what every 64-bit Arm processor has
};
constexpr size_t vectorLevelCount = 2;
#else
enum class VectorLevel { plain };
constexpr size_t vectorLevelCount = 1;
#endif

/// The levels that this processor can run, plain first, the fastest last.
[[nodiscard]] std::span<const VectorLevel> listVectorLevels();

/// The level in use: the fastest one, until setVectorLevel says otherwise. As an index into a table.
[[nodiscard]] size_t vectorLevelIndex();

/// Has one of listVectorLevels used from now on: for tests and benchmarks.
void setVectorLevel(VectorLevel level);

[[nodiscard]] const char* nameOf(VectorLevel level);
