// PString edit sequences chosen by the input, with positions and lengths a
// hostile caller might pass (huge ones included), sources inside the string
// itself, and views shorter than their text. Each step is checked against a
// model of the documented behaviour, quirks included: the result code, every
// character up to len(), and the terminator at len().
#include <cstring>
#include <string>
#include <vector>

#include <qrixPortingLayer.h>

#include "fuzzInput.h"

namespace {

const unsigned long MAX_TEXT = 48;
const unsigned long MAX_NARROW = 300;
const unsigned long MAX_LENGTH = 1UL << 16; // keeps every step cheap

// The rule for sizes: a + b + 1 characters that no object could hold cannot
// be had, and the operation fails as an allocation does.
bool cannotHave(unsigned long a, unsigned long b, unsigned long elementSize)
{
    unsigned long sum = 0;
    return __builtin_add_overflow(a, b, &sum) || __builtin_add_overflow(sum, 1UL, &sum) ||
           sum > (unsigned long)PTRDIFF_MAX / elementSize;
}

// The documented behaviour on a plain wide string; `m` is the text up to len().
struct Model {
    std::wstring m;

    int cat(const wchar_t* s, unsigned long n)
    {
        if (!s)
            return PRES_OK;
        if (n == PSTR_ALL)
            n = std::wcslen(s);
        if (n == 0)
            return PRES_OK;
        if (cannotHave(m.size(), n, sizeof(wchar_t)))
            return PRES_NO_MEMORY;
        m.append(s, n);
        return PRES_OK;
    }

    int set(const wchar_t* s, unsigned long n)
    {
        m.clear();
        return cat(s, n);
    }

    // Converts as the library does and appends the byte count of characters.
    int catNarrow(const char* s, unsigned long n)
    {
        if (s && n == PSTR_ALL)
            n = std::strlen(s);
        if (!s || n == 0 || cannotHave(n, 7, sizeof(wchar_t)))
            return PRES_NO_MEMORY;
        std::vector<wchar_t> converted(n + 8);
        size_t count = std::mbstowcs(converted.data(), s, n);
        if (count == 0 || count == (size_t)-1)
            return PRES_NO_MEMORY;
        return cat(converted.data(), n);
    }

    int insert(unsigned long pos, const wchar_t* s, unsigned long n)
    {
        if (n == PSTR_ALL)
            n = s ? std::wcslen(s) : 0;
        if (pos > m.size())
            return PRES_INVALID_ARG;
        if (!s || n == 0)
            return PRES_OK;
        if (m.empty())
            return set(s, n);
        if (cannotHave(m.size(), n, sizeof(wchar_t)))
            return PRES_NO_MEMORY;
        m.insert(pos, s, n);
        return PRES_OK;
    }

    int erase(unsigned long pos, unsigned long n)
    {
        if (pos > m.size() || n > m.size() - pos)
            return PRES_INVALID_ARG;
        m.erase(pos, n);
        return PRES_OK;
    }

    // len() keeps counting past a terminator written inside the text.
    int fill(wchar_t c, unsigned long n)
    {
        if (n == 0)
            return PRES_OK;
        if (!m.empty() && m.size() >= n) {
            std::fill(m.begin(), m.begin() + n, c);
            if (n < m.size())
                m[n] = L'\0';
            return PRES_OK;
        }
        if (cannotHave(n, 0, sizeof(wchar_t)))
            return PRES_NO_MEMORY;
        m.assign(n, c);
        return PRES_OK;
    }

    void trim()
    {
        size_t lead = 0;
        while (lead < m.size() && isBlank(m[lead]))
            ++lead;
        while (!m.empty() && isBlank(m.back()))
            m.pop_back();
        if (lead > 0) {
            std::wstring rest = lead < m.size() ? m.substr(lead) : std::wstring();
            m = rest.substr(0, rest.find(L'\0'));
        }
    }

    void stripall()
    {
        std::wstring kept;
        for (wchar_t c : m) {
            if (!isBlank(c))
                kept.push_back(c);
        }
        m = kept;
    }
};

void check(const PString& s, const Model& model, int res, int expected)
{
    require(res == expected);
    require(s.len() == model.m.size());
    if (!s.ptr()) {
        require(s.len() == 0);
        return;
    }
    require(std::wmemcmp(s.ptr(), model.m.data(), s.len()) == 0 && s.ptr()[s.len()] == L'\0');
}

// A source of wide text: fresh text from the input, or a part of the string
// itself. `avail` is how many characters may be read from it.
const wchar_t* source(FuzzInput& in, const PString& s, std::vector<std::wstring>& pool, unsigned long& avail)
{
    uint8_t b = in.byte();
    if ((b & 3) == 0 && s.ptr()) {
        unsigned long offset = in.byte() % (s.len() + 1);
        avail = s.len() - offset;
        return s.ptr() + offset;
    }
    if ((b & 3) == 1) {
        avail = 0;
        return nullptr;
    }
    pool.push_back(in.wideText(in.byte() % (MAX_TEXT + 1)));
    avail = pool.back().size();
    return pool.back().c_str();
}

enum Op {
    SET, SET_VIEW, SET_NARROW, CAT, CAT_VIEW, CAT_NARROW, INSERT, INSERT_VIEW, ERASE, FILL_ALL, FILL,
    TRIM, STRIPALL, REPLACE, ASSIGN, CONSTRUCT, OP_COUNT
};

void step(FuzzInput& in, PString& s, Model& model)
{
    std::vector<std::wstring> pool;
    unsigned long avail = 0;
    const Op op = (Op)(in.byte() % OP_COUNT);
    int res = PRES_OK, expected = PRES_OK;
    switch (op) {
    case SET:
    case CAT:
    case INSERT: {
        const unsigned long pos = in.length(s.len() + 1);
        const wchar_t* src = source(in, s, pool, avail);
        const unsigned long n = in.length(avail);
        // The model reads the source first: it may lie inside the string.
        expected = op == SET ? model.set(src, n) : op == CAT ? model.cat(src, n) : model.insert(pos, src, n);
        res = op == SET ? s.set(src, n) : op == CAT ? s.cat(src, n) : s.insert(pos, src, n);
        break;
    }
    case SET_VIEW:
    case CAT_VIEW:
    case INSERT_VIEW: {
        const unsigned long pos = in.length(s.len() + 1);
        const wchar_t* src = source(in, s, pool, avail);
        const View view(src, src ? in.byte() % (avail + 1) : 0);
        unsigned long n = in.length(avail + 2);
        if (op == CAT_VIEW) {
            expected = model.cat(view.ptr(), view.len());
            res = s.cat(view);
            break;
        }
        const unsigned long resolved = n == PSTR_ALL ? view.len() : n;
        if (resolved > view.len())
            expected = PRES_INVALID_ARG;
        else
            expected = op == SET_VIEW ? model.set(view.ptr(), resolved) : model.insert(pos, view.ptr(), resolved);
        res = op == SET_VIEW ? s.set(view, n) : s.insert(pos, view, n);
        break;
    }
    case SET_NARROW:
    case CAT_NARROW: {
        const std::string narrow = in.bytes(in.byte() % (MAX_TEXT + 1));
        const bool none = (in.byte() & 15) == 0;
        const char* src = none ? nullptr : narrow.c_str();
        const unsigned long n = in.length(MAX_NARROW);
        if (op == SET_NARROW)
            model.m.clear();
        expected = model.catNarrow(src, n);
        res = op == SET_NARROW ? s.set(src, n) : s.cat(src, n);
        break;
    }
    case ERASE: {
        const unsigned long pos = in.length(s.len() + 1), n = in.length(s.len() + 1);
        expected = model.erase(pos, n);
        res = s.erase(pos, n);
        break;
    }
    case FILL_ALL: {
        const wchar_t c = in.wide();
        std::fill(model.m.begin(), model.m.end(), c);
        res = s.fill(c);
        break;
    }
    case FILL: {
        const wchar_t c = in.wide();
        // A count, not a length: the sentinel would ask for 16 GiB as documented.
        const unsigned long n = in.length(s.len() + 64, false);
        expected = model.fill(c, n);
        res = s.fill(c, n);
        break;
    }
    case TRIM:
        model.trim();
        res = s.trim();
        break;
    case STRIPALL:
        model.stripall();
        res = s.stripall();
        break;
    case REPLACE: {
        const wchar_t from = in.wide(), to = in.wide();
        for (wchar_t& c : model.m)
            c = c == from ? to : c;
        res = s.replace(from, to);
        break;
    }
    case ASSIGN: {
        const wchar_t* src = source(in, s, pool, avail);
        model.m = src ? std::wstring(src) : std::wstring();
        s = src;
        break;
    }
    case CONSTRUCT: {
        const wchar_t* src = source(in, s, pool, avail);
        const unsigned long n = in.length(avail);
        Model fresh;
        fresh.set(src, n);
        PString built(src, n);
        s = PString(built); // copies up to len(), past any inner terminator
        model = fresh;
        break;
    }
    case OP_COUNT:
        break;
    }
    check(s, model, res, expected);
    if (s.len() > MAX_LENGTH) {
        s.clear();
        model.m.clear();
    }
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
    PString s;
    Model model;
    while (!in.done())
        step(in, s, model);
    return 0;
}
