/// @file
/// Wide strings: PLiteral, a non-owning view, and PString, which owns an
/// exact-size buffer. All text crossing the library's interface is one of them.
///
/// Neither class locks: several threads may read one string at once, but any
/// writer needs the caller's own exclusion. Constructors and assignments
/// cannot report; where they cannot allocate they leave an empty string.
#ifndef QRIX_PSTRING_H
#define QRIX_PSTRING_H

#include <cwchar>

#include "qrixTypes.h"

class PString;

/// A non-owning view of wide text: a pointer and a length.
///
/// A null pointer and a length of 0 both count as empty. The view never frees
/// what it points to: the text must outlive it.
class QRIX_EXPORT PLiteral {
public:
    /// An empty view (null pointer, length 0).
    PLiteral();
    /// Views the same text as @p other; nothing is copied.
    PLiteral(const PLiteral& other);
    /// Views @p s up to its terminator; a null @p s gives an empty view.
    PLiteral(const wchar_t* s);
    /// Frees nothing.
    virtual ~PLiteral();

    /// Views the same text as @p other.
    virtual PLiteral& operator=(const PLiteral& other);
    /// Views @p s up to its terminator.
    /// @note Assigning the pointer already viewed changes nothing, not even the
    /// length when the text behind it has changed.
    virtual PLiteral& operator=(const wchar_t* s);

    /// The number of characters, as recorded (see PString::fill(wchar_t, unsigned long)
    /// for a length that counts past the terminator).
    unsigned long len() const { return fLen; }
    ///@{
    /// The first character, or null for an empty view.
    const wchar_t* ptr() const { return fPtr; }
    operator const wchar_t*() const { return fPtr; }
    ///@}

    /// Finds the substring @p sub.
    ///
    /// @param sub the text to find; its length is taken from the view.
    /// @param pos receives the index of the first (or, with @p reverse, the
    ///        last) match; untouched on failure.
    /// @param reverse search from the end.
    /// @param ignoreCase compare `towupper` of both sides.
    /// @returns #PRES_OK (0) on a match, also for an empty @p sub in an empty
    /// string (at 0); #PRES_NOT_FOUND (-504) when there is none, when @p sub is
    /// empty, or longer than this string.
    int str(const PLiteral& sub, unsigned long& pos, bool reverse = false, bool ignoreCase = false) const;

    /// Finds the character @p c.
    ///
    /// @param c the character; with @p ignoreCase its upper and lower case form.
    /// @param pos receives its index; untouched on failure.
    /// @param reverse take the last occurrence instead of the first.
    /// @param ignoreCase match either case.
    /// @returns #PRES_OK (0) on a hit; #PRES_NOT_FOUND (-504) when there is
    /// none or this string is empty.
    /// @note The search runs to the terminator, not to len(): a view shorter
    /// than its text finds characters past its end, and `L'\0'` is found at
    /// the terminator. Check `pos < len()` where that matters.
    int chr(wchar_t c, unsigned long& pos, bool reverse = false, bool ignoreCase = false) const;

    /// Compares with @p other: length first, then characters.
    ///
    /// @returns a negative value, 0 or a positive value. A shorter string is
    /// always less, so "b" < "aa"; equal lengths compare as `wcsncmp`. A null
    /// view equals an empty one.
    /// @warning This is not alphabetical order, and every comparison operator
    /// follows it. Use it for equality; to sort text alphabetically compare
    /// ptr() with `wcscmp` or `wcscoll`.
    int cmp(const PLiteral& other) const;
    /// Compares with the first @p n characters of @p s (#PSTR_ALL: up to its
    /// terminator) in the same order as cmp(const PLiteral&) const.
    int cmp(const wchar_t* s, unsigned long n = PSTR_ALL) const;

    /// Whether this string starts with @p s.
    ///
    /// @warning The text tested is @p s up to its terminator, whatever its
    /// length says: a view that ends before its terminator is tested whole.
    /// An empty @p s matches only an empty string.
    bool startsWith(const PLiteral& s, bool ignoreCase = false) const;
    /// Whether this string starts with @p s up to its terminator.
    /// @warning @p n is not used: the whole terminated text of @p s is tested.
    bool startsWith(const wchar_t* s, unsigned long n, bool ignoreCase) const;
    /// Whether this string ends with @p s.
    ///
    /// True when the last occurrence of @p s's terminated text starts
    /// `s.len()` characters before the end; for a view that covers its whole
    /// text, when this string ends with it. An empty @p s matches only an
    /// empty string.
    bool endsWith(const PLiteral& s, bool ignoreCase = false) const;
    /// Whether the last occurrence of @p s (up to its terminator) starts @p n
    /// characters before the end.
    /// @note Pass `wcslen(s)` or #PSTR_ALL as @p n; any other value gives an
    /// answer about a different position.
    bool endsWith(const wchar_t* s, unsigned long n, bool ignoreCase) const;

    ///@{
    /// Equality and order by cmp(): length first, so "b" < "aa". For a
    /// `const wchar_t*` the length is its `wcslen` (0 for null).
    /// @warning Compare with wide literals (`s == L"foo"`). `s == "foo"`
    /// compiles through the implicit operator char*(): it compares the address
    /// of a fresh narrow copy, which is never equal, and leaks that copy.
    bool operator==(const PLiteral& o) const { return cmp(o) == 0; }
    bool operator!=(const PLiteral& o) const { return cmp(o) != 0; }
    bool operator<(const PLiteral& o) const { return cmp(o) < 0; }
    bool operator<=(const PLiteral& o) const { return cmp(o) <= 0; }
    bool operator>(const PLiteral& o) const { return cmp(o) > 0; }
    bool operator>=(const PLiteral& o) const { return cmp(o) >= 0; }
    bool operator==(const wchar_t* s) const { return cmp(s) == 0; }
    bool operator!=(const wchar_t* s) const { return cmp(s) != 0; }
    bool operator<(const wchar_t* s) const { return cmp(s) < 0; }
    bool operator<=(const wchar_t* s) const { return cmp(s) <= 0; }
    bool operator>(const wchar_t* s) const { return cmp(s) > 0; }
    bool operator>=(const wchar_t* s) const { return cmp(s) >= 0; }
    ///@}

    ///@{
    /// A new narrow copy in the current locale: pwchar2pchar(ptr(), len()).
    ///
    /// @returns memory the caller frees with `delete[]`, or null for an empty
    /// string or text that does not convert.
    /// @warning The conversion is implicit and allocates: hold the result
    /// (`PPtr<char>(s.ascii(), PTR_ARRAY)`) and never use it in comparisons or
    /// as a temporary argument, where the copy leaks.
    /// @warning Non-ASCII text is cut; see pwchar2pchar().
    operator char*() const;
    char* ascii() const;
    ///@}

    /// Converts @p n wide characters of @p s to narrow text in the current
    /// `LC_CTYPE` locale.
    ///
    /// @param s the text; must be terminated when @p n is #PSTR_ALL.
    /// @param n character count, or #PSTR_ALL for up to the terminator.
    /// @returns a zero-filled buffer the caller frees with `delete[]`, or null
    /// for null @p s, @p n 0, nothing converted, a character the locale cannot
    /// represent, a failed allocation, or an @p n whose buffer size would wrap.
    /// @warning @p n is also the byte limit of the result: text whose narrow
    /// form is longer (any non-ASCII character in UTF-8) is cut at the last
    /// whole character within @p n bytes. "cafés" becomes "café". Every path,
    /// name and line the library passes to the system goes through this, so
    /// such names reach it shortened. In the default "C" locale every
    /// non-ASCII character fails, and the library then passes a null path (see
    /// PLibrary::load()).
    static char* pwchar2pchar(const wchar_t* s, unsigned long n = PSTR_ALL);
    /// Converts narrow text in the current `LC_CTYPE` locale to wide text.
    ///
    /// @param s the text, terminated.
    /// @param n at most this many characters are produced; #PSTR_ALL means
    ///        `strlen(s)`.
    /// @returns a zero-filled buffer the caller frees with `delete[]`, or null
    /// for null @p s, @p n 0, nothing converted, an invalid multibyte
    /// sequence, a failed allocation, or an @p n whose buffer size would wrap.
    static wchar_t* pchar2pwchar(const char* s, unsigned long n = PSTR_ALL);

    /// `towupper` of @p c.
    static wchar_t toupper(wchar_t c);
    /// `towlower` of @p c.
    static wchar_t tolower(wchar_t c);

    /// Splits @p rest at the first @p separator.
    ///
    /// The text before it, trimmed (PString::trim()), goes to @p token; the
    /// text after it, untrimmed, stays in @p rest. Without a separator the
    /// whole of @p rest becomes the token and @p rest is emptied. A separator
    /// at the start gives an empty token.
    /// @note There is no quoting: a separator can never be part of a token.
    /// @returns #PRES_OK (0); #PRES_TOKEN (-510) when @p rest is empty (the end
    /// of a loop), when @p separator is `L'\0'`, or when a copy fails.
    static int getNextToken(PString& rest, PString& token, wchar_t separator);

protected:
    const wchar_t* fPtr; ///< The first character, or null.
    unsigned long fLen;  ///< The number of characters.
};

/// Wide text in an owned, exact-size buffer that always ends in a zero
/// character.
///
/// Every lengthening allocates a new buffer and copies. Operations that take a
/// source pointer may be given a pointer into this string itself: the old
/// buffer is freed only after the copy.
/// @note A length argument must not exceed the source text; a length whose
/// buffer size would wrap (such as `(unsigned long)-1`) is refused with
/// #PRES_NO_MEMORY (-501), or gives an empty string in a constructor.
class QRIX_EXPORT PString : public PLiteral {
public:
    /// An empty string.
    PString();
    /// A copy of @p other's len() characters; empty if allocation fails.
    PString(const PLiteral& other);
    /// A copy of @p other; empty if allocation fails.
    PString(const PString& other);
    /// A copy of @p n characters of @p s (#PSTR_ALL: up to its terminator);
    /// empty for null @p s, on failed allocation or when the size would wrap.
    PString(const wchar_t* s, unsigned long n = PSTR_ALL);
    /// Narrow text converted by pchar2pwchar(@p s, @p n); empty when it does
    /// not convert.
    PString(const char* s, unsigned long n = PSTR_ALL);
    /// Frees the buffer.
    ~PString() override;

    /// A copy of @p other; empty if allocation fails.
    PString& operator=(const PLiteral& other) override;
    /// A copy of @p s up to its terminator; a null @p s empties the string.
    PString& operator=(const wchar_t* s) override;
    /// A copy of @p other; empty if allocation fails.
    PString& operator=(const PString& other);

    /// Frees the buffer; the string is then null and empty.
    void clear();

    /// Appends @p s.
    /// @returns #PRES_OK (0); #PRES_NO_MEMORY (-501) when allocation fails.
    int cat(const PLiteral& s);
    /// Appends @p n characters of @p s (#PSTR_ALL: up to its terminator).
    /// @returns #PRES_OK (0), also for null @p s or @p n 0 (nothing appended);
    /// #PRES_NO_MEMORY (-501) when allocation fails or the size would wrap.
    int cat(const wchar_t* s, unsigned long n = PSTR_ALL);
    /// Appends narrow text converted in the current locale.
    ///
    /// @returns #PRES_OK (0); #PRES_NO_MEMORY (-501) when @p s is null or
    /// empty, does not convert, or allocation fails.
    /// @warning The string grows by @p n (the byte count), not by the number
    /// of characters converted: for multibyte input len() then counts zero
    /// characters at the end. Convert first with PString(const char*, unsigned long)
    /// and append that to grow by characters.
    int cat(const char* s, unsigned long n = PSTR_ALL);
    ///@{
    /// cat() that returns the string.
    /// @warning The result of cat() is dropped: a failed allocation leaves the
    /// string unchanged without a word. Call cat() where that matters.
    PString& operator+=(const PLiteral& s);
    PString& operator+=(const wchar_t* s);
    ///@}

    /// Replaces the contents with the first @p n characters of @p src
    /// (#PSTR_ALL: all of them).
    /// @returns #PRES_OK (0); #PRES_INVALID_ARG (-502) when @p n exceeds
    /// `src.len()`; #PRES_NO_MEMORY (-501) when allocation fails.
    int set(const PLiteral& src, unsigned long n = PSTR_ALL);
    /// Replaces the contents with @p n characters of @p s (#PSTR_ALL: up to its
    /// terminator); null @p s or @p n 0 empties the string.
    /// @returns #PRES_OK (0); #PRES_NO_MEMORY (-501) when allocation fails or
    /// the size would wrap (the string is then empty).
    int set(const wchar_t* s, unsigned long n = PSTR_ALL);
    /// Empties the string, then cat(const char*, unsigned long).
    /// @returns as cat(const char*, unsigned long): #PRES_NO_MEMORY (-501) also
    /// for null or empty @p s, which leaves the string empty.
    int set(const char* s, unsigned long n = PSTR_ALL);

    /// Removes spaces, tabs, line feeds and carriage returns at both ends, in
    /// place. A string of blanks only keeps its buffer with len() 0.
    /// @returns #PRES_OK (0), always.
    int trim();
    /// Removes every space, tab, line feed and carriage return.
    /// @returns #PRES_OK (0); #PRES_NO_MEMORY (-501) when allocation fails.
    int stripall();
    /// Sets every one of the len() characters to @p c.
    /// @returns #PRES_OK (0), always.
    int fill(wchar_t c);
    /// Makes the text @p n copies of @p c.
    ///
    /// @returns #PRES_OK (0), also for @p n 0 (nothing changes);
    /// #PRES_NO_MEMORY (-501) when allocation fails or the size would wrap.
    /// @warning When the string already holds @p n characters or more, the
    /// first @p n become @p c and the text ends after them, but len() keeps the
    /// old length and counts the cut-off part. Call `set(ptr())` afterwards to
    /// bring len() back to the text.
    int fill(wchar_t c, unsigned long n);
    /// Replaces every @p from among the len() characters by @p to.
    /// @returns #PRES_OK (0), always.
    int replace(wchar_t from, wchar_t to);

    /// Inserts the first @p n characters of @p src (#PSTR_ALL: all) before
    /// index @p pos.
    /// @returns #PRES_OK (0); #PRES_INVALID_ARG (-502) when @p pos > len() or
    /// @p n exceeds `src.len()`; #PRES_NO_MEMORY (-501) when allocation fails.
    int insert(unsigned long pos, const PLiteral& src, unsigned long n = PSTR_ALL);
    /// Inserts @p n characters of @p s (#PSTR_ALL: up to its terminator)
    /// before index @p pos.
    /// @returns #PRES_OK (0), also for null @p s or @p n 0 (nothing inserted);
    /// #PRES_INVALID_ARG (-502) when @p pos > len(); #PRES_NO_MEMORY (-501)
    /// when allocation fails or the size would wrap.
    int insert(unsigned long pos, const wchar_t* s, unsigned long n = PSTR_ALL);
    /// Removes @p n characters from index @p pos; removing all frees the buffer.
    /// @returns #PRES_OK (0); #PRES_INVALID_ARG (-502) when the range runs past
    /// len().
    int erase(unsigned long pos, unsigned long n);

    /// A new terminated copy of @p n characters of @p s (#PSTR_ALL: up to its
    /// terminator), freed by the caller with `delete[]`.
    ///
    /// @param s the text to copy.
    /// @param n the number of characters to copy.
    /// @param outLen receives the copy's length, 0 when none is made.
    /// @returns the copy, or null for null @p s, @p n 0 or a failed allocation
    /// (a size that would wrap counts as one).
    static wchar_t* dupPtr(const wchar_t* s, unsigned long n, unsigned long& outLen);

private:
    wchar_t* buffer() { return const_cast<wchar_t*>(fPtr); }
    void adopt(wchar_t* p, unsigned long n);
    void copyFrom(const wchar_t* s, unsigned long n);
};

#endif // QRIX_PSTRING_H
