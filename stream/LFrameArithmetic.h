#pragma once
// Frame positions are signed 64-bit and Seek accepts any value, so sums and
// differences of positions saturate instead of overflowing.
#include <climits>

inline long long FrameAdd(long long a, long long b) {
    long long r;
    if (__builtin_add_overflow(a, b, &r)) return b > 0 ? LLONG_MAX : LLONG_MIN;
    return r;
}

inline long long FrameSub(long long a, long long b) {
    long long r;
    if (__builtin_sub_overflow(a, b, &r)) return b < 0 ? LLONG_MAX : LLONG_MIN;
    return r;
}
