// Wide strings: PLiteral, a non-owning view, and PString, which owns an
// exact-size buffer. All text crossing the library's interface is one of them.
#ifndef QRIX_PSTRING_H
#define QRIX_PSTRING_H

#include <cwchar>

#include "qrixTypes.h"

class PString;

class QRIX_EXPORT PLiteral {
public:
    PLiteral();
    PLiteral(const PLiteral& other);
    PLiteral(const wchar_t* s);
    virtual ~PLiteral();

    virtual PLiteral& operator=(const PLiteral& other);
    virtual PLiteral& operator=(const wchar_t* s);

    unsigned long len() const { return fLen; }
    const wchar_t* ptr() const { return fPtr; }
    operator const wchar_t*() const { return fPtr; }

    int str(const PLiteral& sub, unsigned long& pos, bool reverse = false, bool ignoreCase = false) const;
    int chr(wchar_t c, unsigned long& pos, bool reverse = false, bool ignoreCase = false) const;

    // Ordered by length first, then by characters: "b" < "aa".
    int cmp(const PLiteral& other) const;
    int cmp(const wchar_t* s, unsigned long n = PSTR_ALL) const;

    // The text tested is always the argument up to its terminator; n is not used.
    bool startsWith(const PLiteral& s, bool ignoreCase = false) const;
    bool startsWith(const wchar_t* s, unsigned long n, bool ignoreCase) const;
    bool endsWith(const PLiteral& s, bool ignoreCase = false) const;
    bool endsWith(const wchar_t* s, unsigned long n, bool ignoreCase) const;

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

    // A new narrow copy in the current locale; the caller frees it with delete[].
    operator char*() const;
    char* ascii() const;

    // Both return memory freed with delete[], or null.
    static char* pwchar2pchar(const wchar_t* s, unsigned long n = PSTR_ALL);
    static wchar_t* pchar2pwchar(const char* s, unsigned long n = PSTR_ALL);

    static wchar_t toupper(wchar_t c);
    static wchar_t tolower(wchar_t c);

    // Splits `rest` at the first `separator`: the trimmed text before it goes to
    // `token`, the untrimmed text after it stays in `rest`.
    static int getNextToken(PString& rest, PString& token, wchar_t separator);

protected:
    const wchar_t* fPtr;
    unsigned long fLen;
};

class QRIX_EXPORT PString : public PLiteral {
public:
    PString();
    PString(const PLiteral& other);
    PString(const PString& other);
    PString(const wchar_t* s, unsigned long n = PSTR_ALL);
    PString(const char* s, unsigned long n = PSTR_ALL);
    ~PString() override;

    PString& operator=(const PLiteral& other) override;
    PString& operator=(const wchar_t* s) override;
    PString& operator=(const PString& other);

    void clear();

    int cat(const PLiteral& s);
    int cat(const wchar_t* s, unsigned long n = PSTR_ALL);
    int cat(const char* s, unsigned long n = PSTR_ALL);
    PString& operator+=(const PLiteral& s);
    PString& operator+=(const wchar_t* s);

    int set(const PLiteral& src, unsigned long n = PSTR_ALL);
    int set(const wchar_t* s, unsigned long n = PSTR_ALL);
    int set(const char* s, unsigned long n = PSTR_ALL);

    int trim();
    int stripall();
    int fill(wchar_t c);
    int fill(wchar_t c, unsigned long n);
    int replace(wchar_t from, wchar_t to);

    int insert(unsigned long pos, const PLiteral& src, unsigned long n = PSTR_ALL);
    int insert(unsigned long pos, const wchar_t* s, unsigned long n = PSTR_ALL);
    int erase(unsigned long pos, unsigned long n);

    // A new exact-size terminated copy of n characters, or null for null s or n 0.
    static wchar_t* dupPtr(const wchar_t* s, unsigned long n, unsigned long& outLen);

private:
    wchar_t* buffer() { return const_cast<wchar_t*>(fPtr); }
    void adopt(wchar_t* p, unsigned long n);
    void copyFrom(const wchar_t* s, unsigned long n);
};

#endif // QRIX_PSTRING_H
