// Small text helpers shared by the library's classes. Private to the library.
#ifndef QRIX_TEXT_H
#define QRIX_TEXT_H

#include "qrixPString.h"

namespace qrix::detail {

// A null pointer and a length of 0 both count as empty text.
inline bool isEmpty(const PLiteral& s)
{
    return !s.ptr() || s.len() == 0;
}

} // namespace qrix::detail

#endif // QRIX_TEXT_H
