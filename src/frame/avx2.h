#pragma once

// Instructions of a processor that not all have: functions marked VELK_AVX2 may be called where has_avx2 says
// so. VELK_HAS_AVX2 is defined where the compiler knows them. That is not so on Windows, whose compiler puts
// vectors of 32 bytes on a stack that is not aligned for them.

#if defined(__x86_64__) && defined(__linux__)
#include <immintrin.h>

#define VELK_HAS_AVX2
#define VELK_AVX2 [[gnu::target("avx2")]]

namespace velk {

inline bool has_avx2()
{
    return __builtin_cpu_supports("avx2");
}

} // namespace velk
#endif
