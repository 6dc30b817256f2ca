// What libc++ expects of Microsoft's C runtime and mingw-w64's headers do not have.
#pragma once

#if defined(__cplusplus)
#include <math.h>
#include <stdlib.h>
#undef isnan
#undef isinf
#undef isfinite
#undef signbit
inline bool isnan(double value)
{
    return value != value;
}
inline bool isinf(double value)
{
    return value - value != 0 && value == value;
}
inline bool isfinite(double value)
{
    return value - value == 0;
}
inline bool signbit(double value)
{
    return value < 0;
}
extern "C" float _strtof_l(const char* text, char** end, _locale_t locale);
extern "C" long double _strtold_l(const char* text, char** end, _locale_t locale);
#endif
