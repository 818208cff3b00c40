// Small text helpers shared by the library's classes. Private to the library.
#ifndef QRIX_TEXT_H
#define QRIX_TEXT_H

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "qrixPString.h"

namespace qrix::detail {

// A null pointer and a length of 0 both count as empty text.
inline bool isEmpty(const PLiteral& s)
{
    return !s.ptr() || s.len() == 0;
}

// Size arithmetic saturates instead of wrapping: ULONG_MAX is larger than any
// array can be, so a size that cannot be computed becomes an allocation that
// fails and is reported like any other (-501).
inline unsigned long sizeAdd(unsigned long a, unsigned long b, unsigned long c = 0)
{
    unsigned long sum = 0;
    if (__builtin_add_overflow(a, b, &sum) || __builtin_add_overflow(sum, c, &sum))
        return ULONG_MAX;
    return sum;
}

inline unsigned long sizeMul(unsigned long a, unsigned long b)
{
    unsigned long product = 0;
    return __builtin_mul_overflow(a, b, &product) ? ULONG_MAX : product;
}

// No object may span more than PTRDIFF_MAX bytes; asking the allocator for one
// would abort under the sanitizers instead of failing.
template <class T>
bool fitsArray(unsigned long count)
{
    return count <= (unsigned long)PTRDIFF_MAX / sizeof(T);
}

// Null when `count` elements cannot be had.
template <class T>
T* newArray(unsigned long count)
{
    return fitsArray<T>(count) ? new (std::nothrow) T[count] : nullptr;
}

template <class T>
T* newZeroedArray(unsigned long count)
{
    return fitsArray<T>(count) ? new (std::nothrow) T[count]() : nullptr;
}

// Wide text is moved as bytes: the sanitizers check memcpy and memmove but not
// the wmem* family. A count too large for bytes saturates, so an overrun is
// reported instead of turning into a short copy.
inline size_t wideBytes(unsigned long n)
{
    return n > SIZE_MAX / sizeof(wchar_t) ? SIZE_MAX : n * sizeof(wchar_t);
}

// Distinct buffers only: the sanitizers also report overlapping ones.
inline void copyWide(wchar_t* to, const wchar_t* from, unsigned long n)
{
    if (n != 0)
        std::memcpy(to, from, wideBytes(n));
}

inline void moveWide(wchar_t* to, const wchar_t* from, unsigned long n)
{
    if (n != 0)
        std::memmove(to, from, wideBytes(n));
}

inline void fillWide(wchar_t* to, wchar_t c, unsigned long n)
{
    std::fill(to, to + n, c);
}
} // namespace qrix::detail

#endif // QRIX_TEXT_H
