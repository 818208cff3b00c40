#include "qrixPString.h"

#include <cstdlib>
#include <cstring>
#include <cwctype>

#include "qrixText.h"

using qrix::detail::sizeAdd;
using qrix::detail::newZeroedArray;

namespace {

unsigned long wideLength(const wchar_t* s)
{
    return s ? std::wcslen(s) : 0;
}

bool sameChar(wchar_t a, wchar_t b, bool ignoreCase)
{
    return a == b || (ignoreCase && std::towupper(a) == std::towupper(b));
}

bool matchesAt(const wchar_t* text, const wchar_t* sub, unsigned long n, bool ignoreCase)
{
    for (unsigned long i = 0; i < n; ++i) {
        if (!sameChar(text[i], sub[i], ignoreCase))
            return false;
    }
    return true;
}

} // namespace

PLiteral::PLiteral() : fPtr(nullptr), fLen(0) {}

PLiteral::PLiteral(const PLiteral& other) : fPtr(other.fPtr), fLen(other.fLen) {}

PLiteral::PLiteral(const wchar_t* s) : fPtr(s), fLen(wideLength(s)) {}

PLiteral::~PLiteral() = default;

PLiteral& PLiteral::operator=(const PLiteral& other)
{
    if (this != &other) {
        fPtr = other.fPtr;
        fLen = other.fLen;
    }
    return *this;
}

PLiteral& PLiteral::operator=(const wchar_t* s)
{
    if (s != fPtr) {
        fPtr = s;
        fLen = wideLength(s);
    }
    return *this;
}

int PLiteral::str(const PLiteral& sub, unsigned long& pos, bool reverse, bool ignoreCase) const
{
    if (fLen == 0 || !fPtr) {
        if (sub.fLen == 0 || !sub.fPtr) {
            pos = 0;
            return PRES_OK;
        }
        return PRES_NOT_FOUND;
    }
    if (sub.fLen == 0 || !sub.fPtr || sub.fLen > fLen)
        return PRES_NOT_FOUND;

    if (!reverse && !ignoreCase) {
        // Candidates by their first character, compared whole only there: the
        // library's wide memory search skips the rest many characters at a time.
        const wchar_t* next = fPtr;
        const wchar_t* const end = fPtr + (fLen - sub.fLen) + 1;
        while ((next = std::wmemchr(next, sub.fPtr[0], (size_t)(end - next))) != nullptr) {
            if (std::wmemcmp(next + 1, sub.fPtr + 1, sub.fLen - 1) == 0) {
                pos = (unsigned long)(next - fPtr);
                return PRES_OK;
            }
            if (++next == end)
                break;
        }
        return PRES_NOT_FOUND;
    }
    if (!reverse) {
        for (unsigned long start = 0; start + sub.fLen <= fLen; ++start) {
            if (matchesAt(fPtr + start, sub.fPtr, sub.fLen, ignoreCase)) {
                pos = start;
                return PRES_OK;
            }
        }
        return PRES_NOT_FOUND;
    }
    // The reverse counter is a signed 32-bit integer on purpose.
    for (int start = (int)(fLen - sub.fLen); start >= 0; --start) {
        if (matchesAt(fPtr + start, sub.fPtr, sub.fLen, ignoreCase)) {
            pos = (unsigned long)start;
            return PRES_OK;
        }
    }
    return PRES_NOT_FOUND;
}

int PLiteral::chr(wchar_t c, unsigned long& pos, bool reverse, bool ignoreCase) const
{
    if (fLen == 0 || !fPtr)
        return PRES_NOT_FOUND;

    // Runs to the terminator, not to fLen.
    auto find = [&](wchar_t ch) { return reverse ? std::wcsrchr(fPtr, ch) : std::wcschr(fPtr, ch); };

    const wchar_t* hit = nullptr;
    if (!ignoreCase) {
        hit = find(c);
    } else {
        const wchar_t* upper = find((wchar_t)std::towupper(c));
        const wchar_t* lower = find((wchar_t)std::towlower(c));
        if (upper && lower)
            hit = reverse ? (upper > lower ? upper : lower) : (upper < lower ? upper : lower);
        else
            hit = upper ? upper : lower;
    }
    if (!hit)
        return PRES_NOT_FOUND;
    pos = (unsigned long)(hit - fPtr);
    return PRES_OK;
}

int PLiteral::cmp(const PLiteral& other) const
{
    return cmp(other.fPtr, other.fLen);
}

int PLiteral::cmp(const wchar_t* s, unsigned long n) const
{
    if (n == PSTR_ALL)
        n = wideLength(s);
    if (fLen == 0 && n == 0)
        return 0;
    if (!fPtr)
        return -1;
    if (fLen < n)
        return -1;
    if (!s)
        return 1;
    if (fLen == n)
        return std::wcsncmp(fPtr, s, fLen);
    return 1;
}

bool PLiteral::startsWith(const PLiteral& s, bool ignoreCase) const
{
    return startsWith(s.fPtr, s.fLen, ignoreCase);
}

bool PLiteral::startsWith(const wchar_t* s, unsigned long n, bool ignoreCase) const
{
    if (n == PSTR_ALL)
        n = wideLength(s);
    (void)n; // resolved but not used: the whole terminated text is searched
    unsigned long pos = 0;
    return str(PLiteral(s), pos, false, ignoreCase) == PRES_OK && pos == 0;
}

bool PLiteral::endsWith(const PLiteral& s, bool ignoreCase) const
{
    return endsWith(s.fPtr, s.fLen, ignoreCase);
}

bool PLiteral::endsWith(const wchar_t* s, unsigned long n, bool ignoreCase) const
{
    if (n == PSTR_ALL)
        n = wideLength(s);
    unsigned long pos = 0;
    return str(PLiteral(s), pos, true, ignoreCase) == PRES_OK && pos + n == fLen;
}

PLiteral::operator char*() const
{
    return pwchar2pchar(fPtr, fLen);
}

char* PLiteral::ascii() const
{
    return pwchar2pchar(fPtr, fLen);
}

char* PLiteral::pwchar2pchar(const wchar_t* s, unsigned long n)
{
    if (!s || n == 0)
        return nullptr;
    if (n == PSTR_ALL)
        n = std::wcslen(s);
    char* buffer = newZeroedArray<char>(sizeAdd(n, 8));
    if (!buffer)
        return nullptr;
    // The byte limit is n: longer multibyte text is cut at a character boundary.
    size_t converted = std::wcstombs(buffer, s, n);
    if (converted == 0 || converted == (size_t)-1) {
        delete[] buffer;
        return nullptr;
    }
    return buffer;
}

wchar_t* PLiteral::pchar2pwchar(const char* s, unsigned long n)
{
    if (!s || n == 0)
        return nullptr;
    if (n == PSTR_ALL)
        n = std::strlen(s);
    wchar_t* buffer = newZeroedArray<wchar_t>(sizeAdd(n, 8));
    if (!buffer)
        return nullptr;
    size_t converted = std::mbstowcs(buffer, s, n);
    if (converted == 0 || converted == (size_t)-1) {
        delete[] buffer;
        return nullptr;
    }
    return buffer;
}

wchar_t PLiteral::toupper(wchar_t c)
{
    return (wchar_t)std::towupper(c);
}

wchar_t PLiteral::tolower(wchar_t c)
{
    return (wchar_t)std::towlower(c);
}

int PLiteral::getNextToken(PString& rest, PString& token, wchar_t separator)
{
    if (rest.len() == 0 || !rest.ptr())
        return PRES_TOKEN;
    unsigned long p = 0;
    if (rest.chr(separator, p, false, false) != PRES_OK) {
        token = rest;
        rest.clear();
    } else {
        // Only a zero separator is found at the terminator; nothing follows it.
        if (p >= rest.len())
            return PRES_TOKEN;
        if (token.set(rest.ptr(), p) != PRES_OK)
            return PRES_TOKEN;
        if (rest.set(rest.ptr() + p + 1, rest.len() - p - 1) != PRES_OK)
            return PRES_TOKEN;
    }
    token.trim();
    return PRES_OK;
}
