#pragma once

// VELK_PRINTF_LIKE(format, first) before a function: the compiler holds its arguments, from the first one on,
// to its format, as it does printf's. Both are counted from 1.

#if defined(__GNUC__)
#define VELK_PRINTF_LIKE(format_argument, first) __attribute__((format(printf, format_argument, first)))
#else
#define VELK_PRINTF_LIKE(format_argument, first)
#endif
