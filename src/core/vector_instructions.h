#pragma once

// The vector instructions of 64-bit Arm processors; those of x86-64 processors, and the attributes of functions that
// are compiled for the ones that vector_level.h tells apart. Whoever calls such a function has asked there first.

#if defined(__x86_64__)

#if !defined(__clang__)
// g++ 12 takes the deliberately unset operands inside its own header for mistakes.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#if !defined(__clang__)
#pragma GCC diagnostic pop
#endif

#define TARGET_AVX2 gnu::target("avx2,fma")
#define TARGET_AVX512 gnu::target("avx512f,avx512bw,avx512dq,avx512vl")
#define TARGET_AVX512_VNNI gnu::target("avx512f,avx512bw,avx512dq,avx512vl,avx512vnni")

#elif defined(__aarch64__)
#include <arm_neon.h>
#endif
