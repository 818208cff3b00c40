#include "qrixPUtils.h"

#include <cwchar>
#include <new>
#include <vector>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "qrixPDebug.h"
#include "qrixPPtr.h"
#include "qrixText.h"

using qrix::detail::isEmpty;
using qrix::detail::sizeAdd;
using qrix::detail::sizeMul;
using qrix::detail::newArray;
using qrix::detail::newZeroedArray;

namespace {

// Formats into a fresh buffer of `capacity` characters and hands the text to
// `out` through its virtual assignment.
template <class T>
int formatNumber(const wchar_t* format, T value, unsigned long capacity, PString& out)
{
    wchar_t* buffer = newArray<wchar_t>(capacity);
    if (!buffer)
        return PRES_NO_MEMORY;
    std::swprintf(buffer, capacity, format, value);
    out = (const wchar_t*)buffer;
    delete[] buffer;
    return PRES_OK;
}

template <class T>
int scanNumber(const PLiteral& s, const wchar_t* format, T& v)
{
    if (isEmpty(s))
        return PRES_BAD_FORMAT;
    T value{};
    if (std::swscanf(s.ptr(), format, &value) != 1)
        return PRES_BAD_FORMAT;
    v = value;
    return PRES_OK;
}

bool isDigit(wchar_t c)
{
    return c >= L'0' && c <= L'9';
}

bool isHexDigit(wchar_t c)
{
    return isDigit(c) || (c >= L'A' && c <= L'F') || (c >= L'a' && c <= L'f');
}

unsigned long resolveLength(const wchar_t* s, unsigned long n)
{
    if (n == PSTR_ALL)
        return s ? std::wcslen(s) : 0;
    return s ? n : 0;
}

} // namespace

int PUtils::strToInt32(const PLiteral& s, int& v)
{
    return scanNumber(s, L"%d", v);
}

int PUtils::strToUint32(const PLiteral& s, unsigned int& v)
{
    return scanNumber(s, L"%u", v);
}

int PUtils::strToInt64(const PLiteral& s, long long& v)
{
    return scanNumber(s, L"%lld", v);
}

int PUtils::strToUint64(const PLiteral& s, unsigned long long& v)
{
    return scanNumber(s, L"%llu", v);
}

int PUtils::strToBool(const PLiteral& s, bool& v)
{
    if (s.cmp(L"true") == 0) {
        v = true;
        return PRES_OK;
    }
    if (s.cmp(L"false") == 0) {
        v = false;
        return PRES_OK;
    }
    return PRES_BAD_FORMAT;
}

int PUtils::hexToByte(const PLiteral& s, char& v)
{
    if (!s.ptr() || s.len() < 1 || s.len() > 2)
        return PRES_BAD_FORMAT;
    unsigned int value = 0;
    if (std::swscanf(s.ptr(), L"%x", &value) != 1)
        return PRES_BAD_FORMAT;
    v = (char)value;
    return PRES_OK;
}

int PUtils::hexToDec(wchar_t c, char& v)
{
    if (c >= L'0' && c <= L'9')
        v = (char)(c - L'0');
    else if (c >= L'A' && c <= L'F')
        v = (char)(c - L'A' + 10);
    else if (c >= L'a' && c <= L'f')
        v = (char)(c - L'a' + 10);
    else
        return PRES_BAD_FORMAT;
    return PRES_OK;
}

int PUtils::int32ToStr(int v, PString& out)
{
    return formatNumber(L"%d", v, 16, out);
}

int PUtils::uint32ToStr(unsigned int v, PString& out)
{
    return formatNumber(L"%u", v, 16, out);
}

int PUtils::int64ToStr(long long v, PString& out)
{
    return formatNumber(L"%lld", v, 32, out);
}

int PUtils::uint64ToStr(unsigned long long v, PString& out)
{
    return formatNumber(L"%llu", v, 32, out);
}

int PUtils::boolToStr(bool v, PString& out)
{
    out = v ? L"true" : L"false";
    return PRES_OK;
}

int PUtils::binaryToStr(const unsigned char* data, unsigned long size, PString& out)
{
    if (!data || size == 0)
        return PRES_INVALID_ARG;
    wchar_t* text = newArray<wchar_t>(sizeAdd(sizeMul(size, 6), 1));
    if (!text)
        return PRES_NO_MEMORY;
    static const wchar_t digits[] = L"0123456789ABCDEF";
    wchar_t* p = text;
    for (unsigned long i = 0; i < size; ++i) {
        *p++ = L'0';
        *p++ = L'x';
        *p++ = digits[data[i] >> 4];
        *p++ = digits[data[i] & 0x0F];
        if (i + 1 < size) {
            *p++ = L',';
            *p++ = L' ';
        }
    }
    *p = L'\0';
    out = (const wchar_t*)text;
    delete[] text;
    return PRES_OK;
}

int PUtils::strToBinary(const PLiteral& s, unsigned char*& data, unsigned long& size)
{
    if (isEmpty(s))
        return PRES_BAD_FORMAT;
    std::vector<unsigned char> bytes;
    PString rest(s);
    while (rest.len() > 0) {
        rest.trim();
        if (rest.len() == 0)
            break;
        if (!rest.startsWith(L"0x", 2, false))
            return PRES_BAD_FORMAT;
        unsigned long comma = 0;
        bool hasComma = rest.chr(L',', comma, false, false) == PRES_OK;
        unsigned long itemEnd = hasComma ? comma : rest.len();
        PString item(rest.ptr() + 2, itemEnd > 2 ? itemEnd - 2 : 0);
        if (hasComma)
            rest.set(rest.ptr() + comma + 1, rest.len() - comma - 1);
        else
            rest.clear();
        char byte = 0;
        if (hexToByte(item, byte) != PRES_OK)
            return PRES_BAD_FORMAT;
        bytes.push_back((unsigned char)byte);
    }
    unsigned char* copy = newArray<unsigned char>(bytes.size());
    if (!copy)
        return PRES_NO_MEMORY;
    for (size_t i = 0; i < bytes.size(); ++i)
        copy[i] = bytes[i];
    data = copy;
    size = bytes.size();
    return PRES_OK;
}

bool PUtils::isDec(const wchar_t* s, unsigned long n, bool allowSign)
{
    n = resolveLength(s, n);
    for (unsigned long i = 0; i < n; ++i) {
        if (isDigit(s[i]))
            continue;
        if (i == 0 && allowSign && (s[i] == L'-' || s[i] == L'+'))
            continue;
        return false;
    }
    return true;
}

bool PUtils::isHex(const wchar_t* s, unsigned long n)
{
    n = resolveLength(s, n);
    for (unsigned long i = 0; i < n; ++i) {
        if (!isHexDigit(s[i]))
            return false;
    }
    return true;
}

int PUtils::fixFileSeparator(PString& path)
{
    return path.replace(L'\\', L'/');
}

int PUtils::fixExecFileExtension(PString& path)
{
    // Executables carry no extension on this platform.
    (void)path;
    return PRES_OK;
}

int PUtils::parseLink(const PLiteral& link, PString& target, PString& arguments)
{
    target.clear();
    arguments.clear();
    unsigned long hash = 0;
    if (link.chr(L'#', hash, false, false) != PRES_OK)
        return PRES_INVALID_ARG;
    // The link's target must end in the executable extension, which is empty
    // on this platform; a search for an empty text never succeeds, so no link
    // parses here.
    return PRES_INVALID_ARG;
}

int PUtils::convertArgs(int argc, char** argv, PString*& args, unsigned long& count, wchar_t separator)
{
    if (argc > 0 && !argv)
        return PRES_INVALID_ARG;
    if (argc < 0)
        argc = 0;
    PString* converted = newArray<PString>((unsigned long)argc);
    if (!converted)
        return PRES_NO_MEMORY;
    args = converted;
    for (int i = 0; i < argc; ++i) {
        PString text(argv[i]);
        unsigned long pos = 0;
        if (i == 0 && text.chr(separator, pos, false, false) != PRES_OK) {
            converted[0] = L"process.name";
            converted[0].cat(&separator, 1);
            converted[0].cat(text);
        } else {
            converted[i] = text;
        }
    }
    count = (unsigned long)argc;
    return PRES_OK;
}

int PUtils::getKeyValue(const PLiteral& s, PString& key, PString& value, wchar_t separator)
{
    unsigned long pos = 0;
    // chr runs to the terminator; a view may end before it.
    if (s.chr(separator, pos, false, false) != PRES_OK || pos >= s.len())
        return PRES_NOT_FOUND;
    int res = key.set(s.ptr(), pos);
    if (res != PRES_OK)
        return res;
    key.trim();
    res = value.set(s.ptr() + pos + 1, s.len() - pos - 1);
    if (res != PRES_OK)
        return res;
    value.trim();
    return PRES_OK;
}

int PUtils::pformatString(PString& out, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    int res = vformatString(out, PLiteral(format), args);
    va_end(args);
    return res;
}

int PUtils::vformatString(PString& out, const PLiteral& format, va_list args)
{
    out.clear();
    unsigned long capacity = sizeAdd(format.len(), 2048);
    PPtr<wchar_t> buffer(newZeroedArray<wchar_t>(sizeAdd(capacity, 1)), PTR_ARRAY);
    if (!buffer.getPtr())
        return PRES_NO_MEMORY;
    if (!format.ptr())
        return PRES_OK;
    // One attempt only: longer output is cut at the capacity.
    std::vswprintf(buffer, capacity, format.ptr(), args);
    out = (const wchar_t*)buffer.getPtr();
    return PRES_OK;
}
