#include "qrixPString.h"

#include <cstring>

#include "qrixText.h"

using qrix::detail::sizeAdd;
using qrix::detail::newArray;
using qrix::detail::copyWide;
using qrix::detail::moveWide;
using qrix::detail::fillWide;

namespace {

bool isBlank(wchar_t c)
{
    return c == L' ' || c == L'\t' || c == L'\n' || c == L'\r';
}

} // namespace

PString::PString() = default;

PString::PString(const PLiteral& other) : PLiteral()
{
    copyFrom(other.ptr(), other.len());
}

PString::PString(const PString& other) : PLiteral()
{
    copyFrom(other.ptr(), other.len());
}

PString::PString(const wchar_t* s, unsigned long n) : PLiteral()
{
    copyFrom(s, n);
}

PString::PString(const char* s, unsigned long n) : PLiteral()
{
    wchar_t* converted = pchar2pwchar(s, n);
    if (converted) {
        copyFrom(converted, PSTR_ALL);
        delete[] converted;
    }
}

PString::~PString()
{
    clear();
}

wchar_t* PString::dupPtr(const wchar_t* s, unsigned long n, unsigned long& outLen)
{
    outLen = 0;
    if (!s || n == 0)
        return nullptr;
    if (n == PSTR_ALL)
        n = std::wcslen(s);
    wchar_t* copy = newArray<wchar_t>(sizeAdd(n, 1));
    if (!copy)
        return nullptr;
    copyWide(copy, s, n);
    copy[n] = L'\0';
    outLen = n;
    return copy;
}

void PString::adopt(wchar_t* p, unsigned long n)
{
    delete[] buffer();
    fPtr = p;
    fLen = p ? n : 0;
}

// Frees the old buffer only after copying, so `s` may point into this string.
void PString::copyFrom(const wchar_t* s, unsigned long n)
{
    unsigned long newLen = 0;
    wchar_t* copy = dupPtr(s, n, newLen);
    adopt(copy, newLen);
}

PString& PString::operator=(const PLiteral& other)
{
    if (this != &other)
        copyFrom(other.ptr(), other.len());
    return *this;
}

PString& PString::operator=(const PString& other)
{
    if (this != &other)
        copyFrom(other.ptr(), other.len());
    return *this;
}

PString& PString::operator=(const wchar_t* s)
{
    copyFrom(s, PSTR_ALL);
    return *this;
}

void PString::clear()
{
    adopt(nullptr, 0);
}

int PString::cat(const PLiteral& s)
{
    return cat(s.ptr(), s.len());
}

int PString::cat(const wchar_t* s, unsigned long n)
{
    if (!s)
        return PRES_OK;
    if (n == PSTR_ALL)
        n = std::wcslen(s);
    if (n == 0)
        return PRES_OK;
    if (!fPtr)
        fLen = 0;
    wchar_t* grown = newArray<wchar_t>(sizeAdd(fLen, n, 1));
    if (!grown)
        return PRES_NO_MEMORY;
    copyWide(grown, fPtr, fLen);
    copyWide(grown + fLen, s, n);
    grown[fLen + n] = L'\0';
    adopt(grown, fLen + n);
    return PRES_OK;
}

int PString::cat(const char* s, unsigned long n)
{
    if (s && n == PSTR_ALL)
        n = std::strlen(s);
    // Unlike the wide form, empty narrow text is a failed conversion.
    wchar_t* converted = pchar2pwchar(s, n);
    if (!converted)
        return PRES_NO_MEMORY;
    // Grows by the byte count, not the converted character count: for multibyte
    // input the tail is zero characters that len counts. Callers rely on this.
    int res = cat(converted, n);
    delete[] converted;
    return res;
}

PString& PString::operator+=(const PLiteral& s)
{
    cat(s);
    return *this;
}

PString& PString::operator+=(const wchar_t* s)
{
    cat(s);
    return *this;
}

int PString::set(const PLiteral& src, unsigned long n)
{
    if (n == PSTR_ALL)
        n = src.len();
    if (n > src.len())
        return PRES_INVALID_ARG;
    return set(src.ptr(), n);
}

int PString::set(const wchar_t* s, unsigned long n)
{
    wchar_t* old = buffer();
    fPtr = nullptr;
    fLen = 0;
    int res = cat(s, n);
    delete[] old;
    return res;
}

int PString::set(const char* s, unsigned long n)
{
    clear();
    return cat(s, n);
}

int PString::trim()
{
    if (fLen == 0 || !fPtr)
        return PRES_OK;
    wchar_t* text = buffer();
    unsigned long lead = 0;
    while (lead < fLen && isBlank(text[lead]))
        ++lead;
    while (fLen > 0 && isBlank(text[fLen - 1])) {
        text[fLen - 1] = L'\0';
        --fLen;
    }
    if (lead > 0) {
        fLen = std::wcslen(text + lead);
        moveWide(text, text + lead, fLen + 1);
    }
    return PRES_OK;
}

int PString::stripall()
{
    if (fLen == 0 || !fPtr)
        return PRES_OK;
    wchar_t* kept = newArray<wchar_t>(fLen + 1);
    if (!kept)
        return PRES_NO_MEMORY;
    unsigned long count = 0;
    for (unsigned long i = 0; i < fLen; ++i) {
        if (!isBlank(fPtr[i]))
            kept[count++] = fPtr[i];
    }
    kept[count] = L'\0';
    adopt(kept, count);
    return PRES_OK;
}

int PString::fill(wchar_t c)
{
    for (unsigned long i = 0; i < fLen; ++i)
        buffer()[i] = c;
    return PRES_OK;
}

int PString::fill(wchar_t c, unsigned long n)
{
    if (n == 0)
        return PRES_OK;
    if (fPtr && fLen >= n) {
        // len keeps counting the cut-off part; callers rely on this.
        fillWide(buffer(), c, n);
        buffer()[n] = L'\0';
        return PRES_OK;
    }
    wchar_t* filled = newArray<wchar_t>(sizeAdd(n, 1));
    if (!filled)
        return PRES_NO_MEMORY;
    fillWide(filled, c, n);
    filled[n] = L'\0';
    adopt(filled, n);
    return PRES_OK;
}

int PString::replace(wchar_t from, wchar_t to)
{
    for (unsigned long i = 0; i < fLen; ++i) {
        if (fPtr[i] == from)
            buffer()[i] = to;
    }
    return PRES_OK;
}

int PString::insert(unsigned long pos, const PLiteral& src, unsigned long n)
{
    if (n == PSTR_ALL)
        n = src.len();
    // Like set(): a length beyond the source would read past its end.
    if (n > src.len())
        return PRES_INVALID_ARG;
    return insert(pos, src.ptr(), n);
}

int PString::insert(unsigned long pos, const wchar_t* s, unsigned long n)
{
    if (n == PSTR_ALL)
        n = s ? std::wcslen(s) : 0;
    if (pos > fLen)
        return PRES_INVALID_ARG;
    if (!s || n == 0)
        return PRES_OK;
    if (fLen == 0 || !fPtr)
        return set(s, n);
    if (pos == fLen)
        return cat(s, n);
    wchar_t* grown = newArray<wchar_t>(sizeAdd(fLen, n, 1));
    if (!grown)
        return PRES_NO_MEMORY;
    copyWide(grown, fPtr, pos);
    copyWide(grown + pos, s, n);
    copyWide(grown + pos + n, fPtr + pos, fLen - pos);
    grown[fLen + n] = L'\0';
    adopt(grown, fLen + n);
    return PRES_OK;
}

int PString::erase(unsigned long pos, unsigned long n)
{
    if (pos > fLen || n > fLen - pos)
        return PRES_INVALID_ARG;
    if (fLen == 0 || !fPtr)
        return PRES_OK;
    if (pos == fLen && n == 0)
        return PRES_OK;
    if (n == fLen) {
        clear();
        return PRES_OK;
    }
    wchar_t* text = buffer();
    moveWide(text + pos, text + pos + n, fLen - pos - n);
    fLen -= n;
    text[fLen] = L'\0';
    return PRES_OK;
}
