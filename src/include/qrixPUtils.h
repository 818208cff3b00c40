/// @file
/// PUtils: conversions between wide text and numbers, booleans and bytes, text
/// checks, key/value splitting, argument vectors and printf-style formatting.
#ifndef QRIX_PUTILS_H
#define QRIX_PUTILS_H

#include <cstdarg>

#include "qrixPString.h"
#include "qrixTypes.h"

/// Static conversions and text helpers. They keep no state and may run on any
/// thread at once, except getHostAddress().
///
/// Outputs are written only on success, unless an operation says otherwise.
class QRIX_EXPORT PUtils {
public:
    ///@{
    /// Parses a decimal number as `swscanf` with "%d", "%u", "%lld" or "%llu"
    /// does.
    ///
    /// @returns #PRES_OK (0) with @p v set; #PRES_BAD_FORMAT (-507) for empty
    /// text or text that does not begin with a number, @p v untouched.
    /// @warning The parse is lenient: leading white space and trailing text
    /// are accepted ("12abc" gives 12), and out-of-range values are not
    /// refused: the 32-bit forms wrap ("4294967297" gives 1), the unsigned
    /// forms take a minus sign by wrapping ("-1" gives 4294967295), and the
    /// 64-bit forms stop at their limits. Check the text first with isDec()
    /// and its length where a strict parse matters.
    static int strToInt32(const PLiteral& s, int& v);
    static int strToUint32(const PLiteral& s, unsigned int& v);
    static int strToInt64(const PLiteral& s, long long& v);
    static int strToUint64(const PLiteral& s, unsigned long long& v);
    ///@}
    /// Parses exactly "true" or "false" (case-sensitive, whole text).
    /// @returns #PRES_OK (0); #PRES_BAD_FORMAT (-507) for anything else, @p v
    /// untouched.
    static int strToBool(const PLiteral& s, bool& v);
    /// Parses one or two hexadecimal digits into a byte.
    /// @returns #PRES_OK (0); #PRES_BAD_FORMAT (-507) for other lengths or text
    /// that `swscanf` "%x" does not read.
    static int hexToByte(const PLiteral& s, char& v);
    /// The value 0..15 of the hexadecimal digit @p c (either case).
    /// @returns #PRES_OK (0); #PRES_BAD_FORMAT (-507) for any other character.
    static int hexToDec(wchar_t c, char& v);

    ///@{
    /// Decimal text of @p v, assigned to @p out.
    /// @returns #PRES_OK (0); #PRES_NO_MEMORY (-501) when the buffer cannot be
    /// allocated.
    static int int32ToStr(int v, PString& out);
    static int uint32ToStr(unsigned int v, PString& out);
    static int int64ToStr(long long v, PString& out);
    static int uint64ToStr(unsigned long long v, PString& out);
    ///@}
    /// "true" or "false".
    /// @returns #PRES_OK (0), always.
    static int boolToStr(bool v, PString& out);

    /// Formats @p size bytes as "0x0A, 0xFF" (upper-case digits, ", " between
    /// bytes, none after the last).
    /// @returns #PRES_OK (0); #PRES_INVALID_ARG (-502) for null @p data or
    /// @p size 0; #PRES_NO_MEMORY (-501) when allocation fails or 6 x @p size
    /// + 1 would wrap.
    static int binaryToStr(const unsigned char* data, unsigned long size, PString& out);
    /// Parses "0x0A, 0xff,0x1" back into bytes.
    ///
    /// Items are "0x" (lower-case x) and one or two hexadecimal digits,
    /// separated by commas; blanks around them are ignored.
    /// @param s the text.
    /// @param data receives a new array the caller frees with `delete[]`
    ///        (also when @p s holds only blanks and @p size is 0).
    /// @param size receives the number of bytes.
    /// @returns #PRES_OK (0); #PRES_BAD_FORMAT (-507) for empty text or any bad
    /// item; #PRES_NO_MEMORY (-501) when allocation fails.
    static int strToBinary(const PLiteral& s, unsigned char*& data, unsigned long& size);

    /// Whether each of the @p n characters (#PSTR_ALL: up to the terminator)
    /// is a decimal digit; with @p allowSign the first may be '+' or '-'.
    /// True for no characters and for a null @p s.
    static bool isDec(const wchar_t* s, unsigned long n = PSTR_ALL, bool allowSign = false);
    /// Whether each of the @p n characters is a hexadecimal digit; true for no
    /// characters and for a null @p s.
    static bool isHex(const wchar_t* s, unsigned long n = PSTR_ALL);

    /// Replaces every '\\' with '/'.
    /// @returns #PRES_OK (0), always.
    static int fixFileSeparator(PString& path);
    /// Appends the platform's executable extension, which is empty here.
    /// @returns #PRES_OK (0), always.
    static int fixExecFileExtension(PString& path);

    /// Splits a link "anything#'target.ext' arguments" into target and
    /// arguments.
    /// @returns #PRES_INVALID_ARG (-502), always on this platform: its
    /// executable extension is empty and is never found. Both outputs are
    /// emptied first.
    static int parseLink(const PLiteral& link, PString& target, PString& arguments);
    /// Turns a program's argument vector into wide strings.
    ///
    /// An `argv[0]` without @p separator becomes "process.name" + separator +
    /// `argv[0]`, a pair that getKeyValue() splits; the others are taken as
    /// they stand. A null element gives empty text.
    /// @param argc the number of elements; a negative value counts as 0.
    /// @param argv the elements, narrow text in the current locale.
    /// @param args receives a new array of @p argc strings, freed by the
    ///        caller with `delete[]`, also when @p argc is 0.
    /// @param count receives @p argc.
    /// @param separator the key/value separator, such as '='.
    /// @returns #PRES_OK (0); #PRES_INVALID_ARG (-502) for null @p argv with a
    /// positive @p argc; #PRES_NO_MEMORY (-501) when the array cannot be
    /// allocated.
    static int convertArgs(int argc, char** argv, PString*& args, unsigned long& count, wchar_t separator);
    /// Splits "key separator value" at the first @p separator; both parts are
    /// trimmed.
    /// @returns #PRES_OK (0); #PRES_NOT_FOUND (-504) when there is no separator
    /// (outputs untouched); #PRES_NO_MEMORY (-501) when a copy fails.
    static int getKeyValue(const PLiteral& s, PString& key, PString& value, wchar_t separator);

    /// printf-style formatting of wide text into @p out; see vformatString().
    static int pformatString(PString& out, const wchar_t* format, ...);
    /// printf-style formatting of wide text into @p out.
    ///
    /// The format is wide: "%ls" takes a wide string, "%s" a narrow one.
    /// @returns #PRES_OK (0), also for a null @p format (empty result);
    /// #PRES_NO_MEMORY (-501) when the buffer cannot be allocated or its size
    /// would wrap. @p out is emptied first in every case.
    /// @warning Output longer than `format.len()` + 2048 characters is cut
    /// there without any report. Format long texts piecewise and cat() them.
    static int vformatString(PString& out, const PLiteral& format, va_list args);

    /// The host's IPv4 address as dotted text.
    ///
    /// When the environment variable `QRIX_HOST_IP` is set, its value is
    /// returned as it is, unchecked and without any lookup. Otherwise the host
    /// name is qualified through the resolver and its first IPv4 address taken.
    /// Blocks as long as the resolver does (seconds when DNS is slow).
    /// @returns #PRES_OK (0); #PRES_FAILED (-500) when the host name cannot be
    /// read or resolved; #PRES_NOT_FOUND (-504) for an empty host name.
    /// @warning Not thread-safe (it uses `gethostbyname`): call it from one
    /// thread at a time. Every call prints its steps on standard error,
    /// whatever `PL_DEBUG` says.
    static int getHostAddress(PString& address);
};

#endif // QRIX_PUTILS_H
