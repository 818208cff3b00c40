// Outside text through every parser of the library: numbers, booleans, hex
// bytes and byte lists, key/value pairs, links, tokens with any separator,
// argument vectors, conversions and searches. Besides the sanitizers it checks
// what each parser promises about its result.
#include <cstring>
#include <string>
#include <vector>

#include <qrixPortingLayer.h>

#include "fuzzInput.h"

namespace {

bool hasNul(const PLiteral& s)
{
    return s.ptr() && std::wcslen(s.ptr()) < s.len();
}

// Trimming cuts at an inner NUL after it has dropped the trailing blanks, so
// text with one may keep blanks at its new end.
bool isTrimmed(const PString& s, bool cutAtNul)
{
    return s.len() == 0 || (!isBlank(s.ptr()[0]) && (cutAtNul || !isBlank(s.ptr()[s.len() - 1])));
}

bool isParseFailure(int res)
{
    return res == PRES_OK || res == PRES_BAD_FORMAT;
}

void numbers(const PLiteral& s)
{
    int i = 0;
    unsigned int u = 0;
    long long ll = 0;
    unsigned long long ull = 0;
    PString back;
    int res = PUtils::strToInt32(s, i);
    require(isParseFailure(res));
    if (res == PRES_OK) {
        int again = ~i;
        require(PUtils::int32ToStr(i, back) == PRES_OK && PUtils::strToInt32(back, again) == PRES_OK && again == i);
    }
    require(isParseFailure(PUtils::strToUint32(s, u)));
    require(isParseFailure(PUtils::strToInt64(s, ll)));
    res = PUtils::strToUint64(s, ull);
    require(isParseFailure(res));
    if (res == PRES_OK) {
        unsigned long long again = ~ull;
        require(PUtils::uint64ToStr(ull, back) == PRES_OK && PUtils::strToUint64(back, again) == PRES_OK &&
                again == ull);
    }

    bool flag = false;
    res = PUtils::strToBool(s, flag);
    require(res == PRES_BAD_FORMAT || (res == PRES_OK && s == (flag ? L"true" : L"false")));
    char byte = 0;
    res = PUtils::hexToByte(s, byte);
    require(res == PRES_BAD_FORMAT || (res == PRES_OK && s.len() >= 1 && s.len() <= 2));
    if (s.ptr()) {
        PUtils::isDec(s.ptr(), s.len(), true);
        PUtils::isDec(s.ptr(), PSTR_ALL, false);
        PUtils::isHex(s.ptr(), s.len());
        if (s.len() > 0)
            require(PUtils::hexToDec(s.ptr()[0], byte) == PRES_OK || !PUtils::isHex(s.ptr(), 1));
    }
}

// What parses writes back as text that parses to the same bytes.
void byteList(const PLiteral& s)
{
    unsigned char* data = nullptr;
    unsigned long size = 0;
    int res = PUtils::strToBinary(s, data, size);
    require(res == PRES_OK || (res == PRES_BAD_FORMAT && data == nullptr));
    if (res != PRES_OK)
        return;
    if (size > 0) {
        PString text;
        require(PUtils::binaryToStr(data, size, text) == PRES_OK);
        unsigned char* again = nullptr;
        unsigned long againSize = 0;
        require(PUtils::strToBinary(text, again, againSize) == PRES_OK && againSize == size &&
                std::memcmp(again, data, size) == 0);
        delete[] again;
    }
    delete[] data;
}

void keyValueAndLink(const PLiteral& s, wchar_t separator)
{
    PString key(L"k"), value(L"v");
    int res = PUtils::getKeyValue(s, key, value, separator);
    if (res == PRES_OK)
        require(isTrimmed(key, hasNul(s)) && isTrimmed(value, hasNul(s)) && key.len() + value.len() < s.len());
    else
        require(res == PRES_NOT_FOUND && key == L"k" && value == L"v");

    PString target(L"t"), arguments(L"a");
    require(PUtils::parseLink(s, target, arguments) == PRES_INVALID_ARG && target.len() == 0 &&
            arguments.len() == 0);
}

// Every token is trimmed and the rest shrinks at every step, so the loop a
// caller writes ends; it ends with the tokenizer's own code.
void tokens(const PString& text, wchar_t separator)
{
    PString rest(text), token;
    unsigned long before = rest.len();
    int res = PRES_OK;
    while ((res = PLiteral::getNextToken(rest, token, separator)) == PRES_OK) {
        require(isTrimmed(token, hasNul(text)) && rest.len() < before);
        before = rest.len();
    }
    require(res == PRES_TOKEN);
}

void searches(const PString& hay, const PString& sub, wchar_t c)
{
    const std::wstring h(hay.ptr() ? hay.ptr() : L"", hay.len()), n(sub.ptr() ? sub.ptr() : L"", sub.len());
    for (int mode = 0; mode < 4; ++mode) {
        const bool reverse = mode & 1, ignoreCase = mode & 2;
        unsigned long pos = ~0UL;
        int res = hay.str(sub, pos, reverse, ignoreCase);
        if (!ignoreCase && !h.empty() && !n.empty()) {
            size_t expected = reverse ? h.rfind(n) : h.find(n);
            require(expected == std::wstring::npos ? res == PRES_NOT_FOUND : res == PRES_OK && pos == expected);
        }
        if (res == PRES_OK)
            require(pos + sub.len() <= hay.len() || (hay.len() == 0 && pos == 0));

        res = hay.chr(c, pos, reverse, ignoreCase);
        require(res == PRES_OK || res == PRES_NOT_FOUND);
        if (res == PRES_OK)
            require(pos <= std::wcslen(hay.ptr()) && (ignoreCase || hay.ptr()[pos] == c));
        hay.startsWith(sub, ignoreCase);
        hay.endsWith(sub, ignoreCase);
    }
    auto sign = [](int v) { return (v > 0) - (v < 0); };
    require(sign(hay.cmp(sub)) == -sign(sub.cmp(hay)));
}

void conversions(const PString& text, const std::string& narrow, unsigned long n)
{
    for (unsigned long limit : {PSTR_ALL, text.len(), n, ULONG_MAX, ULONG_MAX - 7}) {
        char* bytes = PLiteral::pwchar2pchar(text.ptr(), limit);
        require(!bytes || limit == PSTR_ALL || std::strlen(bytes) <= limit);
        delete[] bytes;
    }
    for (unsigned long limit : {PSTR_ALL, (unsigned long)narrow.size(), n, ULONG_MAX, ULONG_MAX - 7}) {
        wchar_t* wide = PLiteral::pchar2pwchar(narrow.c_str(), limit);
        require(!wide || limit == PSTR_ALL || std::wcslen(wide) <= limit);
        delete[] wide;
    }
}

// The program path becomes a key/value pair unless it is one already; the
// other arguments are taken as they stand.
void arguments(const std::string& narrow, wchar_t separator)
{
    std::vector<std::string> pieces(1);
    for (char c : narrow) {
        if (c == '\0' && pieces.size() < 8)
            pieces.emplace_back();
        else
            pieces.back().push_back(c);
    }
    std::vector<char*> argv;
    for (std::string& piece : pieces)
        argv.push_back(&piece[0]);
    PString* args = nullptr;
    unsigned long count = 0;
    require(PUtils::convertArgs((int)argv.size(), argv.data(), args, count, separator) == PRES_OK &&
            count == argv.size());
    for (unsigned long i = 1; i < count; ++i)
        require(args[i] == PString(argv[i]));
    delete[] args;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    useEnvironmentLocale();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput in(data, size);
    const wchar_t separator = in.wide();
    const unsigned long split = in.byte();
    const std::string narrow((const char*)data, size);
    const std::wstring all = in.wideText(size);
    const PString text(all.data(), all.size());

    numbers(text);
    byteList(text);
    keyValueAndLink(text, separator);
    keyValueAndLink(View(text.ptr(), split % (text.len() + 1)), separator);
    tokens(text, separator);
    const unsigned long cut = split % (text.len() + 1);
    const wchar_t* tail = text.ptr() ? text.ptr() + cut : nullptr;
    searches(PString(text.ptr(), cut), PString(tail, text.len() - cut), separator);
    searches(text, PString(text.ptr(), cut), separator);
    conversions(text, narrow, split);
    arguments(narrow, separator);

    // Tokens are parsed the way callers parse configuration items.
    PString rest(text), token;
    for (int i = 0; i < 16 && PLiteral::getNextToken(rest, token, separator) == PRES_OK; ++i) {
        numbers(token);
        byteList(token);
    }
    return 0;
}
