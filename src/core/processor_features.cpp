#include "core/processor_features.h"

#if defined(__x86_64__)

bool hasAvx2() {
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
}

bool hasAvx512() {
    return hasAvx2() && __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
           __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512vl") != 0;
}

bool hasAvx512Vnni() {
    return hasAvx512() && __builtin_cpu_supports("avx512vnni") != 0;
}

#else

bool hasAvx2() {
    return false;
}

bool hasAvx512() {
    return false;
}

bool hasAvx512Vnni() {
    return false;
}

#endif
