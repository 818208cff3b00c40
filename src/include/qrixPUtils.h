// PUtils: conversions between wide text and numbers, booleans and bytes, text
// checks, key/value splitting, argument vectors and printf-style formatting.
#ifndef QRIX_PUTILS_H
#define QRIX_PUTILS_H

#include <cstdarg>

#include "qrixPString.h"
#include "qrixTypes.h"

class QRIX_EXPORT PUtils {
public:
    static int strToInt32(const PLiteral& s, int& v);
    static int strToUint32(const PLiteral& s, unsigned int& v);
    static int strToInt64(const PLiteral& s, long long& v);
    static int strToUint64(const PLiteral& s, unsigned long long& v);
    static int strToBool(const PLiteral& s, bool& v);
    static int hexToByte(const PLiteral& s, char& v);
    static int hexToDec(wchar_t c, char& v);

    static int int32ToStr(int v, PString& out);
    static int uint32ToStr(unsigned int v, PString& out);
    static int int64ToStr(long long v, PString& out);
    static int uint64ToStr(unsigned long long v, PString& out);
    static int boolToStr(bool v, PString& out);

    // "0x0A, 0xFF" and back; strToBinary allocates `data` with new[].
    static int binaryToStr(const unsigned char* data, unsigned long size, PString& out);
    static int strToBinary(const PLiteral& s, unsigned char*& data, unsigned long& size);

    static bool isDec(const wchar_t* s, unsigned long n = PSTR_ALL, bool allowSign = false);
    static bool isHex(const wchar_t* s, unsigned long n = PSTR_ALL);

    static int fixFileSeparator(PString& path);
    static int fixExecFileExtension(PString& path);

    static int parseLink(const PLiteral& link, PString& target, PString& arguments);
    // `args` is allocated with new PString[argc]; the caller frees it with delete[].
    static int convertArgs(int argc, char** argv, PString*& args, unsigned long& count, wchar_t separator);
    static int getKeyValue(const PLiteral& s, PString& key, PString& value, wchar_t separator);

    static int pformatString(PString& out, const wchar_t* format, ...);
    static int vformatString(PString& out, const PLiteral& format, va_list args);

    // The host's IPv4 address as dotted text; QRIX_HOST_IP overrides the lookup.
    static int getHostAddress(PString& address);
};

#endif // QRIX_PUTILS_H
